// The write-back of the instrument settings and the passcode that unlocks it.

#include "tests/core/InstrumentFixture.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

class UpdateInfoTest : public InstrumentTest {
  protected:
    UpdateInfoTest() : form(true) {
        comm().ReplyAlways(SET_IDENTIFICATION, "Vesk,4710,A12345,1.10");
        comm().ReplyAlways(SET_UNITS_READ, "C");
        comm().ReplyAlways(SET_CAL_DATE_READ, "2023,12,31");
        comm().ReplyAlways(SET_AUTO_POWER_READ, "OFF");
        LayOutCalibrationGrid(form.grid);
        unit->CalDate(Date::FromYMD(2023, 12, 31));
        unit->Units(UNITS_DEGREESC);
    }

    // Requests of the settings after the passcode and serial number.
    static std::vector<std::string> SettingWrites() {
        std::vector<std::string> r = {Wr(SET_UNITS_WRITE), Rd(SET_UNITS_READ),
                                      Wr(SET_CAL_DATE_WRITE), Rd(SET_CAL_DATE_READ)};
        for (int range = 0; range < 5; ++range) {
            r.insert(r.end(), {Wr(SET_CAL_RANGE), Wr(SET_CAL_COUNT_WRITE)});
        }
        r.insert(r.end(), {Wr(SET_CAL_RANGE), Wr(SET_PASSCODE_LOCK), Wr(SET_AUTO_POWER_WRITE),
                           Rd(SET_AUTO_POWER_READ)});
        return r;
    }

    std::string StartPhase() const {
        for (const auto& line : host->ui.progressLog) {
            if (line.rfind("StartPhase", 0) == 0) {
                return line;
            }
        }
        return {};
    }

    FakeForm form;
};

// With the passcode it is presented first and the instrument locked again last; the serial
// number needs both the passcode and the permission.
TEST_F(UpdateInfoTest, WritesEverySettingBetweenThePasscodeAndTheRelock) {
    struct Case {
        bool passcode, allowSerial;
        std::vector<std::string> head, tail;
        const char* phase;
        long steps;
    };
    const std::vector<Case> cases = {
        {false, true, {}, {}, "7.142857142857143", 6},
        {true, false, {Wr(SET_PASSCODE)}, {Wr(SET_PASSCODE_LOCK)}, "6.666666666666667", 7},
        {true, true, {Wr(SET_PASSCODE), Wr(SET_SERIAL)}, {Wr(SET_PASSCODE_LOCK)}, "6.25", 8},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.phase);
        ClearLog();
        ui().progressLog.clear();
        unit->PasscodeState(c.passcode ? PS_ENABLED : PS_DISABLED);
        unit->Passcode(c.passcode ? "1234" : "");
        unit->AllowSetSerial(c.allowSerial);
        ASSERT_TRUE(unit->UpdateInfo(&form));
        std::vector<std::string> expected = Start();
        for (const auto& part : {c.head, SettingWrites(), c.tail}) {
            expected.insert(expected.end(), part.begin(), part.end());
        }
        EXPECT_THAT(comm().Requests(), ElementsAreArray(expected));
        EXPECT_EQ(StartPhase(), std::string("StartPhase Updating 4710 settings... ") + c.phase);
        EXPECT_EQ(std::count(ui().progressLog.begin(), ui().progressLog.end(), "Step"), c.steps);
        EXPECT_EQ(ui().progressLog.back(), "Close");
        EXPECT_EQ(ui().pointer, kPointerDefault);
        EXPECT_TRUE(ui().boxes.empty());
        // The passcode is spent: the instrument is locked again.
        EXPECT_EQ(unit->Passcode(), "");
        EXPECT_EQ(unit->PasscodeState(), PS_DISABLED);
    }

    // The counts of an all "-" grid are written as 0.
    const auto params = comm().requestParams;
    const auto requests = comm().Requests();
    for (size_t i = 0; i < requests.size(); ++i) {
        if (requests[i] == Wr(SET_CAL_COUNT_WRITE)) {
            EXPECT_EQ(params[i].at("Value"), "0");
        }
    }

    // The next write-back is no longer unlocked; a disabled serial port is written last.
    ClearLog();
    unit->DisableSerial(true);
    ASSERT_TRUE(unit->UpdateInfo(&form));
    EXPECT_EQ(comm().Requests()[2], Wr(SET_UNITS_WRITE));
    EXPECT_EQ(comm().Requests().back(), Wr(SET_DISABLE_SERIAL));
}

