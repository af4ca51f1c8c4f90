// Writing a channel back: request order per family and junction type, value texts,
// passcode unlock and restore, failures and aborts.
#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "tests/channel/ChannelFixture.h"
#include "tests/testsupport/Locale.h"

namespace vesk::test {
namespace {

class ChannelUpdate : public ChannelTest {
  protected:
    // A fresh channel in a known state, on an instrument that echoes it back.
    void Prepare(int32_t type, int32_t tc, const std::string& code) {
        channel = MakeChannel();
        ASSERT_TRUE(channel->SetConversionType(type, tc));
        channel->Probe()->Serial("AB12");
        channel->CalDate(Date::FromYMD(2023, 12, 31));
        channel->Resolution(-1);
        channel->MINOP(5);
        channel->MAXOP(120);
        channel->ProbeLock(true);
        ReplySettings("ab12", code, "AUTO", {{"MINOP", "5"}, {"MAXOP", "120"}});
        failParams.clear();
        comm().log.clear();
        host->ui.boxes.clear();
        host->ui.cancelAtStep = -1;
    }
    void Unlocked(const std::string& passcode) {
        instrument->Passcode(passcode);
        instrument->PasscodeState(PS_ENABLED);
    }
    static std::vector<std::string> Unlock(const std::string& passcode) {
        return {"ClearAll", "Value=" + passcode, "Write " + std::to_string(SET_PASSCODE)};
    }
    static std::vector<std::string> Relock() {
        return {"ClearAll", "Write " + std::to_string(SET_PASSCODE_LOCK)};
    }
    static std::vector<std::string> Head(const std::string& code) {
        return Seq({Write(SET_PROBE_SERIAL_WRITE, "AB12"), Read(SET_PROBE_SERIAL_READ),
                    Write(SET_CONVERSION_WRITE, code), Read(SET_CONVERSION_READ),
                    Write(SET_PROBE_CAL_DATE_WRITE, "2023,12,31"), Read(SET_PROBE_CAL_DATE_READ)});
    }
    static std::vector<std::string> Tail() {
        return Seq({Write(SET_RESOLUTION, "3"), Read(SET_RESOLUTION_READ), WriteRead("MINOP", "5"),
                    WriteRead("MAXOP", "120"), Write(SET_PROBE_LOCK_WRITE, "1"),
                    Read(SET_PROBE_LOCK_READ)});
    }
    static std::vector<std::string> WriteRead(const std::string& name, const std::string& value) {
        return Seq({WriteParam(name, value), ReadParam(name)});
    }
};

TEST_F(ChannelUpdate, PT100WritesEachSettingAndReadsItBackBetweenPasscodeAndRelock) {
    Prepare(19, 4, "PT");
    Unlocked("4321");
    conv().Coefficients(0, 100.0123);
    paramReplies["R0"] = "100.0124";
    ASSERT_TRUE(channel->UpdateInfo());
    EXPECT_EQ(comm().log,
              Seq({Unlock("4321"), Head("PT"), Tail(), WriteRead("R0", "100.0123"), Relock()}));
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
        std::function<void()> set;     // values beyond the starting ones
    };
    const auto zero = [](std::initializer_list<const char*> names) {
        std::vector<std::string> all;
        for (const char* name : names) {
            all = Seq({all, WriteRead(name, "0.0000000E00")});
        }
        return all;
    };
    const auto junction = [&](const char* type, const char* temperature) {
        paramReplies["RJTYPE"] = type;
        paramReplies["RJTEMP"] = temperature;
    };
    const std::vector<Case> cases = {
        // The ITS-90 sets write RTPW without reading it back, and both ranges.
        {0, 4, "ITS",
         Seq({Tail(), WriteParam("RTPW", "25.54321"), WriteRead("A4", "-1.2345000E-04"),
              WriteRead("B4", "2.5000000E-06"), WriteRead("A", "1.5000000E-04"),
              zero({"B", "C", "D"})}),
         [&] {
             conv().RTPW(25.54321);
             conv().LowRange().Coefficients(0, -1.2345e-4);
             conv().LowRange().Coefficients(1, 2.5e-6);
             conv().HighRange().Coefficients(0, 1.5e-4);
         }},
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
              WriteRead("B2", "-91698.18"), WriteRead("B3", "-4054538.50")}),
         [&] { junction("1", "0"); }},
        {10, 4, "RPRT", Tail()},
        {11, 4, "V", Tail()},
        {1, 4, "", Tail()},
        // An external junction writes its temperature and only the C coefficients.
        {20, 3, "J",
         Seq({WriteRead("RJTYPE", "0"), WriteRead("RJTEMP", "23.500"), Tail(),
              WriteRead("C0", "0.50"), WriteRead("C1", "-1.25"), WriteRead("C2", "0.00"),
              WriteRead("C3", "0.00")}),
         [&] {
             channel->RJCType(0);
             channel->RJCTemperature(23.5);
             conv().Coefficients(0, 0.5);
             conv().Coefficients(1, -1.25);
             junction("0", "23.5");
         }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        Prepare(c.type, c.tc, c.code);
        if (c.type == 20) {
            conv().ValueFormat("###0.00");
        }
        if (c.set) {
            c.set();
        }
        ASSERT_TRUE(channel->UpdateInfo());
        EXPECT_EQ(comm().log, Seq({Head(c.code), c.log}));
        // Only the date carries a comma.
        for (const auto& line : comm().log) {
            if (line.rfind("Value=", 0) == 0 && line != "Value=2023,12,31") {
                EXPECT_EQ(line.find(','), std::string::npos) << line;
            }
        }
    }
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
    EXPECT_EQ(comm().log, Seq({Write(SET_RESOLUTION, "2"), Write(SET_PROBE_LOCK_WRITE, "0"),
                               Write(SET_PROBE_CAL_DATE_WRITE, "2024,3,5"),
                               WriteParam("MINOP", "-7"), WriteParam("RJTEMP", "21.125"),
                               WriteParam("RJTEMP", "-2.25000"), WriteParam("R0", "99.5000"),
                               WriteParam("A", "-3.9000000E-03"), WriteParam("A4", "1234.568")}));
}

