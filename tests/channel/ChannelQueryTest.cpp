// Reading a channel from the instrument: request order per conversion family, reply
// parsing, failures and aborts.
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/channel/ChannelFixture.h"
#include "vesk4710/modules/CVesk4710Card.h"

namespace vesk::test {
namespace {

class ChannelQuery : public ChannelTest {
  protected:
    // Replies shared by every family; the conversion code decides the rest.
    void ScriptCommon(const std::string& code) {
        comm().ReplyAlways(122, "pr1234");
        comm().ReplyAlways(130, code);
        comm().ReplyAlways(126, "2023,12,31");
        comm().ReplyAlways(66, "2");
        comm().ReplyAlways(144, "1");
        paramReplies["MINOP"] = "12.5";
        paramReplies["MAXOP"] = "250";
    }
    static std::vector<std::string> Common() {
        return Seq({Read(122), Read(130), Read(126), Read(66), ReadParam("MINOP"),
                    ReadParam("MAXOP"), Read(144)});
    }
    void ExpectCommonValues() {
        EXPECT_EQ(channel->Probe()->Serial(), "PR1234");
        EXPECT_EQ(channel->CalDate(), Date::FromYMD(2023, 12, 31));
        EXPECT_EQ(channel->Resolution(), 2);
        EXPECT_EQ(channel->MINOP(), 12);  // rounded half to even
        EXPECT_EQ(channel->MAXOP(), 250);
        EXPECT_TRUE(channel->ProbeLock());
    }
};

TEST_F(ChannelQuery, ITS90ReadsRTPWAndBothRanges) {
    ScriptCommon("its");
    paramReplies = {{"MINOP", "12.5"},     {"MAXOP", "250"},  {"RTPW", "25.54321"},
                    {"A4", "-1.2345E-04"}, {"B4", "3.2e-06"}, {"A", "1.5E-04"},
                    {"B", "-2E-05"},       {"C", "3"},        {"D", "4.25"}};
    ASSERT_TRUE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Common(), ReadParam("RTPW"), ReadParam("A4"), ReadParam("B4"),
                               ReadParam("A"), ReadParam("B"), ReadParam("C"), ReadParam("D")}));
    ExpectCommonValues();
    EXPECT_EQ(channel->Probe()->ConversionType(), 0);
    EXPECT_EQ(channel->ProbeType(), 0);
    EXPECT_DOUBLE_EQ(conv().RTPW(), 25.54321);
    EXPECT_DOUBLE_EQ(conv().LowRange().Coefficients(0), -1.2345e-4);
    EXPECT_DOUBLE_EQ(conv().LowRange().Coefficients(1), 3.2e-6);
    EXPECT_DOUBLE_EQ(conv().HighRange().Coefficients(0), 1.5e-4);
    EXPECT_DOUBLE_EQ(conv().HighRange().Coefficients(3), 4.25);
    EXPECT_TRUE(host->ui.boxes.empty());
    // The main display advances once per step and closes; each range has its own display.
    const auto& log = host->ui.progressLog;
    EXPECT_EQ(log.front(), "SetOwner");
    EXPECT_EQ(log[1], "StartPhase Reading channel 3 settings... 12.5");
    EXPECT_NE(
        std::find(log.begin(), log.end(), "StartPhase Reading ITS-90 range 4 coefficients... 50"),
        log.end());
    EXPECT_NE(
        std::find(log.begin(), log.end(), "StartPhase Reading ITS-90 range 6 coefficients... 25"),
        log.end());
    EXPECT_EQ(std::count(log.begin(), log.end(), "StartPhase Reading channel 3 settings... 12.5"),
              1);
    EXPECT_EQ(host->ui.progressCreated, 4);
    EXPECT_EQ(std::count(log.begin(), log.end(), "Close"), 4);
}

TEST_F(ChannelQuery, Subrange5SkipsTheHighRange) {
    ScriptCommon("ITS5");
    ASSERT_TRUE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Common(), ReadParam("RTPW"), ReadParam("A4"), ReadParam("B4")}));
    EXPECT_EQ(channel->Probe()->ConversionType(), 17);
    EXPECT_EQ(channel->ProbeType(), 0);
}

