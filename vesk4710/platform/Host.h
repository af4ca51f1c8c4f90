#pragma once
// Everything the library reaches outside itself, bundled. The library talks to the world
// only through the Host its objects were created with.
#include <memory>
#include <string>

#include "vesk4710/platform/ICommunications.h"
#include "vesk4710/platform/IControls.h"
#include "vesk4710/platform/IFileSystem.h"
#include "vesk4710/platform/IOutputFile.h"
#include "vesk4710/platform/IProbe.h"
#include "vesk4710/platform/IProgress.h"
#include "vesk4710/platform/IRegistry.h"
#include "vesk4710/platform/ITextSplitter.h"
#include "vesk4710/platform/IUiServices.h"

namespace vesk {

class Host {
  public:
    virtual ~Host() = default;
    virtual std::shared_ptr<ICommunications> CreateCommunications() = 0;
    virtual std::shared_ptr<IProbe> CreateProbe() = 0;
    virtual std::shared_ptr<IOutputFile> CreateOutputFile() = 0;
    virtual std::shared_ptr<ITextSplitter> CreateTextSplitter() = 0;
    virtual std::shared_ptr<IRegistry> CreateRegistry() = 0;
    virtual IUiServices& Ui() = 0;
    virtual IFileSystem& Files() = 0;

    // The process default: installed by the application (host/ wires the real
    // components); objects created without a host use it.
    static std::shared_ptr<Host> Default();
    static void SetDefault(std::shared_ptr<Host> host);
};

}  // namespace vesk
