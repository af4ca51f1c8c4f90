// Reading a channel from the instrument: request order per conversion family, reply
// parsing, failures and aborts.
#include <gtest/gtest.h>

#include <sstream>

#include "tests/channel/ChannelFixture.h"

namespace vesk::test {
namespace {

class ChannelQuery : public ChannelTest {
  protected:
    // Replies shared by every family; the conversion code decides the rest.
    void ScriptCommon(const std::string& code) {
        ReplySettings("pr1234", code, "2", {{"MINOP", "12.5"}, {"MAXOP", "250"}});
    }
    static std::vector<std::string> Common() {
        return Seq({Read(SET_PROBE_SERIAL_READ), Read(SET_CONVERSION_READ),
                    Read(SET_PROBE_CAL_DATE_READ), Read(SET_RESOLUTION_READ), ReadParam("MINOP"),
                    ReadParam("MAXOP"), Read(SET_PROBE_LOCK_READ)});
    }
    void ExpectCommonValues() {
        EXPECT_EQ(channel->Probe()->Serial(), "PR1234");
        EXPECT_EQ(channel->CalDate(), Date::FromYMD(2023, 12, 31));
        EXPECT_EQ(channel->Resolution(), 2);
        EXPECT_EQ(channel->MINOP(), 12);  // rounded half to even
        EXPECT_EQ(channel->MAXOP(), 250);
        EXPECT_TRUE(channel->ProbeLock());
    }
    // Scripts "NAME=reply ..." and returns the reads of those parameters, in order.
    std::vector<std::string> ScriptParams(const std::string& replies) {
        std::vector<std::string> reads;
        std::istringstream in(replies);
        for (std::string pair; in >> pair;) {
            const auto eq = pair.find('=');
            paramReplies[pair.substr(0, eq)] = pair.substr(eq + 1);
            reads = Seq({reads, ReadParam(pair.substr(0, eq))});
        }
        return reads;
    }
};

TEST_F(ChannelQuery, ITS90ReadsRTPWAndBothRanges) {
    ScriptCommon("its");
    const auto reads =
        ScriptParams("RTPW=25.54321 A4=-1.2345E-04 B4=3.2e-06 A=1.5E-04 B=-2E-05 C=3 D=4.25");
    ASSERT_TRUE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Common(), reads}));
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
    EXPECT_EQ(host->ui.progressCreated, 4);
    ExpectDisplaysClosed();
}

TEST_F(ChannelQuery, EachFamilyReadsItsOwnParameters) {
    struct Case {
        const char* code;
        int32_t type, probeType;
        int32_t rjcType;  // the junction starts as external at 5 degrees
        double rjcTemperature;
        const char* replies;  // of the parameters read after the common settings, in order
        std::vector<double> coefficients;
    };
    const auto values = [](auto... v) { return std::vector<double>{v...}; };
    const std::vector<Case> cases = {
        // Subrange 5 has no high range.
        {"ITS5", 17, 0, 0, 5.0, "RTPW=1 A4=0 B4=0"},
        {"PT100", 19, 0, 0, 5.0, "R0=99.98", values(99.98)},
        {"TRES", 6, 1, 0, 5.0, "B0=-3.9 B1=4012.5 B2=-1.5E+04 B3=2e5",
         values(-3.9, 4012.5, -15000.0, 200000.0)},
        // A thermocouple reads its junction before its coefficients.
        {"J", 20, 2, 0, 23.25, "RJTYPE=0 RJTEMP=23.25 C0=0.5 C1=-0.25 C2=0 C3=1E-3",
         values(0.5, -0.25, 0.0, 0.001)},
        // Volts sets the internal junction without reading it.
        {"VOLT", 11, 2, 1, 0.0, ""},
        {"KX", -1, -1, 0, 5.0, ""},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.code);
        channel = MakeChannel();
        channel->RJCType(0);
        channel->RJCTemperature(5.0);
        comm().log.clear();
        ScriptCommon(c.code);
        const std::vector<std::string> expected = Seq({Common(), ScriptParams(c.replies)});
        ASSERT_TRUE(channel->QueryInfo());
        EXPECT_EQ(comm().log, expected);
        ExpectCommonValues();
        EXPECT_EQ(channel->Probe()->ConversionType(), c.type);
        EXPECT_EQ(channel->ProbeType(), c.probeType);
        for (size_t i = 0; i < c.coefficients.size(); ++i) {
            EXPECT_DOUBLE_EQ(conv().Coefficients(static_cast<int32_t>(i)), c.coefficients[i]);
        }
        EXPECT_EQ(channel->RJCType(), c.rjcType);
        EXPECT_DOUBLE_EQ(channel->RJCTemperature(), c.rjcTemperature);
        if (c.type == 20) {
            EXPECT_EQ(conv().TCType(), 3);
        }
    }
    EXPECT_TRUE(host->ui.boxes.empty());
}