TEST_F(ChannelQuery, CVDReadsFourCoefficients) {
    ScriptCommon("CVD");
    paramReplies.insert({{"R0", "100.0123"}, {"A", "0.0039083"}, {"B", "-5.775E-07"}, {"C", "0"}});
    ASSERT_TRUE(channel->QueryInfo());
    EXPECT_EQ(comm().log,
              Seq({Common(), ReadParam("R0"), ReadParam("A"), ReadParam("B"), ReadParam("C")}));
    EXPECT_DOUBLE_EQ(conv().Coefficients(0), 100.0123);
    EXPECT_DOUBLE_EQ(conv().Coefficients(1), 0.0039083);
    EXPECT_DOUBLE_EQ(conv().Coefficients(2), -5.775e-7);
    EXPECT_DOUBLE_EQ(conv().Coefficients(3), 0.0);
    ExpectCommonValues();
}

TEST_F(ChannelQuery, PT100ReadsR0Only) {
    ScriptCommon("PT100");
    paramReplies["R0"] = "99.98";
    ASSERT_TRUE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Common(), ReadParam("R0")}));
    EXPECT_EQ(channel->Probe()->ConversionType(), 19);
    EXPECT_DOUBLE_EQ(conv().Coefficients(0), 99.98);
}

TEST_F(ChannelQuery, ThermistorReadsBCoefficients) {
    ScriptCommon("TRES");
    paramReplies.insert({{"B0", "-3.9"}, {"B1", "4012.5"}, {"B2", "-1.5E+04"}, {"B3", "2e5"}});
    ASSERT_TRUE(channel->QueryInfo());
    EXPECT_EQ(comm().log,
              Seq({Common(), ReadParam("B0"), ReadParam("B1"), ReadParam("B2"), ReadParam("B3")}));
    EXPECT_EQ(channel->ProbeType(), 1);
    EXPECT_DOUBLE_EQ(conv().Coefficients(1), 4012.5);
    EXPECT_DOUBLE_EQ(conv().Coefficients(2), -15000.0);
    EXPECT_DOUBLE_EQ(conv().Coefficients(3), 200000.0);
}

TEST_F(ChannelQuery, ThermocoupleReadsJunctionThenCCoefficients) {
    ScriptCommon("J");
    paramReplies.insert({{"RJTYPE", "0"},
                         {"RJTEMP", "23.25"},
                         {"C0", "0.5"},
                         {"C1", "-0.25"},
                         {"C2", "0"},
                         {"C3", "1E-3"}});
    ASSERT_TRUE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Common(), ReadParam("RJTYPE"), ReadParam("RJTEMP"), ReadParam("C0"),
                               ReadParam("C1"), ReadParam("C2"), ReadParam("C3")}));
    EXPECT_EQ(channel->ProbeType(), 2);
    EXPECT_EQ(conv().TCType(), 3);
    EXPECT_EQ(channel->RJCType(), 0);
    EXPECT_DOUBLE_EQ(channel->RJCTemperature(), 23.25);
    EXPECT_DOUBLE_EQ(conv().Coefficients(1), -0.25);
    EXPECT_DOUBLE_EQ(conv().Coefficients(3), 0.001);
}

TEST_F(ChannelQuery, VoltsSetsTheJunctionWithoutReadingIt) {
    ScriptCommon("VOLT");
    channel->RJCType(0);
    channel->RJCTemperature(5.0);
    ASSERT_TRUE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Common());
    EXPECT_EQ(channel->Probe()->ConversionType(), 11);
    EXPECT_EQ(channel->ProbeType(), 2);
    EXPECT_EQ(channel->RJCType(), 1);
    EXPECT_EQ(channel->RJCTemperature(), 0.0);
}

TEST_F(ChannelQuery, UnknownCodeReadsNoCoefficients) {
    ScriptCommon("KX");
    ASSERT_TRUE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Common());
    EXPECT_EQ(channel->Probe()->ConversionType(), -1);
    EXPECT_EQ(channel->ProbeType(), -1);
}

