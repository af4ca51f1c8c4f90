#include <gtest/gtest.h>

#include "tests/dialogs/DialogTestSupport.h"
#include "vesk4710/calibration/CalibrationGrid.h"
#include "vesk4710/dialogs/SettingsDialog.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringIds.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::test {
namespace {

class SettingsDialogTest : public DialogTest<SettingsDialog> {
  protected:
    void SetUp() override {
        DialogTest::SetUp();
        ScriptInstrument();
        Create(instrument, &form, &lblModel, &lblSerial, &txtSerial, &lblUnits, &cboUnits,
               &lblInterval, &txtInterval, &chkAutoInterval, &lblScanMode, &cboScanMode,
               &lblScanChannels, &txtScanChannels, &lblScanSeqDelay, &txtScanSeqDelay,
               &lblResolution, &cboResolution, &chkAutoPower, &chkDisableSerial, &lblCalDate,
               &dtpCalDate, &lblCalParams, &form.grid, &lblChannels, &lstChannels, &cmdEditChannel,
               &cmdUnlock, &cmdOK, &cmdCancel, &cmdHelp);
    }

    FakeForm form{true};
    FakeLabel lblModel, lblSerial, lblUnits, lblInterval, lblScanMode, lblScanChannels,
        lblScanSeqDelay, lblResolution, lblCalDate, lblCalParams, lblChannels;
    FakeTextBox txtSerial, txtInterval, txtScanChannels, txtScanSeqDelay, dtpCalDate;
    FakeCheckBox chkAutoInterval, chkAutoPower, chkDisableSerial;
    FakeList cboUnits, cboScanMode, cboResolution, lstChannels;
    FakeButton cmdEditChannel, cmdUnlock, cmdOK, cmdCancel, cmdHelp;
};

TEST_F(SettingsDialogTest, ActivationShowsWhatTheInstrumentHolds) {
    Open();
    EXPECT_EQ(form.caption, "4710 Settings");
    EXPECT_EQ(txtSerial.text, "A12345");
    EXPECT_EQ(cboUnits.ItemData(cboUnits.ListIndex()), UNITS_DEGREESC);
    EXPECT_EQ(txtInterval.text, "5");
    EXPECT_EQ(cboScanMode.ItemData(cboScanMode.ListIndex()), SM_SIMULTANEOUS);
    EXPECT_EQ(txtScanChannels.text, "1,2");
    EXPECT_EQ(dtpCalDate.text, "2024-01-15");
    EXPECT_EQ(form.grid.TextMatrix(2, 1), "100");
    EXPECT_EQ(form.grid.TextMatrix(3, 2), "100.02");
    EXPECT_EQ(form.grid.TextMatrix(4, 1), "-");
    EXPECT_EQ(lstChannels.ListCount(), 2);
    // Calibration and the serial number stay shut until the passcode is given.
    EXPECT_FALSE(form.grid.Enabled());
    EXPECT_FALSE(dtpCalDate.enabled);
    EXPECT_FALSE(txtSerial.enabled);

    dialog->Activate();
    EXPECT_TRUE(comm().Requests().empty()) << "read once";
}

TEST_F(SettingsDialogTest, ResolutionIsWhatTheChannelsReportAndOnlyAYesWritesTheChanges) {
    comm().responder =
        [](int32_t id, const std::map<std::string, std::string>& p) -> std::optional<std::string> {
        if (id != SET_RESOLUTION_READ) {
            return std::nullopt;
        }
        return p.at("Channel") == "1" ? "3" : "AUTO";
    };
    Open();
    EXPECT_EQ(cboResolution.List(cboResolution.ListIndex()),
              "as the channels are (1: 3, 2: automatic)");
    chkAutoPower.Value(1);
    ui().answers.push_back(kAnsNo);
    OK();
    EXPECT_TRUE(Writes().empty());
    EXPECT_EQ(hides, 0);
    EXPECT_EQ(chkAutoPower.value, 1) << "answering no keeps the edits";
    EXPECT_FALSE(instrument->AutoPower());
    chkAutoPower.Value(0);
    ui().boxes.clear();
    OK();
    EXPECT_EQ(ui().Prompts(), (std::vector<std::string>{"There are no changes to apply."}));
    EXPECT_TRUE(Writes().empty());
    EXPECT_EQ(hides, 1);
    EXPECT_FALSE(dialog->Cancelled());

    Open();
    chkAutoPower.Value(1);
    ui().answers.push_back(kAnsYes);
    OK();
    EXPECT_EQ(Writes(), (std::vector<int32_t>{SET_AUTO_POWER_WRITE}))
        << "channels left as they are";
    EXPECT_EQ(hides, 2);

    for (const int32_t answer : {kAnsNo, kAnsYes}) {
        ui().boxes.clear();
        chkDisableSerial.Value(1);
        ui().answers.push_back(answer);
        dialog->chkDisableSerial_Click();
        ASSERT_EQ(ui().boxes.size(), 1U);
        EXPECT_NE(ui().boxes[0].prompt.find("Disable the serial port"), std::string::npos);
        EXPECT_EQ(chkDisableSerial.value, answer == kAnsYes ? 1 : 0);
    }
}

TEST_F(SettingsDialogTest, AFailedReadLeavesNothingToWrite) {
    comm().Fail(SET_INTERVAL_READ, AutomationError(-2147220991, "Time-out"));
    dialog->Activate();
    ASSERT_FALSE(ui().boxes.empty());
    EXPECT_NE(ui().boxes.back().prompt.find("attempting to read settings"), std::string::npos);
    EXPECT_FALSE(cmdOK.enabled);
    EXPECT_TRUE(cmdCancel.enabled);
}

TEST_F(SettingsDialogTest, UnitsScanSettingsAndIntervalAreWrittenEachAloneAfterTheQuestion) {
    Open();
    SelectListItemByData(cboUnits, UNITS_DEGREESF);
    txtInterval.Text("10");
    txtScanChannels.Text(" 2 , 1");
    SelectListItemByData(cboScanMode, SM_SCAN);
    SelectListItemByData(cboResolution, 2);
    OK();
    ASSERT_EQ(ui().boxes.size(), 1U);
    EXPECT_EQ(ui().boxes[0].prompt, LoadResString(kResWriteInstrumentChanges));
    EXPECT_EQ(ui().boxes[0].style, kMbYesNo | kMbQuestion);
    EXPECT_EQ(Writes(),
              (std::vector<int32_t>{SET_UNITS_WRITE, SET_INTERVAL_WRITE, SET_SCAN_LIST_WRITE,
                                    SET_SCAN_MODE_WRITE, SET_RESOLUTION, SET_RESOLUTION}))
        << "no passcode, no calibration";
    EXPECT_TRUE(Logged("Value=F"));
    EXPECT_TRUE(Logged(Read(SET_UNITS_READ))) << "read back";
    EXPECT_TRUE(Logged("ChannelList=2,1"));
    EXPECT_EQ(instrument->Interval(), INT_10_SEC);
    EXPECT_EQ(hides, 1);
}

class UnlockedSettingsDialog : public SettingsDialogTest {
  protected:
    void SetUp() override {
        SettingsDialogTest::SetUp();
        instrument->AllowSetSerial(true);
        Open();
        ui().passcodes.push_back({"0000", true});
        ui().passcodes.push_back({"1234", true});
        comm().Reply(SET_PASSCODE_STATE, "0");
        comm().Reply(SET_PASSCODE_STATE, "1");
        dialog->cmdUnlock_Click();
        comm().log.clear();
    }
};

TEST_F(UnlockedSettingsDialog, TheRightPasscodeOpensCellsThatTakeNumbersInEitherDecimal) {
    EXPECT_EQ(ui().passcodePrompts, 2);
    EXPECT_EQ(ui().Prompts(), (std::vector<std::string>{"The passcode entered is incorrect."}));
    EXPECT_EQ(ui().passcodeOwners.back(), &form);
    EXPECT_TRUE(form.grid.Enabled());
    EXPECT_TRUE(txtSerial.enabled);
    EXPECT_FALSE(cmdUnlock.enabled);

    int16_t key = 'X';
    dialog->vsfgCalParams_KeyDown(key, 2, 1);
    EXPECT_EQ(key, 0) << "letters do not reach a cell";
    key = 48 + 5;
    dialog->vsfgCalParams_KeyDown(key, 0, 1);
    EXPECT_EQ(key, 0) << "range names are fixed";

    std::string text = " 0" + LocaleDecimalSeparator() + "5 ";
    EXPECT_TRUE(dialog->vsfgCalParams_ValidateEdit(4, 1, text));
    EXPECT_EQ(text, "0.5") << "the instrument reads a period decimal";
    text = "";
    EXPECT_TRUE(dialog->vsfgCalParams_ValidateEdit(4, 1, text));
    EXPECT_EQ(text, "-");
    text = "12a";
    EXPECT_FALSE(dialog->vsfgCalParams_ValidateEdit(4, 1, text));
    EXPECT_EQ(ui().Prompts().back(), "'12a' is not a number.");
    text = "1";
    EXPECT_FALSE(dialog->vsfgCalParams_ValidateEdit(2, 0, text)) << "point names are fixed";

    key = 46;
    dialog->vsfgCalParams_KeyDown(key, 3, 4);
    EXPECT_EQ(key, 0);
    EXPECT_EQ(form.grid.TextMatrix(3, 3), "-");
    EXPECT_EQ(form.grid.TextMatrix(3, 4), "-");
}

TEST_F(UnlockedSettingsDialog, EntriesOutsideTheirLimitsAreRefusedAndCancelWritesNothing) {
    const auto refused = [&](const std::function<void()>& edit, const std::string& message) {
        ui().boxes.clear();
        edit();
        OK();
        ASSERT_EQ(ui().boxes.size(), 1U) << message;
        EXPECT_EQ(ui().boxes[0].prompt, message);
        EXPECT_EQ(ui().boxes[0].style, kMbInformation);
        EXPECT_TRUE(Writes().empty());
        EXPECT_EQ(hides, 0);
        dialog->Activate();
    };
    refused([&] { txtInterval.Text("61"); }, "The maximum setting for the sample interval is 60.");
    EXPECT_EQ(txtInterval.focusCount, 1) << "the offending entry gets the focus";
    refused([&] { txtInterval.Text("1.5"); },
            "The sample interval must be a whole number of seconds.");
    txtInterval.Text("5");
    refused([&] { txtScanChannels.Text("1,3"); },
            "The scan channel list must name channels 1 to 2; there is no channel 3.");
    refused([&] { txtScanChannels.Text("2,2"); },
            "Channel 2 appears twice in the scan channel list.");
    refused([&] { txtScanChannels.Text("1;2"); },
            "The scan channel list must name channels 1 to 2, separated by commas.");
    refused(
        [&] {
            txtScanChannels.Text("");
            SelectListItemByData(cboScanMode, SM_SCAN);
        },
        "Scanning needs at least one channel in the scan channel list.");
    txtScanChannels.Text("1,2");
    refused([&] { dtpCalDate.Text(Date::Today().AddDays(2).IsoDate()); },
            "The calibration date can not be in the future.");
    refused([&] { dtpCalDate.Text("2024-02-30"); }, "The calibration date is not a valid date.");
    dtpCalDate.Text("2024-01-15");

    auto& grid = form.grid;
    refused([&] { grid.TextMatrix(4, 1, "200"); },
            "ADJ3 of L75_OHMS needs both a reference and a value.");
    refused(
        [&] {
            grid.TextMatrix(3, 1, "-");
            grid.TextMatrix(3, 2, "-");
            grid.TextMatrix(4, 1, "300");
            grid.TextMatrix(4, 2, "300.1");
        },
        "L75_OHMS has an unused point before ADJ3: adjustment points must follow one another.");
    refused(
        [&] {
            for (int row = 2; row < 6; ++row) {
                grid.TextMatrix(row, 1, "-");
                grid.TextMatrix(row, 2, "-");
            }
        },
        "L75_OHMS needs at least one complete adjustment point.");

    Click(kCmdCancel);
    EXPECT_TRUE(dialog->Cancelled());
    EXPECT_EQ(hides, 1);
    EXPECT_TRUE(Writes().empty());
}

TEST_F(UnlockedSettingsDialog, ProtectedChangesGoThroughTheWriteBackWithThePasscode) {
    form.grid.TextMatrix(3, 2, "100.5");
    dtpCalDate.Text("2024-03-07");
    OK();
    const auto writes = Writes();
    const auto at = [&](int32_t id) { return std::find(writes.begin(), writes.end(), id); };
    ASSERT_NE(at(SET_CAL_DATE_WRITE), writes.end());
    EXPECT_LT(at(SET_PASSCODE), at(SET_CAL_DATE_WRITE)) << "the passcode is presented first";
    EXPECT_TRUE(Logged("Value=1234"));
    EXPECT_TRUE(Logged("Value=2024,3,7"));
    EXPECT_TRUE(Logged("Value=100.5"));
    EXPECT_EQ(writes.back(), SET_PASSCODE_LOCK);
    for (const int32_t unchanged :
         {int32_t{SET_UNITS_WRITE}, int32_t{SET_AUTO_POWER_WRITE}, int32_t{SET_SERIAL}}) {
        EXPECT_EQ(at(unchanged), writes.end()) << unchanged << " is not written again";
    }
    EXPECT_EQ(hides, 1);
}

}  // namespace
}  // namespace vesk::test
