// Writing a channel back: request order per family and junction type, value texts,
// passcode unlock and restore, failures and aborts.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>

#include "tests/channel/ChannelFixture.h"
#include "tests/testsupport/Locale.h"
#include "vesk4710/support/NumberText.h"

namespace vesk::test {
namespace {

class ChannelUpdate : public ChannelTest {
  protected:
    // Puts the channel in a known state and lets the instrument echo it back.
    void Prepare(int32_t type, int32_t tc, const std::string& code) {
        ASSERT_TRUE(channel->SetConversionType(type, tc));
        channel->Probe()->Serial("AB12");
        channel->CalDate(Date::FromYMD(2023, 12, 31));
        channel->Resolution(-1);
        channel->MINOP(5);
        channel->MAXOP(120);
        channel->ProbeLock(true);
        comm().ReplyAlways(122, "ab12");
        comm().ReplyAlways(130, code);
        comm().ReplyAlways(126, "2023,12,31");
        comm().ReplyAlways(66, "AUTO");
        comm().ReplyAlways(144, "1");
        paramReplies["MINOP"] = "5";
        paramReplies["MAXOP"] = "120";
        host->ui.boxes.clear();
    }
    static std::vector<std::string> Head(const std::string& code) {
        return Seq({Write(123, "AB12"), Read(122), Write(131, code), Read(130),
                    Write(127, "2023,12,31"), Read(126)});
    }
    static std::vector<std::string> Tail() {
        return Seq({Write(67, "3"), Read(66), WriteParam("MINOP", "5"), ReadParam("MINOP"),
                    WriteParam("MAXOP", "120"), ReadParam("MAXOP"), Write(145, "1"), Read(144)});
    }
    static std::vector<std::string> WriteRead(const std::string& name, const std::string& value) {
        return Seq({WriteParam(name, value), ReadParam(name)});
    }
    void ExpectNoCommaSent() {
        for (const auto& line : comm().log) {
            if (line.rfind("Value=", 0) == 0 && line != "Value=2023,12,31") {
                EXPECT_EQ(line.find(','), std::string::npos) << line;
            }
        }
    }
};

TEST_F(ChannelUpdate, PT100WritesEachSettingAndReadsItBackBetweenPasscodeAndRelock) {
    Prepare(19, 4, "PT");
    instrument->Passcode("4321");
    instrument->PasscodeState(PS_ENABLED);
    conv().Coefficients(0, 100.0123);
    paramReplies["R0"] = "100.0124";
    ASSERT_TRUE(channel->UpdateInfo());
    EXPECT_EQ(comm().log, Seq({{"ClearAll", "Value=4321", "Write 2"},
                               Head("PT"),
                               Tail(),
                               WriteRead("R0", "100.0123"),
                               {"ClearAll", "Write 4"}}));
    EXPECT_EQ(instrument->PasscodeState(), PS_DISABLED);
    EXPECT_EQ(instrument->Passcode(), "4321");
    // The channel holds what the instrument accepted.
    EXPECT_DOUBLE_EQ(conv().Coefficients(0), 100.0124);
    EXPECT_EQ(channel->Resolution(), -1);
    EXPECT_EQ(channel->Probe()->Serial(), "AB12");
    EXPECT_TRUE(host->ui.boxes.empty());
    EXPECT_TRUE(Shown("StartPhase Updating channel 3 settings... 12.5"));
    ExpectDisplaysClosed();
}

TEST_F(ChannelUpdate, EachFamilyWritesItsOwnParameters) {
    struct Case {
        int32_t type, tc;
        const char* code;
        std::vector<std::string> log;  // after the head of common settings
    };
    const auto zero = [](std::initializer_list<const char*> names) {
        std::vector<std::string> all;
        for (const char* name : names) {
            all = Seq({all, WriteRead(name, "0.0000000E00")});
        }
        return all;
    };
    const std::vector<Case> cases = {
        // The ITS-90 sets write RTPW without reading it back.
        {17, 4, "ITS5",
         Seq({Tail(), WriteParam("RTPW", "100.00000"), zero({"A4", "B4", "A", "B", "C"})})},
        {2, 4, "CVD",
         Seq({Tail(), WriteParam("R0", "100.0000"), WriteParam("A", "0.003850000"),
              WriteParam("B", "1.5070"), WriteParam("C", "0.111")})},
        {6, 4, "TRES",
         Seq({Tail(), WriteRead("B0", "-4.0000000E00"), WriteRead("B1", "4.0000000E03"),
              zero({"B2", "B3"})})},
        // The internal junction adds its fixed characteristic, whatever the probe holds.
        {20, 4, "K",
         Seq({WriteRead("RJTYPE", "1"), WriteRead("RJTEMP", "0.000"), Tail(),
              WriteRead("C0", "0.00"), WriteRead("C1", "0.00"), WriteRead("C2", "0.00"),
              WriteRead("C3", "0.00"), WriteRead("B0", "-5.21"), WriteRead("B1", "4653.14"),
              WriteRead("B2", "-91698.18"), WriteRead("B3", "-4054538.50")})},
        {10, 4, "RPRT", Tail()},
        {11, 4, "V", Tail()},
        {1, 4, "", Tail()},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        channel = MakeChannel();
        comm().log.clear();
        Prepare(c.type, c.tc, c.code);
        if (c.type == 20) {
            conv().ValueFormat("###0.00");
            paramReplies["RJTYPE"] = "1";
            paramReplies["RJTEMP"] = "0";
        }
        ASSERT_TRUE(channel->UpdateInfo());
        EXPECT_EQ(comm().log, Seq({Head(c.code), c.log}));
        ExpectNoCommaSent();
    }
}

TEST_F(ChannelUpdate, ITS90WritesRTPWWithoutReadBackAndBothRanges) {
    Prepare(0, 4, "ITS");
    IConversion& c = conv();
    c.RTPW(25.54321);
    c.LowRange().Coefficients(0, -1.2345e-4);
    c.LowRange().Coefficients(1, 2.5e-6);
    c.HighRange().Coefficients(0, 1.5e-4);
    ASSERT_TRUE(channel->UpdateInfo());
    EXPECT_EQ(comm().log, Seq({Head("ITS"), Tail(), WriteParam("RTPW", "25.54321"),
                               WriteRead("A4", "-1.2345000E-04"), WriteRead("B4", "2.5000000E-06"),
                               WriteRead("A", "1.5000000E-04"), WriteRead("B", "0.0000000E00"),
                               WriteRead("C", "0.0000000E00"), WriteRead("D", "0.0000000E00")}));
    ExpectNoCommaSent();
}

TEST_F(ChannelUpdate, ThermocoupleWithExternalJunctionWritesOnlyC) {
    Prepare(20, 3, "J");
    channel->RJCType(0);
    channel->RJCTemperature(23.5);
    conv().ValueFormat("###0.00");
    conv().Coefficients(0, 0.5);
    conv().Coefficients(1, -1.25);
    paramReplies["RJTYPE"] = "0";
    paramReplies["RJTEMP"] = "23.5";
    ASSERT_TRUE(channel->UpdateInfo());
    EXPECT_EQ(comm().log, Seq({Head("J"), WriteRead("RJTYPE", "0"), WriteRead("RJTEMP", "23.500"),
                               Tail(), WriteRead("C0", "0.50"), WriteRead("C1", "-1.25"),
                               WriteRead("C2", "0.00"), WriteRead("C3", "0.00")}));
    EXPECT_EQ(channel->RJCType(), 0);
    EXPECT_DOUBLE_EQ(channel->RJCTemperature(), 23.5);
    EXPECT_TRUE(Shown("StartPhase Updating TC Type J coefficients... 25"));
}

TEST_F(ChannelUpdate, SingleValueTextsUseAPointInAnyLocale) {
    // The suite also runs under a comma-decimal locale; make sure that run really has one.
    if (CommaLocale()) {
        ASSERT_EQ(LocaleDecimalSeparator(), ",");
    }
    channel->Resolution(2);
    channel->ProbeLock(false);
    channel->CalDate(Date::FromYMD(2024, 3, 5));
    channel->MINOP(-7);
    ASSERT_TRUE(channel->UpdateResolution());
    ASSERT_TRUE(channel->UpdateProbeLock());
    ASSERT_TRUE(channel->UpdateCalDate());
    ASSERT_TRUE(channel->UpdateMINOP());
    channel->RJCTemperature(21.125);
    ASSERT_TRUE(channel->UpdateExternalRJCTemperature());
    channel->RJCTemperature(-2.25);
    channel->RJCTemperatureFormat("##0.00000");
    ASSERT_TRUE(channel->UpdateExternalRJCTemperature());
    ASSERT_TRUE(channel->UpdateCoefficient("R0", 99.5, "##0.0000"));
    ASSERT_TRUE(channel->UpdateCoefficient("A", -3.9e-3, "0.0000000E-00"));
    ASSERT_TRUE(channel->UpdateCoefficient("A4", 1234.5678, "#0.000"));
    EXPECT_EQ(comm().log, Seq({Write(67, "2"), Write(145, "0"), Write(127, "2024,3,5"),
                               WriteParam("MINOP", "-7"), WriteParam("RJTEMP", "21.125"),
                               WriteParam("RJTEMP", "-2.25000"), WriteParam("R0", "99.5000"),
                               WriteParam("A", "-3.9000000E-03"), WriteParam("A4", "1234.568")}));
}

// Each single write reports under its own member and names its setting for the user.
TEST_F(ChannelUpdate, AFailedSingleWriteNamesItsMemberAndSetting) {
    struct Case {
        std::function<bool()> update;
        int32_t id;
        std::string member, setting;
    };
    const std::vector<Case> cases = {
        {[&] { return channel->UpdateSerialNumber(); }, 123, "UpdateSerialNumber",
         "Probe serial number"},
        {[&] { return channel->UpdateConversionType(); }, 131, "UpdateConversionType",
         "Conversion type"},
        {[&] { return channel->UpdateCalDate(); }, 127, "UpdateCalDate", "Calibration date"},
        {[&] { return channel->UpdateRJCType(); }, 135, "UpdateRJCType", "RJC type"},
        {[&] { return channel->UpdateExternalRJCTemperature(); }, 135,
         "UpdateExternalRJCTemperature", "RJC temperature"},
        {[&] { return channel->UpdateResolution(); }, 67, "UpdateResolution", "Resolution"},
        {[&] { return channel->UpdateProbeLock(); }, 145, "UpdateProbeLock",
         "Exclusively lock probe to channel"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.member);
        host->ui.boxes.clear();
        comm().Fail(c.id, AutomationError(-2147220989, "Value out of range"));
        EXPECT_FALSE(c.update());
        EXPECT_EQ(Prompts(),
                  std::vector<std::string>{
                      "An error occurred while attempting to update '" + c.setting +
                      "'.\r\rError: -2147220989 - Value out of range\r(CVesk4710Channel - " +
                      c.member + ")"});
    }
}

// A failed write, a failed read-back and a cancel all stop there and lock the instrument again.
TEST_F(ChannelUpdate, AStopAnywhereStillRestoresProtection) {
    struct Case {
        std::function<void()> stop;
        std::vector<std::string> upToTheStop;
        std::vector<std::string> prompts;
    };
    const std::vector<Case> cases = {
        {[&] { comm().Fail(127, AutomationError(-2147220989, "Value out of range")); },
         Seq({Write(123, "AB12"), Read(122), Write(131, "PT"), Read(130),
              Write(127, "2023,12,31")}),
         {"An error occurred while attempting to update 'Calibration date'.\r\rError: "
          "-2147220989 - Value out of range\r(CVesk4710Channel - UpdateCalDate)",
          "Failed to successfully update 'Calibration date'."}},
        {[&] { host->ui.cancelAtStep = 0; },
         Seq({Write(123, "AB12"), Read(122)}),
         {"Aborted updating information."}},
    };
    for (const Case& c : cases) {
        channel = MakeChannel();
        comm().log.clear();
        Prepare(19, 4, "PT");
        instrument->Passcode("4321");
        instrument->PasscodeState(PS_ENABLED);
        c.stop();
        EXPECT_FALSE(channel->UpdateInfo());
        EXPECT_EQ(
            comm().log,
            Seq({{"ClearAll", "Value=4321", "Write 2"}, c.upToTheStop, {"ClearAll", "Write 4"}}));
        EXPECT_EQ(instrument->PasscodeState(), PS_DISABLED);
        EXPECT_EQ(Prompts(), c.prompts);
    }

    // A coefficient whose read-back fails ends its family and the conversion.
    host->ui.cancelAtStep = -1;
    channel = MakeChannel();
    comm().log.clear();
    Prepare(6, 4, "TRES");
    instrument->Passcode("9");
    instrument->PasscodeState(PS_ENABLED);
    failParams["B1"] = true;
    EXPECT_FALSE(channel->UpdateInfo());
    EXPECT_EQ(comm().log, Seq({{"ClearAll", "Value=9", "Write 2"},
                               Head("TRES"),
                               Tail(),
                               WriteRead("B0", "-4.0000000E00"),
                               WriteRead("B1", "4.0000000E03"),
                               {"ClearAll", "Write 4"}}));
    EXPECT_EQ(Prompts(),
              (std::vector<std::string>{"Failed to successfully update 'Thermistor R(T) B1'.",
                                        "Failed to successfully update 'Conversion type'."}));
}

TEST_F(ChannelUpdate, InstrumentGoneFailsCleanly) {
    Prepare(19, 4, "PT");
    instrument.reset();
    EXPECT_FALSE(channel->UpdateInfo());
    EXPECT_TRUE(comm().log.empty());
    ASSERT_EQ(host->ui.boxes.size(), 1u);
    EXPECT_NE(host->ui.boxes[0].prompt.find("(CVesk4710Channel - UpdateInfo)"), std::string::npos);
    EXPECT_FALSE(channel->UpdateProbeLock());
}

}  // namespace
}  // namespace vesk::test
