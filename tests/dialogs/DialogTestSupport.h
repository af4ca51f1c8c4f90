#pragma once
// A dialog on an instrument with fake components and an open session.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "components/probes/Probe.h"
#include "tests/testsupport/Fakes.h"
#include "tests/testsupport/Locale.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/dialogs/DialogBase.h"
#include "vesk4710/support/KeyFilters.h"

namespace vesk::test {

template <class Dialog>
class DialogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        host = std::make_shared<FakeHost>();
        instrument = CVesk4710::Create(host);
        instrument->SetRegistry(host->registry);
        ASSERT_TRUE(instrument->InitializeCommunications());
        host->comm->log.clear();
    }

    // Builds and loads the dialog; the controls come in the order of its control list.
    template <class Owner, class... Control>
    void Create(Owner owner, Control*... controls) {
        dialog = std::make_unique<Dialog>(owner);
        dialog->Bind({controls...});
        dialog->OnHide([this] { ++hides; });
        dialog->Load();
    }

    // A two-channel instrument with a passcode, read through the whole-instrument query.
    void ScriptInstrument() {
        comm().ScriptInstrument();
        host->probeFactory = [] { return probes::Probe::Create(); };
    }

    // Shows the dialog and forgets the requests and messages that took.
    void Open() {
        dialog->Activate();
        comm().log.clear();
        ui().boxes.clear();
    }
    void Click(int32_t button) { dialog->cmdOKCancelHelp_Click(button); }
    void OK() { Click(kCmdOK); }

    // Request lines as the fake link logs them.
    static std::string Write(int32_t id) { return "Write " + std::to_string(id); }

    FakeUi& ui() { return host->ui; }
    FakeCommunications& comm() { return *host->comm; }
    std::vector<int32_t> Writes() const { return host->comm->Writes(); }
    bool Logged(const std::string& line) const {
        const auto& log = host->comm->log;
        return std::find(log.begin(), log.end(), line) != log.end();
    }

    std::shared_ptr<FakeHost> host;
    std::shared_ptr<CVesk4710> instrument;
    std::unique_ptr<Dialog> dialog;
    int hides = 0;
};

}  // namespace vesk::test