TEST_F(UpdateInfoTest, FailingReadBackIsNamed) {
    comm().ReplyAlways(SET_UNITS_READ, "?");
    EXPECT_FALSE(unit->UpdateInfo(&form));
    EXPECT_THAT(ui().Prompts(), ElementsAre("Failed to successfully update 'Units'."));
    EXPECT_EQ(comm().Requests().back(), Rd(SET_UNITS_READ));
}

TEST_F(UpdateInfoTest, CancelEndsTheWriteBackAndRelocks) {
    unit->PasscodeState(PS_ENABLED);
    unit->Passcode("1234");
    // The first step passes, the one after the passcode is cancelled.
    ui().cancelAtStep = 1;
    EXPECT_FALSE(unit->UpdateInfo(&form));
    EXPECT_THAT(ui().Prompts(), ElementsAre("Aborted updating information."));
    auto expected = Start();
    expected.insert(expected.end(), {Wr(SET_PASSCODE), Wr(SET_PASSCODE_LOCK)});
    EXPECT_EQ(comm().Requests(), expected);
    // Not spent: the user may try again.
    EXPECT_EQ(unit->Passcode(), "1234");
    EXPECT_EQ(unit->PasscodeState(), PS_ENABLED);
}

TEST_F(UpdateInfoTest, ALockFailingTwiceIsSaidAndDoneBeforeTheNextRequest) {
    comm().Fail(SET_PASSCODE_LOCK, Broken());
    comm().Fail(SET_PASSCODE_LOCK, Broken());
    const auto e = Raised([&] { unit->UpdatePasscodeState("", true); });
    EXPECT_NE(e.Description().find("may be left unlocked"), std::string::npos) << e.Description();
    ClearLog();
    ASSERT_TRUE(unit->QueryUnits());
    EXPECT_THAT(comm().Requests(), ElementsAre(Wr(SET_PASSCODE_LOCK), Rd(SET_UNITS_READ)));
}

TEST_F(UpdateInfoTest, OwnGridIsNotWrittenBeforeItWasFilled) {
    ASSERT_TRUE(unit->UpdateInfo());
    const auto requests = comm().Requests();
    EXPECT_EQ(std::count(requests.begin(), requests.end(), Wr(SET_CAL_RANGE)), 0);

    comm().ReplyAlways(SET_CAL_COUNT_READ, "0");
    unit->FillCalibrationGrid(unit->CalibrationGrid());
    ClearLog();
    ASSERT_TRUE(unit->UpdateInfo());
    const auto after = comm().Requests();
    EXPECT_EQ(std::count(after.begin(), after.end(), Wr(SET_CAL_RANGE)), 6);
}

TEST_F(InstrumentTest, ValidatePasscodeCancelledChangesNothingAndErrorsAreRaised) {
    unit->Passcode("old");
    EXPECT_FALSE(unit->ValidatePasscode(nullptr));
    EXPECT_EQ(unit->Passcode(), "old");
    EXPECT_TRUE(Log().empty());

    // A wrong passcode followed by a cancel: false, still nothing stored.
    ui().passcodes = {{"0000", true}, {"", false}};
    comm().ReplyAlways(SET_PASSCODE_STATE, "0");
    EXPECT_FALSE(unit->ValidatePasscode(nullptr));
    EXPECT_EQ(unit->Passcode(), "old");
    EXPECT_EQ(ui().passcodePrompts, 3);

    // A failing request is raised as ValidatePasscode's.
    ui().passcodes = {{"1", true}};
    comm().Fail(SET_PASSCODE, Broken());
    EXPECT_EQ(Raised([&] { unit->ValidatePasscode(nullptr); }).Source(),
              "CVesk4710 - ValidatePasscode");
}

}  // namespace
}  // namespace vesk::test
