// The settings, channel and logging dialogs opened against the simulator and clicked through.
#include "tests/qt/QtTestSupport.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/support/NumberText.h"

namespace vesk::qttest {
namespace {

using QtDialogs = QtDialogTest;

bool SelectData(const char* combo, int data) {
    auto* box = Child<QComboBox>(combo);
    const int index = box != nullptr ? box->findData(data) : -1;
    if (index >= 0) {
        box->setCurrentIndex(index);
    }
    return index >= 0;
}

bool Ready(const char* dialog) {
    return Window(dialog) != nullptr && Idle() && VisibleBox() == nullptr;
}

TEST_F(QtDialogs, SettingsAreConfirmedAndWrittenAndTheCalibrationDateNeedsThePasscode) {
    std::string tooLong;
    std::string question;
    std::string wrongPasscode;
    QLineEdit* interval = nullptr;
    driver
        .Then("cancel",
              [&] {
                  return Ready("frm4710Settings") && SelectData("cboUnits", UNITS_DEGREESF) &&
                         ClickLater("cmdOKCancelHelp1");
              })
        .Then("read",
              [&] {
                  if (!Ready("frm4710Settings")) {
                      return false;
                  }
                  auto* grid = Child<QTableWidget>("vsfgCalParams");
                  EXPECT_EQ(grid->item(0, 1)->text(), "L75_OHMS");
                  EXPECT_FALSE(grid->isEnabled()) << "calibration is protected";
                  if (auto* automatic = Child<QCheckBox>("chkAutoInterval");
                      automatic->isChecked()) {
                      automatic->click();
                  }
                  interval = Child<QLineEdit>("txtInterval");
                  interval->clear();
                  QTest::keyClicks(interval, "9x0");
                  EXPECT_EQ(interval->text(), "90") << "letters are not typed";
                  return SelectData("cboUnits", UNITS_DEGREESF) && ClickLater("cmdOKCancelHelp0");
              })
        .Then("interval refused", [&] { return Answer(QMessageBox::Ok, &tooLong); })
        .Then("fixed",
              [&] {
                  if (!Ready("frm4710Settings")) {
                      return false;
                  }
                  interval->clear();
                  QTest::keyClicks(interval, "30");
                  return ClickLater("cmdUnlock");
              })
        .Then("prompt cancelled",
              [&] {
                  QWidget* prompt = Window("passcodePrompt");
                  return prompt != nullptr &&
                         QMetaObject::invokeMethod(prompt, "reject", Qt::QueuedConnection);
              })
        .Then("still locked",
              [&] {
                  if (!Ready("frm4710Settings")) {
                      return false;
                  }
                  EXPECT_FALSE(Child<QDateEdit>("dtpCalDate")->isEnabled());
                  return ClickLater("cmdUnlock");
              })
        .Then("wrong passcode", [&] { return EnterPasscode("9999"); })
        .Then("passcode refused", [&] { return Answer(QMessageBox::Ok, &wrongPasscode); })
        .Then("right passcode", [&] { return EnterPasscode("1234"); })
        .Then("unlocked",
              [&] {
                  auto* date = Child<QDateEdit>("dtpCalDate");
                  if (!Ready("frm4710Settings") || !date->isEnabled()) {
                      return false;
                  }
                  EXPECT_TRUE(Child<QTableWidget>("vsfgCalParams")->isEnabled());
                  date->setDate(QDate(2024, 3, 7));
                  return ClickLater("cmdOKCancelHelp0");
              })
        .Then("question", [&] { return Answer(QMessageBox::Yes, &question); })
        .Then("closed", [&] { return Window("frm4710Settings") == nullptr; });
    driver.Start();
    EXPECT_FALSE(instrument->Edit()) << "cancelled";
    ASSERT_TRUE(instrument->QueryUnits());
    EXPECT_NE(instrument->Units(), UNITS_DEGREESF) << "Cancel writes nothing";
    EXPECT_TRUE(instrument->Edit());
    driver.Wait();
    EXPECT_EQ(tooLong, "The maximum setting for the sample interval is 60.");
    EXPECT_EQ(wrongPasscode, "The passcode entered is incorrect.");
    EXPECT_EQ(question, "Do you wish to write the changes that have been made to the 4710?");
    ASSERT_TRUE(instrument->QueryUnits());
    EXPECT_EQ(instrument->Units(), UNITS_DEGREESF) << "the instrument holds the new units";
    ASSERT_TRUE(instrument->QueryInterval());
    EXPECT_EQ(instrument->Interval(), INT_30_SEC);
    ASSERT_TRUE(instrument->QueryCalibrationDate());
    EXPECT_EQ(instrument->CalDate().IsoDate(), "2024-03-07");
}

TEST_F(QtDialogs, ChannelResolutionIsWrittenAndReadBack) {
    ASSERT_TRUE(instrument->QueryInfo());
    auto channel = instrument->GetChannelReference(1);
    ASSERT_NE(channel, nullptr);
    std::string question;
    driver
        .Then("read",
              [&] {
                  if (!Ready("frm4710Channel")) {
                      return false;
                  }
                  EXPECT_EQ(Window("frm4710Channel")->windowTitle(), "Channel 1 Settings");
                  EXPECT_EQ(Child<QLineEdit>("txtProbeSerial")->text(), "S1001");
                  EXPECT_EQ(Child<QComboBox>("cboConversionType")->currentText(), "ITS-90");
                  EXPECT_FALSE(Child<QTableWidget>("vsfgCoefficients")->isEnabled())
                      << "conversion is protected";
                  return SelectData("cboResolution", 2) && ClickLater("cmdOKCancelHelp0");
              })
        .Then("question", [&] { return Answer(QMessageBox::Yes, &question); })
        .Then("closed", [&] { return Window("frm4710Channel") == nullptr; });
    driver.Start();
    EXPECT_TRUE(channel->Edit());
    driver.Wait();
    EXPECT_EQ(question, "Do you wish to write the changes that have been made to this channel?");
    EXPECT_EQ(channel->Resolution(), 2);
    EXPECT_FALSE(channel->Changed());
}

TEST_F(QtDialogs, LogStatusClearsTheDemandLogAndTheLabelIsTypedUnderTheKeyRules) {
    std::string before;
    std::string after;
    std::string shown;
    driver
        .Then("status read",
              [&] {
                  auto* label = Child<QLabel>("lblDemandLog");
                  if (label == nullptr || label->text().isEmpty()) {
                      return false;
                  }
                  before = label->text().toStdString();
                  EXPECT_GT(Child<QProgressBar>("pbarDemandLog")->value(), 0);
                  return ClickLater("cmdDemandLogClear");
              })
        .Then("cleared",
              [&] {
                  after = Child<QLabel>("lblDemandLog")->text().toStdString();
                  return after != before && ClickLater("cmdOKCancelHelp0");
              })
        .Then("label read",
              [&] {
                  auto* edit = Child<QLineEdit>("txtLabelName");
                  if (edit == nullptr || edit->text().isEmpty() || !Idle()) {
                      return false;
                  }
                  shown = edit->text().toStdString();
                  edit->selectAll();
                  QTest::keyClicks(edit, "bath-1.x");
                  QTest::keyClick(edit, Qt::Key_Return);
                  EXPECT_TRUE(Window("frm4710Labels") != nullptr) << "Enter does not close";
                  EXPECT_EQ(edit->selectedText(), "BATH1X") << "Enter selects the text";
                  return ClickLater("cmdOKCancelHelp0");
              })
        .Then("closed", [&] { return Window("frm4710Labels") == nullptr; });
    driver.Start();
    EXPECT_TRUE(instrument->ViewLogStatus());
    EXPECT_TRUE(instrument->EditLogLabels());
    driver.Wait();
    const std::string zeros = LocaleDecimalSeparator() + "00% full";
    EXPECT_EQ(before, "Demand log: 30" + zeros);
    EXPECT_EQ(after, "Demand log: 0" + zeros);
    ASSERT_TRUE(instrument->QueryDemandLogStatus());
    EXPECT_EQ(instrument->DemandLogCount(), 0);
    EXPECT_EQ(shown, "DEMAND");
    std::string label;
    ASSERT_TRUE(instrument->QueryLoggingLabel(label));
    EXPECT_EQ(label, "BATH1X");
}

}  // namespace
}  // namespace vesk::qttest
