// Demand-log status, log clearing and the logging label.
#include <functional>

#include "tests/logging/LoggingFixture.h"
#include "vesk4710/support/Help.h"

namespace vesk::test {
namespace {

using LogStatus = LoggingTest;

TEST_F(LogStatus, StatusReplyGivesPointsAndCount) {
    struct Case {
        const char* reply;
        int16_t points;
        int16_t count;
    };
    const Case cases[] = {
        {"120,30", 150, 30}, {"0,0", 0, 0},         {"500", 0, 0},         {"", 0, 0},
        {"abc,def", 0, 0},   {" 12 , 7 ", 19, 7},   {"100,20,5", 120, 20}, {"2.6,1.5", 5, 2},
        {"-5,10", 5, 10},    {"32767,0", 32767, 0}, {",9", 9, 9},          {"9,", 9, 0},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.reply);
        instrument->DemandLogCount(int16_t{77});
        comm().Reply(SET_DEMAND_LOG_STATUS, c.reply);
        comm().log.clear();
        ASSERT_TRUE(instrument->QueryDemandLogStatus());
        EXPECT_EQ(instrument->DemandLogPoints(), c.points);
        EXPECT_EQ(instrument->DemandLogCount(), c.count);
        EXPECT_EQ(comm().log,
                  (std::vector<std::string>{"ClearAll", Req("Read", SET_DEMAND_LOG_STATUS)}));
    }
}

TEST_F(LogStatus, OverflowingStatusIsAnErrorAndKeepsTheOldValues) {
    comm().Reply(SET_DEMAND_LOG_STATUS, "400,100");
    ASSERT_TRUE(instrument->QueryDemandLogStatus());
    instrument->DVCICommError(4711);
    for (const char* reply : {"32000,1000", "40000,1", "1,40000", "-32768,-1"}) {
        SCOPED_TRACE(reply);
        comm().Reply(SET_DEMAND_LOG_STATUS, reply);
        const auto e = Raised([&] { instrument->QueryDemandLogStatus(); });
        EXPECT_EQ(e.Number(), kErrOverflow);
        EXPECT_EQ(e.Source(), "CVesk4710 - QueryDemandLogStatus");
        EXPECT_EQ(e.HelpContext(), 4711);
        EXPECT_EQ(instrument->DemandLogPoints(), 500);
        EXPECT_EQ(instrument->DemandLogCount(), 100);
    }
}

TEST_F(LogStatus, LabelAndClearRequestsCarryTheirValues) {
    for (const char* reply : {"RUN A", "  spaced  ", "MiXeD cAsE", "", "a,b\tc"}) {
        comm().Reply(SET_LOGGING_LABEL_READ, reply);
        std::string label = "old";
        ASSERT_TRUE(instrument->QueryLoggingLabel(label));
        EXPECT_EQ(label, reply) << "the label comes back unchanged";
    }
    EXPECT_EQ(comm().Requests(), std::vector<std::string>(5, Req("Read", SET_LOGGING_LABEL_READ)));

    comm().log.clear();
    ASSERT_TRUE(instrument->ClearDemandLog());
    EXPECT_EQ(comm().log,
              (std::vector<std::string>{"ClearAll", Req("Write", SET_CLEAR_DEMAND_LOG)}));
    EXPECT_TRUE(comm().requestParams.back().empty());
}

TEST_F(LogStatus, FailuresRaiseWithTheMemberAsSource) {
    HelpFile("/opt/vesk/help.chm");
    instrument->DVCICommError(321);
    const int32_t commError = kObjectErrorBase + 3;
    struct Case {
        int32_t id;
        const char* source;
        std::function<void()> call;
    };
    std::string label = "kept";
    const Case cases[] = {
        {SET_DEMAND_LOG_STATUS, "CVesk4710 - QueryDemandLogStatus",
         [&] { instrument->QueryDemandLogStatus(); }},
        {SET_LOGGING_LABEL_READ, "CVesk4710 - QueryLoggingLabel()",
         [&] { instrument->QueryLoggingLabel(label); }},
        {SET_LOGGING_LABEL_WRITE, "CVesk4710 - UpdateLoggingLabel",
         [&] { instrument->UpdateLoggingLabel("x"); }},
        {SET_CLEAR_AUTO_LOG, "CVesk4710 - ClearAutoLog", [&] { instrument->ClearAutoLog(); }},
        {SET_CLEAR_DEMAND_LOG, "CVesk4710 - ClearDemandLog", [&] { instrument->ClearDemandLog(); }},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.source);
        comm().Fail(c.id, AutomationError(commError, "Time-out waiting for the reply", "comm"));
        const auto e = Raised(c.call);
        EXPECT_EQ(e.Number(), commError);
        EXPECT_EQ(e.Description(), "Time-out waiting for the reply");
        EXPECT_EQ(e.Source(), c.source);
        EXPECT_EQ(e.HelpFile(), "/opt/vesk/help.chm");
        EXPECT_EQ(e.HelpContext(), 321);
    }
    // The object stays usable.
    EXPECT_EQ(label, "kept");
    comm().Reply(SET_LOGGING_LABEL_READ, "again");
    EXPECT_TRUE(instrument->QueryLoggingLabel(label));
    EXPECT_EQ(label, "again");
    HelpFile("");
}

}  // namespace
}  // namespace vesk::test
