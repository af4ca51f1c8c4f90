// A channel write-back unlocks the instrument with the validated passcode; whatever happens to
// the requests that unlock and lock it again, the instrument must not stay open. (Cells of the
// fault matrix, reduced to the request that broke the rule.)
#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "simulator/Faults.h"
#include "tests/robustness/SimulatedLab.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"

namespace vesk::test {
namespace {

constexpr int32_t kPresentPasscode = 2;
constexpr int32_t kLock = 4;

class Relock : public ::testing::TestWithParam<sim::FaultKind> {
  protected:
    // A queried instrument whose passcode was just accepted, and its first channel.
    void Open() {
        unit = lab.Open();
        channel = unit->GetChannelReference(1);
        ASSERT_TRUE(channel->QueryInfo());
        lab.Ui().passcodes.push_back({"1234", true});
        ASSERT_TRUE(unit->ValidatePasscode(nullptr));
        ASSERT_FALSE(lab.instrument->Unlocked());
    }

    void Inject(int32_t setting) {
        sim::Fault fault;
        fault.kind = GetParam();
        fault.settingId = setting;
        fault.delayMs = 200;
        lab.instrument->InjectFault(fault);
    }

    SimulatedLab lab{67, 100};
    std::shared_ptr<CVesk4710> unit;
    std::shared_ptr<CVesk4710Channel> channel;
};

// The instrument acted on the passcode but its answer was late or lost in noise.
TEST_P(Relock, LostAnswerToThePasscodeStillEndsLocked) {
    Open();
    Inject(kPresentPasscode);
    EXPECT_FALSE(channel->UpdateInfo());
    EXPECT_FALSE(lab.instrument->Unlocked());
}

// The request that locks the instrument again went astray.
TEST_P(Relock, LostLockRequestStillEndsLocked) {
    Open();
    Inject(kLock);
    channel->UpdateInfo();
    EXPECT_FALSE(lab.instrument->Unlocked());
}

INSTANTIATE_TEST_SUITE_P(Faults, Relock,
                         ::testing::Values(sim::FaultKind::kDelay, sim::FaultKind::kNoReply,
                                           sim::FaultKind::kGarbage, sim::FaultKind::kDropLink,
                                           sim::FaultKind::kErrorReply),
                         [](const auto& info) {
                             return std::string(sim::FaultKindName(info.param));
                         });

}  // namespace
}  // namespace vesk::test
