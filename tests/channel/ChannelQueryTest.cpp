// Reading a channel from the instrument: request order per conversion family, reply
// parsing, failures and aborts.
#include <gtest/gtest.h>

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
    EXPECT_TRUE(Shown("StartPhase Reading ITS-90 range 4 coefficients... 50"));
    EXPECT_TRUE(Shown("StartPhase Reading ITS-90 range 6 coefficients... 25"));
    EXPECT_EQ(std::count(log.begin(), log.end(), "StartPhase Reading channel 3 settings... 12.5"),
              1);
    EXPECT_EQ(host->ui.progressCreated, 4);
    ExpectDisplaysClosed();
}

TEST_F(ChannelQuery, EachFamilyReadsItsOwnParameters) {
    struct Outcome {
        const char* code;
        int32_t type, probeType;
        int32_t rjcType;  // the junction starts as external at 5 degrees
        double rjcTemperature;
    };
    struct Case {
        Outcome o;
        std::vector<double> coefficients;
        // The parameters read after the common settings, in order, with their replies.
        std::vector<std::pair<std::string, std::string>> reads;
    };
    const std::vector<Case> cases = {
        // Subrange 5 has no high range.
        {{"ITS5", 17, 0, 0, 5.0}, {}, {{"RTPW", "1"}, {"A4", "0"}, {"B4", "0"}}},
        {{"CVD", 2, 0, 0, 5.0},
         {100.0123, 0.0039083, -5.775e-7, 0.0},
         {{"R0", "100.0123"}, {"A", "0.0039083"}, {"B", "-5.775E-07"}, {"C", "0"}}},
        {{"PT100", 19, 0, 0, 5.0}, {99.98}, {{"R0", "99.98"}}},
        {{"TRES", 6, 1, 0, 5.0},
         {-3.9, 4012.5, -15000.0, 200000.0},
         {{"B0", "-3.9"}, {"B1", "4012.5"}, {"B2", "-1.5E+04"}, {"B3", "2e5"}}},
        // A thermocouple reads its junction before its coefficients.
        {{"J", 20, 2, 0, 23.25},
         {0.5, -0.25, 0.0, 0.001},
         {{"RJTYPE", "0"},
          {"RJTEMP", "23.25"},
          {"C0", "0.5"},
          {"C1", "-0.25"},
          {"C2", "0"},
          {"C3", "1E-3"}}},
        // Volts sets the internal junction without reading it.
        {{"VOLT", 11, 2, 1, 0.0}, {}, {}},
        {{"KX", -1, -1, 0, 5.0}, {}, {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.o.code);
        channel = MakeChannel();
        channel->RJCType(0);
        channel->RJCTemperature(5.0);
        comm().log.clear();
        ScriptCommon(c.o.code);
        std::vector<std::string> expected = Common();
        for (const auto& [name, reply] : c.reads) {
            paramReplies[name] = reply;
            expected = Seq({expected, ReadParam(name)});
        }
        ASSERT_TRUE(channel->QueryInfo());
        EXPECT_EQ(comm().log, expected);
        ExpectCommonValues();
        EXPECT_EQ(channel->Probe()->ConversionType(), c.o.type);
        EXPECT_EQ(channel->ProbeType(), c.o.probeType);
        for (size_t i = 0; i < c.coefficients.size(); ++i) {
            EXPECT_DOUBLE_EQ(conv().Coefficients(static_cast<int32_t>(i)), c.coefficients[i]);
        }
        EXPECT_EQ(channel->RJCType(), c.o.rjcType);
        EXPECT_DOUBLE_EQ(channel->RJCTemperature(), c.o.rjcTemperature);
        if (c.o.type == 20) {
            EXPECT_EQ(conv().TCType(), 3);
        }
        paramReplies.clear();
    }
    EXPECT_TRUE(host->ui.boxes.empty());
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

    // MINOP and MAXOP are lenient: a failure keeps the value, a fraction rounds.
    channel->MINOP(4);
    failParams["MINOP"] = true;
    EXPECT_TRUE(channel->QueryMINOP());
    EXPECT_EQ(channel->MINOP(), 4);
    paramReplies["MAXOP"] = "13.5";
    EXPECT_TRUE(channel->QueryMAXOP());
    EXPECT_EQ(channel->MAXOP(), 14);
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
    ExpectDisplaysClosed();
}

TEST_F(ChannelQuery, FailingSettingReportsTheErrorAndNamesTheStep) {
    ScriptCommon("CVD");
    instrument->DVCICommError(4711);
    comm().Fail(126, AutomationError(-2147220990, "Time-out waiting for the instrument"));
    EXPECT_FALSE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Read(122), Read(130), Read(126)}));
    ExpectReported("QueryCalDate", "Failed to successfully query 'Calibration date'.");
    const auto& report = host->ui.boxes[0];
    EXPECT_EQ(report.style & kMbCritical, kMbCritical);
    // The instrument's communications error is the help context of the report.
    if (!report.helpFile.empty()) {
        EXPECT_EQ(report.helpContext, 4711);
    }
    EXPECT_NE(report.prompt.find("attempting to query 'Calibration date'"), std::string::npos);
    EXPECT_NE(report.prompt.find("Time-out waiting for the instrument"), std::string::npos);
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
    ExpectReported("QueryCalDate", "Failed to successfully query 'Calibration date'.");
    // The channel stays usable.
    comm().ReplyAlways(126, "2024,3,5");
    EXPECT_TRUE(channel->QueryInfo());
    EXPECT_EQ(channel->CalDate(), Date::FromYMD(2024, 3, 5));
}

TEST_F(ChannelQuery, CancelAbortsInTheSettingsAndInsideACoefficientFamily) {
    ScriptCommon("CVD");
    host->ui.cancelAtStep = 1;
    EXPECT_FALSE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Read(122), Read(130)}));
    EXPECT_EQ(Prompts(), std::vector<std::string>{"Aborted querying information."});

    comm().log.clear();
    host->ui.boxes.clear();
    host->ui.progressChecks = 0;
    host->ui.cancelAtStep = 7;  // seven steps done, then the first coefficient
    EXPECT_FALSE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Common(), ReadParam("R0")}));
    EXPECT_EQ(Prompts(), std::vector<std::string>{"Aborted querying information."});
}

TEST_F(ChannelQuery, ChannelReachesTheInstrumentDirectlyOrThroughItsModule) {
    ScriptCommon("CVD");
    auto modular = CVesk4710Channel::Create(host);
    modular->SetActualChannel(kChannel);
    EXPECT_FALSE(modular->QuerySerialNumber());  // neither instrument nor module yet
    auto module = CVesk4710Card::Create(host);
    module->SetBaseUnit(instrument);
    modular->SetModule(module);
    EXPECT_TRUE(modular->QuerySerialNumber());
    EXPECT_EQ(comm().log, Read(122));

    comm().log.clear();
    host->ui.boxes.clear();
    instrument.reset();
    EXPECT_FALSE(channel->QueryInfo());
    EXPECT_TRUE(comm().log.empty());
    ASSERT_EQ(host->ui.boxes.size(), 2u);
    EXPECT_NE(host->ui.boxes[0].prompt.find("not connected to an instrument"), std::string::npos);
    EXPECT_EQ(host->ui.boxes[1].prompt, "Failed to successfully query 'Probe serial number'.");
    EXPECT_FALSE(channel->QuerySerialNumber());
}

}  // namespace
}  // namespace vesk::test
