#pragma once
// An instrument on the recording fake communications, with real probe objects.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "components/probes/Probe.h"
#include "tests/testsupport/Fakes.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::test {

class InstrumentTest : public ::testing::Test {
  protected:
    InstrumentTest() {
        host->probeFactory = [] { return probes::Probe::Create(); };
        unit = CVesk4710::Create(host);
        unit->InitializeCommunications();
        comm().log.clear();
        comm().requestParams.clear();
    }

    FakeCommunications& comm() { return *host->comm; }
    FakeUi& ui() { return host->ui; }
    std::vector<std::string> Log() const { return host->comm->log; }
    void ClearLog() {
        comm().log.clear();
        comm().requestParams.clear();
    }

    // Builds the module tree of a two-channel instrument whose inputs are on.
    void TwoChannels() {
        comm().Reply(SET_NUM_CHANNELS, "2");
        unit->QueryNumChannels();
        comm().Reply(SET_NUM_MODULES, "2");
        unit->QueryNumModules();
        ClearLog();
    }

    // A request's line in the log.
    static std::string Rd(int32_t id) { return "Read " + std::to_string(id); }
    static std::string Wr(int32_t id) { return "Write " + std::to_string(id); }
    // The session set-up and the identification every whole-instrument call starts with.
    static std::vector<std::string> Start() {
        return {Wr(SET_INIT_INTERFACE), Rd(SET_IDENTIFICATION) + " false"};
    }

    static AutomationError Broken() { return AutomationError(-2147220991, "link dropped", "comm"); }

    std::shared_ptr<FakeHost> host = std::make_shared<FakeHost>();
    std::shared_ptr<CVesk4710> unit;
};

}  // namespace vesk::test
