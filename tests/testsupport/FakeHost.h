#pragma once
// A host made of fakes. Components the fakes cannot stand in for (probe, output file, text
// splitter) come from factories the test sets; without one, creation raises.
#include <functional>
#include <memory>

#include "tests/testsupport/FakeCommunications.h"
#include "tests/testsupport/FakeFileSystem.h"
#include "tests/testsupport/FakeRegistry.h"
#include "tests/testsupport/FakeUi.h"
#include "vesk4710/platform/Host.h"

namespace vesk::test {

class FakeHost : public Host {
  public:
    // Returns comm (the same object every time) unless commFactory is set.
    std::shared_ptr<ICommunications> CreateCommunications() override {
        return commFactory ? commFactory() : comm;
    }
    std::shared_ptr<IProbe> CreateProbe() override { return Made(probeFactory, "probeFactory"); }
    std::shared_ptr<IOutputFile> CreateOutputFile() override {
        return Made(outputFileFactory, "outputFileFactory");
    }
    std::shared_ptr<ITextSplitter> CreateTextSplitter() override {
        return Made(splitterFactory, "splitterFactory");
    }
    std::shared_ptr<IRegistry> CreateRegistry() override { return registry; }
    IUiServices& Ui() override { return ui; }
    IFileSystem& Files() override { return files; }

    std::shared_ptr<FakeCommunications> comm = std::make_shared<FakeCommunications>();
    FakeUi ui;
    FakeFileSystem files;
    std::shared_ptr<FakeRegistry> registry = std::make_shared<FakeRegistry>();

    std::function<std::shared_ptr<ICommunications>()> commFactory;
    // Tests set it to the real probes component (vesk::probes::Probe::Create).
    std::function<std::shared_ptr<IProbe>()> probeFactory;
    std::function<std::shared_ptr<IOutputFile>()> outputFileFactory;
    std::function<std::shared_ptr<ITextSplitter>()> splitterFactory;

  private:
    template <class T>
    static std::shared_ptr<T> Made(const std::function<std::shared_ptr<T>()>& factory,
                                   const char* name) {
        if (!factory) {
            throw AutomationError(kErrObjectRequired, std::string("FakeHost has no ") + name);
        }
        return factory();
    }
};

}  // namespace vesk::test
