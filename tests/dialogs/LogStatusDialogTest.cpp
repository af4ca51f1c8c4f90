#include <gtest/gtest.h>

#include "tests/dialogs/DialogTestSupport.h"
#include "vesk4710/dialogs/LogStatusDialog.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringIds.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::test {
namespace {

class LogStatusDialogTest : public DialogTest<LogStatusDialog> {
  protected:
    void SetUp() override {
        DialogTest::SetUp();
        Create(instrument, &form, &lblDemandLog, &pbarDemandLog, &cmdDemandLogClear, &cmdRefresh,
               &cmdClose, &cmdUnused, &cmdHelp);
    }

    static std::string Fill(const std::string& percent) {
        return LoadResString(kResDemandLog) + ": " + percent + LoadResString(kResPercentFull);
    }

    FakeForm form;
    FakeLabel lblDemandLog;
    FakeProgressBar pbarDemandLog;
    FakeButton cmdDemandLogClear, cmdRefresh, cmdClose, cmdUnused, cmdHelp;
};

TEST_F(LogStatusDialogTest, ActivationReadsOnceAndRefreshAndClearShowTheFill) {
    EXPECT_EQ(form.caption, "4710 Log Status");
    EXPECT_TRUE(comm().Requests().empty()) << "loading alone reads nothing";

    comm().Reply(SET_DEMAND_LOG_STATUS, "750,250");
    dialog->Activate();
    EXPECT_FLOAT_EQ(pbarDemandLog.value, 250.0F);
    EXPECT_EQ(lblDemandLog.caption, Fill(L("25.00")));
    dialog->Activate();
    dialog->Activate();
    EXPECT_EQ(comm().Requests(), (std::vector<std::string>{Read(SET_DEMAND_LOG_STATUS)}));

    comm().Reply(SET_DEMAND_LOG_STATUS, "0,1000");
    dialog->cmdRefresh_Click();
    EXPECT_EQ(lblDemandLog.caption, Fill(L("100.00")));
    comm().Reply(SET_DEMAND_LOG_STATUS, "2,1");
    dialog->cmdRefresh_Click();
    EXPECT_EQ(lblDemandLog.caption, Fill(L("33.33")));

    comm().log.clear();
    comm().Reply(SET_DEMAND_LOG_STATUS, "1000,0");
    dialog->cmdDemandLogClear_Click();
    EXPECT_EQ(comm().Requests(),
              (std::vector<std::string>{Write(SET_CLEAR_DEMAND_LOG), Read(SET_DEMAND_LOG_STATUS)}));
    EXPECT_EQ(lblDemandLog.caption, Fill(L("0.00")));
    EXPECT_TRUE(ui().boxes.empty()) << "no confirmation before clearing";
}

TEST_F(LogStatusDialogTest, FailedReadsAreReportedAndTheDialogStaysUsable) {
    comm().Fail(SET_DEMAND_LOG_STATUS,
                AutomationError(-2147220991, "Time-out waiting for the instrument"));
    dialog->Activate();
    ASSERT_EQ(ui().boxes.size(), 1U);
    EXPECT_NE(ui().boxes[0].prompt.find("Time-out waiting for the instrument"), std::string::npos);
    EXPECT_EQ(lblDemandLog.caption, "");

    comm().Reply(SET_DEMAND_LOG_STATUS, "500,500");
    dialog->cmdRefresh_Click();
    EXPECT_EQ(lblDemandLog.caption, Fill(L("50.00")));

    // A log of no capacity cannot give a percentage: reported, the label is left alone.
    ui().boxes.clear();
    comm().Reply(SET_DEMAND_LOG_STATUS, "0,0");
    dialog->cmdRefresh_Click();
    ASSERT_EQ(ui().boxes.size(), 1U);
    const auto& box = ui().boxes[0];
    EXPECT_NE(box.prompt.find("attempting to read log settings"), std::string::npos);
    EXPECT_NE(box.prompt.find("Error: 6 - Overflow"), std::string::npos) << box.prompt;
    EXPECT_EQ(box.style, kMbCritical);
    EXPECT_EQ(box.caption, "Vesk Scientific");
    EXPECT_EQ(lblDemandLog.caption, Fill(L("50.00")));
}

}  // namespace
}  // namespace vesk::test
