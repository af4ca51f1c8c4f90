#pragma once
// An instrument on fake components with an open session, for driving dialog logic.
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>

#include "components/probes/Probe.h"
#include "tests/testsupport/Fakes.h"
#include "vesk4710/core/CVesk4710.h"

namespace vesk::test {

// Picks the list entry carrying data, as the user would.
inline void SelectData(FakeList& list, int32_t data) {
    for (int32_t i = 0; i < list.ListCount(); ++i) {
        if (list.ItemData(i) == data) {
            list.ListIndex(i);
            return;
        }
    }
    ADD_FAILURE() << "no entry with data " << data;
}

class DialogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        host = std::make_shared<FakeHost>();
        instrument = CVesk4710::Create(host);
        instrument->SetRegistry(host->registry);
        ASSERT_TRUE(instrument->InitializeCommunications());
        host->comm->log.clear();
    }

    // A two-channel instrument with a passcode, read through the whole-instrument query.
    void ScriptInstrument() {
        comm().ReplyAlways(SET_IDENTIFICATION, "Vesk,4710,A12345,1.10");
        comm().ReplyAlways(SET_CONV_PROTECTION, "1");
        comm().ReplyAlways(SET_PASSCODE_STATE, "0");
        comm().ReplyAlways(SET_NUM_CHANNELS, "2");
        comm().ReplyAlways(SET_MODULE_LIST, "PRT,PRT");
        comm().ReplyAlways(SET_NUM_MODULES, "2");
        comm().ReplyAlways(SET_CHANNEL_STATE, "1");
        comm().ReplyAlways(SET_UNITS_READ, "C");
        comm().ReplyAlways(SET_AUTO_POWER_READ, "OFF");
        comm().ReplyAlways(SET_CAL_DATE_READ, "2024,1,15");
        comm().ReplyAlways(SET_CAL_COUNT_READ, "2");
        comm().ReplyAlways(SET_CAL_REFERENCE_READ, "100");
        comm().ReplyAlways(SET_CAL_VALUE_READ, "100.02");
        comm().ReplyAlways(SET_INTERVAL_READ, "5");
        comm().ReplyAlways(SET_SCAN_MODE_READ, "0");
        comm().ReplyAlways(SET_SCAN_LIST_READ, "L:1,2;");
        host->probeFactory = [] { return probes::Probe::Create(); };
    }

    FakeUi& ui() { return host->ui; }
    FakeCommunications& comm() { return *host->comm; }
    bool Logged(const std::string& line) const {
        const auto& log = host->comm->log;
        return std::find(log.begin(), log.end(), line) != log.end();
    }

    std::shared_ptr<FakeHost> host;
    std::shared_ptr<CVesk4710> instrument;
};

}  // namespace vesk::test
