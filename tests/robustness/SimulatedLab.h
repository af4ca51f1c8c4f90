#pragma once
// An instrument object on the process default host, talking to the embedded simulator through
// the communications component ("sim:<port>"), with its own folder for temporary files,
// downloads, settings and the I/O trace, and scripted user-interface services.
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include "host/DefaultHost.h"
#include "simulator/EmbeddedLink.h"
#include "simulator/Instrument.h"
#include "tests/testsupport/EnvGuard.h"
#include "tests/testsupport/FakeFileSystem.h"
#include "tests/testsupport/FakeUi.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/platform/IRegistry.h"
#include "vesk4710/support/RegistryKeys.h"

namespace vesk::test {

class SimulatedLab {
  public:
    explicit SimulatedLab(int32_t port, int32_t timeoutMs = 2000,
                          std::shared_ptr<FakeUi> ui = std::make_shared<FakeUi>())
        : ui_(std::move(ui)) {
        const std::string temp = scratch_.Root() + "/temp";
        std::filesystem::create_directories(temp);
        // The download's trace and raw files go to the temporary folder: keep them ours.
        env_.Set("TMPDIR", temp.c_str());
        sim::SimOptions options;
        options.port = port;
        options.persist = false;
        // A still clock keeps readings and log times repeatable.
        const auto frozen = std::chrono::system_clock::from_time_t(1710000000);
        options.clock = [frozen] { return frozen; };
        sim::RegisterEmbeddedLink(options);
        options.reset = true;
        instrument = sim::Instrument::ForPort(options);

        HostOptions hostOptions;
        hostOptions.comm.device = "sim:" + std::to_string(port);
        hostOptions.comm.timeoutMs = timeoutMs;
        hostOptions.comm.tracePath = tracePath_;
        hostOptions.console = false;
        hostOptions.ui = ui_;
        hostOptions.registryPath = scratch_.Root() + "/settings.json";
        host_ = MakeDefaultHost(hostOptions);
        host_->CreateRegistry()->WriteValue(kRegDownloadFolder, 0, kHKeyCurrentUser, downloads);
    }

    ~SimulatedLab() {
        host_.reset();
        instrument.reset();
        sim::Instrument::ReleaseAll();
        comm::UnregisterLinkScheme("sim");
    }
    SimulatedLab(const SimulatedLab&) = delete;
    SimulatedLab& operator=(const SimulatedLab&) = delete;

    FakeUi& Ui() { return *ui_; }

    // A fresh instrument object with its session open, queried unless told otherwise.
    std::shared_ptr<CVesk4710> Open(bool query = true) {
        auto unit = CVesk4710::Create(host_);
        unit->SetRegistry(host_->CreateRegistry());
        EXPECT_TRUE(unit->InitializeCommunications());
        if (query) {
            EXPECT_TRUE(unit->QueryInfo());
        }
        return unit;
    }

    std::string Trace() const { return FakeFileSystem::ReadFile(tracePath_); }

  private:
    FakeFileSystem scratch_;  // a fresh folder, removed afterwards
    std::shared_ptr<FakeUi> ui_;
    EnvGuard env_;
    std::shared_ptr<Host> host_;
    const std::string tracePath_ = scratch_.Root() + "/io.trace";

  public:
    std::shared_ptr<sim::Instrument> instrument;
    const std::string downloads = scratch_.Root() + "/downloads";
};

}  // namespace vesk::test