TEST_F(ChannelQuery, SingleRepliesAreParsedByTheirRules) {
    comm().Reply(66, "AUTO");
    comm().Reply(66, "auto");
    comm().Reply(66, "7");
    ASSERT_TRUE(channel->QueryResolution());
    EXPECT_EQ(channel->Resolution(), -1);
    ASSERT_TRUE(channel->QueryResolution());
    EXPECT_EQ(channel->Resolution(), 0);  // the test for automatic is case-sensitive
    ASSERT_TRUE(channel->QueryResolution());
    EXPECT_EQ(channel->Resolution(), 3);

    for (const auto& [reply, type] : std::vector<std::pair<std::string, int32_t>>{
             {"1.0", 1}, {"2", 0}, {"0", 0}, {"1", 1}, {"junk", 0}}) {
        paramReplies["RJTYPE"] = reply;
        ASSERT_TRUE(channel->QueryRJCType());
        EXPECT_EQ(channel->RJCType(), type) << reply;
    }
    paramReplies["RJTEMP"] = "-3.5e0C";
    ASSERT_TRUE(channel->QueryExternalRJCTemperature());
    EXPECT_DOUBLE_EQ(channel->RJCTemperature(), -3.5);

    comm().Reply(144, "0");
    ASSERT_TRUE(channel->QueryProbeLock());
    EXPECT_FALSE(channel->ProbeLock());

    double value = -1.0;
    paramReplies["X9"] = "no number";
    ASSERT_TRUE(channel->QueryCoefficient("X9", value));
    EXPECT_EQ(value, 0.0);
    paramReplies["X9"] = "1.5e2";
    ASSERT_TRUE(channel->QueryCoefficient("X9", value));
    EXPECT_EQ(value, 150.0);
    EXPECT_TRUE(host->ui.boxes.empty());

    // A garbled lock reply is a reported type mismatch; the flag keeps its value.
    channel->ProbeLock(true);
    comm().Reply(144, "maybe");
    EXPECT_FALSE(channel->QueryProbeLock());
    EXPECT_TRUE(channel->ProbeLock());
    ASSERT_EQ(host->ui.boxes.size(), 1u);
    EXPECT_NE(host->ui.boxes[0].prompt.find("Error: 13 - "), std::string::npos);
    EXPECT_NE(host->ui.boxes[0].prompt.find("(CVesk4710Channel - QueryProbeLock)"),
              std::string::npos);
}

TEST_F(ChannelQuery, MinopAndMaxopAreLenient) {
    channel->MINOP(4);
    failParams["MINOP"] = true;
    EXPECT_TRUE(channel->QueryMINOP());
    EXPECT_EQ(channel->MINOP(), 4);
    paramReplies["MAXOP"] = "13.5";
    EXPECT_TRUE(channel->QueryMAXOP());
    EXPECT_EQ(channel->MAXOP(), 14);
    EXPECT_TRUE(host->ui.boxes.empty());
}

TEST_F(ChannelQuery, FailingCoefficientStopsWithMessageAndKeepsEarlierValues) {
    ScriptCommon("CVD");
    paramReplies.insert({{"R0", "100.25"}, {"A", "0.004"}, {"C", "0.5"}});
    failParams["B"] = true;
    EXPECT_FALSE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Common(), ReadParam("R0"), ReadParam("A"), ReadParam("B")}));
    EXPECT_DOUBLE_EQ(conv().Coefficients(0), 100.25);
    EXPECT_DOUBLE_EQ(conv().Coefficients(1), 0.004);
    EXPECT_DOUBLE_EQ(conv().Coefficients(2), 1.507);  // still the starting value
    EXPECT_DOUBLE_EQ(conv().Coefficients(3), 0.111);
    ExpectCommonValues();
    EXPECT_EQ(Prompts(),
              (std::vector<std::string>{"Failed to successfully query 'CVD B'.",
                                        "Failed to successfully query 'Conversion type'."}));
    EXPECT_EQ(host->ui.boxes.back().caption, "Vesk Scientific");
    EXPECT_EQ(host->ui.boxes.back().style, kMbInformation);
    // Every display opened was closed.
    const auto& log = host->ui.progressLog;
    EXPECT_EQ(std::count(log.begin(), log.end(), "Close"), host->ui.progressCreated);
}

