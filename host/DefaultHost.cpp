#include "host/DefaultHost.h"

#include <iostream>
#include <utility>

#include "components/filesystem/LocalFileSystem.h"
#include "components/outputfile/OutputFile.h"
#include "components/probes/Probe.h"
#include "components/registry/Registry.h"
#include "components/splitter/TextSplitter.h"
#include "simulator/EmbeddedLink.h"

namespace vesk {

namespace {

class DefaultHost : public Host {
  public:
    explicit DefaultHost(const HostOptions& options)
        : commOptions_(options.comm), registry_(Registry::Create(options.registryPath)) {
        if (!commOptions_.registry) {
            commOptions_.registry = registry_;
        }
        if (options.ui) {
            ui_ = options.ui;
        } else {
            ConsoleOptions console = options.consoleOptions;
            console.assumeYes = console.assumeYes || options.assumeYes;
            ui_ = options.console
                      ? std::make_shared<ConsoleUi>(std::move(console))
                      : std::make_shared<ConsoleUi>(std::move(console), std::cerr, nullptr, false);
        }
    }

    std::shared_ptr<ICommunications> CreateCommunications() override {
        return comm::Communications::Create(commOptions_);
    }
    std::shared_ptr<IProbe> CreateProbe() override { return probes::Probe::Create(); }
    std::shared_ptr<IOutputFile> CreateOutputFile() override {
        return OutputFile::Create(registry_, *ui_, files_);
    }
    std::shared_ptr<ITextSplitter> CreateTextSplitter() override { return TextSplitter::Create(); }
    // One settings store per host: every object sees the same values.
    std::shared_ptr<IRegistry> CreateRegistry() override { return registry_; }
    IUiServices& Ui() override { return *ui_; }
    IFileSystem& Files() override { return files_; }

  private:
    comm::CommOptions commOptions_;
    std::shared_ptr<Registry> registry_;
    std::shared_ptr<IUiServices> ui_;
    LocalFileSystem files_;
};

}  // namespace

std::shared_ptr<Host> MakeDefaultHost(const HostOptions& options) {
    // The device "sim" is the embedded simulator unless the program registered its own.
    if (!comm::IsLinkSchemeRegistered("sim")) {
        sim::RegisterEmbeddedLink();
    }
    return std::make_shared<DefaultHost>(options);
}

void UseDefaultComponents(const HostOptions& options) {
    Host::SetDefault(MakeDefaultHost(options));
}

}  // namespace vesk
