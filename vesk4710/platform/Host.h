#pragma once
// Everything the library reaches outside itself, bundled. The library talks to the world
// only through the Host its objects were created with.
#include <memory>
#include <string>

#include "vesk4710/platform/Communications.h"
#include "vesk4710/platform/Controls.h"
#include "vesk4710/platform/FileSystem.h"
#include "vesk4710/platform/OutputFile.h"
#include "vesk4710/platform/Probe.h"
#include "vesk4710/platform/Progress.h"
#include "vesk4710/platform/Registry.h"
#include "vesk4710/platform/TextSplitter.h"
#include "vesk4710/platform/UiServices.h"

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