TEST_F(ChannelQuery, FailingSettingReportsTheErrorAndNamesTheStep) {
    ScriptCommon("CVD");
    instrument->DVCICommError(4711);
    comm().Fail(126, AutomationError(-2147220990, "Time-out waiting for the instrument"));
    EXPECT_FALSE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Read(122), Read(130), Read(126)}));
    ASSERT_EQ(host->ui.boxes.size(), 2u);
    const auto& report = host->ui.boxes[0];
    EXPECT_EQ(report.style & kMbCritical, kMbCritical);
    // The instrument's communications error is the help context of the report.
    if (!report.helpFile.empty()) {
        EXPECT_EQ(report.helpContext, 4711);
    }
    EXPECT_NE(report.prompt.find("attempting to query 'Calibration date'"), std::string::npos);
    EXPECT_NE(report.prompt.find("Time-out waiting for the instrument"), std::string::npos);
    EXPECT_NE(report.prompt.find("(CVesk4710Channel - QueryCalDate)"), std::string::npos);
    EXPECT_EQ(host->ui.boxes[1].prompt, "Failed to successfully query 'Calibration date'.");
    // Earlier steps keep what they read.
    EXPECT_EQ(channel->Probe()->Serial(), "PR1234");
    EXPECT_EQ(channel->Probe()->ConversionType(), 2);
}

TEST_F(ChannelQuery, GarbledDateIsAClearFailureNotACrash) {
    ScriptCommon("PT");
    comm().ReplyAlways(126, "garbage");
    channel->CalDate(Date::FromYMD(2020, 1, 2));
    EXPECT_FALSE(channel->QueryInfo());
    EXPECT_EQ(channel->CalDate(), Date::FromYMD(2020, 1, 2));
    ASSERT_EQ(host->ui.boxes.size(), 2u);
    EXPECT_NE(host->ui.boxes[0].prompt.find("(CVesk4710Channel - QueryCalDate)"),
              std::string::npos);
    // The channel stays usable.
    comm().ReplyAlways(126, "2024,3,5");
    EXPECT_TRUE(channel->QueryInfo());
    EXPECT_EQ(channel->CalDate(), Date::FromYMD(2024, 3, 5));
}

TEST_F(ChannelQuery, CancelInTheProgressDisplayAborts) {
    ScriptCommon("CVD");
    host->ui.cancelAtStep = 1;
    EXPECT_FALSE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Read(122), Read(130)}));
    EXPECT_EQ(Prompts(), std::vector<std::string>{"Aborted querying information."});
}

TEST_F(ChannelQuery, CancelInsideACoefficientFamilyAborts) {
    ScriptCommon("CVD");
    host->ui.cancelAtStep = 7;  // seven steps done, then the first coefficient
    EXPECT_FALSE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Common(), ReadParam("R0")}));
    EXPECT_EQ(Prompts(), std::vector<std::string>{"Aborted querying information."});
}

TEST_F(ChannelQuery, InstrumentGoneFailsCleanly) {
    ScriptCommon("CVD");
    instrument.reset();
    EXPECT_FALSE(channel->QueryInfo());
    EXPECT_TRUE(comm().log.empty());
    ASSERT_EQ(host->ui.boxes.size(), 2u);
    EXPECT_NE(host->ui.boxes[0].prompt.find("not connected to an instrument"), std::string::npos);
    EXPECT_EQ(host->ui.boxes[1].prompt, "Failed to successfully query 'Probe serial number'.");
    EXPECT_FALSE(channel->QuerySerialNumber());
}

TEST_F(ChannelQuery, ChannelReachesTheInstrumentThroughItsModule) {
    auto modular = CVesk4710Channel::Create(host);
    modular->SetActualChannel(kChannel);
    EXPECT_FALSE(modular->QuerySerialNumber());  // neither instrument nor module yet
    comm().log.clear();
    auto module = CVesk4710Card::Create(host);
    module->SetBaseUnit(instrument);
    modular->SetModule(module);
    comm().Reply(122, "x1");
    EXPECT_TRUE(modular->QuerySerialNumber());
    EXPECT_EQ(comm().log, Read(122));
}

}  // namespace
}  // namespace vesk::test