TEST_F(ChannelQuery, SingleRepliesAreParsedByTheirRules) {
    comm().Reply(SET_RESOLUTION_READ, "AUTO");
    comm().Reply(SET_RESOLUTION_READ, "auto");
    comm().Reply(SET_RESOLUTION_READ, "7");
    // The test for automatic is case-sensitive; a number is capped.
    for (int16_t resolution : {-1, 0, 3}) {
        ASSERT_TRUE(channel->QueryResolution());
        EXPECT_EQ(channel->Resolution(), resolution);
    }
    for (const auto& [reply, type] : std::vector<std::pair<std::string, int32_t>>{
             {"1.0", 1}, {"2", 0}, {"0", 0}, {"1", 1}, {"junk", 0}}) {
        paramReplies["RJTYPE"] = reply;
        ASSERT_TRUE(channel->QueryRJCType());
        EXPECT_EQ(channel->RJCType(), type) << reply;
    }
    paramReplies["RJTEMP"] = "-3.5e0C";
    ASSERT_TRUE(channel->QueryExternalRJCTemperature());
    EXPECT_DOUBLE_EQ(channel->RJCTemperature(), -3.5);

    comm().Reply(SET_PROBE_LOCK_READ, "0");
    ASSERT_TRUE(channel->QueryProbeLock());
    EXPECT_FALSE(channel->ProbeLock());

    double value = -1.0;
    paramReplies["X9"] = "no number";
    ASSERT_TRUE(channel->QueryCoefficient("X9", value));
    EXPECT_EQ(value, 0.0);
    paramReplies["X9"] = "1.5e2";
    ASSERT_TRUE(channel->QueryCoefficient("X9", value));
    EXPECT_EQ(value, 150.0);

    // A garbled lock reply is a reported type mismatch; the flag keeps its value.
    channel->ProbeLock(true);
    comm().Reply(SET_PROBE_LOCK_READ, "maybe");
    EXPECT_FALSE(channel->QueryProbeLock());
    EXPECT_TRUE(channel->ProbeLock());
    ASSERT_EQ(host->ui.boxes.size(), 1u);
    EXPECT_NE(host->ui.boxes[0].prompt.find("Error: 13 - "), std::string::npos);
    EXPECT_NE(host->ui.boxes[0].prompt.find("(CVesk4710Channel - QueryProbeLock)"),
              std::string::npos);
}

TEST_F(ChannelQuery, FailingCoefficientStopsWithMessageAndKeepsEarlierValues) {
    ScriptCommon("CVD");
    ScriptParams("R0=100.25 A=0.004 C=0.5");
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

// A failing setting is reported and the step named; the channel stays usable.
TEST_F(ChannelQuery, FailingSettingReportsTheErrorAndNamesTheStep) {
    ScriptCommon("CVD");
    instrument->DVCICommError(4711);
    channel->CalDate(Date::FromYMD(2020, 1, 2));
    comm().Fail(SET_PROBE_CAL_DATE_READ,
                AutomationError(-2147220990, "Time-out waiting for the instrument"));
    EXPECT_FALSE(channel->QueryInfo());
    EXPECT_EQ(comm().log, Seq({Read(SET_PROBE_SERIAL_READ), Read(SET_CONVERSION_READ),
                               Read(SET_PROBE_CAL_DATE_READ)}));
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
    // Earlier steps keep what they read; the date keeps its value.
    EXPECT_EQ(channel->Probe()->Serial(), "PR1234");
    EXPECT_EQ(channel->Probe()->ConversionType(), 2);
    EXPECT_EQ(channel->CalDate(), Date::FromYMD(2020, 1, 2));
    EXPECT_TRUE(channel->QueryInfo());
    EXPECT_EQ(channel->CalDate(), Date::FromYMD(2023, 12, 31));
}

}  // namespace
}  // namespace vesk::test