// Each single write reports under its own member and names its setting for the user.
TEST_F(ChannelUpdate, AFailedSingleWriteNamesItsMemberAndSetting) {
    using C = CVesk4710Channel;
    const std::tuple<bool (C::*)(), int32_t, std::string, std::string> cases[] = {
        {&C::UpdateSerialNumber, SET_PROBE_SERIAL_WRITE, "UpdateSerialNumber",
         "Probe serial number"},
        {&C::UpdateConversionType, SET_CONVERSION_WRITE, "UpdateConversionType", "Conversion type"},
        {&C::UpdateCalDate, SET_PROBE_CAL_DATE_WRITE, "UpdateCalDate", "Calibration date"},
        {&C::UpdateRJCType, SET_PARAMETER_WRITE, "UpdateRJCType", "RJC type"},
        {&C::UpdateExternalRJCTemperature, SET_PARAMETER_WRITE, "UpdateExternalRJCTemperature",
         "RJC temperature"},
        {&C::UpdateResolution, SET_RESOLUTION, "UpdateResolution", "Resolution"},
        {&C::UpdateProbeLock, SET_PROBE_LOCK_WRITE, "UpdateProbeLock",
         "Exclusively lock probe to channel"},
    };
    for (const auto& [update, id, member, setting] : cases) {
        SCOPED_TRACE(member);
        host->ui.boxes.clear();
        comm().Fail(id, AutomationError(-2147220989, "Value out of range"));
        EXPECT_FALSE((*channel.*update)());
        EXPECT_EQ(Prompts(),
                  std::vector<std::string>{
                      "An error occurred while attempting to update '" + setting +
                      "'.\r\rError: -2147220989 - Value out of range\r(CVesk4710Channel - " +
                      member + ")"});
    }
}

// A cancel and a failed read-back stop there and lock the instrument again.
TEST_F(ChannelUpdate, AStopStillRestoresProtection) {
    Prepare(19, 4, "PT");
    Unlocked("4321");
    host->ui.cancelAtStep = 0;
    EXPECT_FALSE(channel->UpdateInfo());
    EXPECT_EQ(comm().log, Seq({Unlock("4321"), Write(SET_PROBE_SERIAL_WRITE, "AB12"),
                               Read(SET_PROBE_SERIAL_READ), Relock()}));
    EXPECT_EQ(instrument->PasscodeState(), PS_DISABLED);
    EXPECT_EQ(Prompts(), std::vector<std::string>{"Aborted updating information."});

    // A coefficient whose read-back fails ends its family and the conversion.
    Prepare(6, 4, "TRES");
    Unlocked("4321");
    failParams["B1"] = true;
    EXPECT_FALSE(channel->UpdateInfo());
    EXPECT_EQ(comm().log,
              Seq({Unlock("4321"), Head("TRES"), Tail(), WriteRead("B0", "-4.0000000E00"),
                   WriteRead("B1", "4.0000000E03"), Relock()}));
    EXPECT_EQ(instrument->PasscodeState(), PS_DISABLED);
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
    EXPECT_NE(host->ui.boxes[0].prompt.find("not connected to an instrument"), std::string::npos);
    EXPECT_NE(host->ui.boxes[0].prompt.find("(CVesk4710Channel - UpdateInfo)"), std::string::npos);
    EXPECT_FALSE(channel->UpdateProbeLock());
}

}  // namespace
}  // namespace vesk::test
