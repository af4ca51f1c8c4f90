// The instrument and channel settings dialogs against the simulator.
#include <QCheckBox>
#include <QComboBox>
#include <QDateEdit>
#include <QInputDialog>
#include <QLineEdit>
#include <QTableWidget>
#include <QTest>

#include "tests/qt/QtTestSupport.h"
#include "vesk4710/channel/CVesk4710Channel.h"

namespace vesk::qttest {
namespace {

using QtSettingsDialogs = QtDialogTest;

bool SelectData(const char* combo, int data) {
    auto* box = Child<QComboBox>(combo);
    const int index = box != nullptr ? box->findData(data) : -1;
    if (index < 0) {
        return false;
    }
    box->setCurrentIndex(index);
    return true;
}

// Answers the passcode prompt with text.
bool EnterPasscode(const char* text) {
    auto* prompt = qobject_cast<QInputDialog*>(Window("passcodePrompt"));
    auto* edit = prompt != nullptr ? prompt->findChild<QLineEdit*>() : nullptr;
    if (edit == nullptr) {
        return false;
    }
    QTest::keyClicks(edit, text);
    QMetaObject::invokeMethod(prompt, "accept", Qt::QueuedConnection);
    return true;
}

bool Ready(const char* dialog) {
    return Window(dialog) != nullptr && Idle() && VisibleBox() == nullptr;
}

TEST_F(QtSettingsDialogs, UnitsChangeIsConfirmedAndWrittenWithoutAPasscode) {
    std::string question;
    driver
        .Then("read",
              [&] {
                  if (!Ready("frm4710Settings")) {
                      return false;
                  }
                  auto* grid = Child<QTableWidget>("vsfgCalParams");
                  EXPECT_EQ(grid->item(0, 1)->text(), "L75_OHMS");
                  EXPECT_EQ(grid->item(2, 1)->text(), "0") << "reference of the first point";
                  EXPECT_EQ(grid->item(5, 1)->text(), "-") << "L75_OHMS has two points";
                  EXPECT_FALSE(grid->isEnabled()) << "calibration is protected";
                  EXPECT_TRUE(Child<QAbstractButton>("cmdUnlock")->isEnabled());
                  Shot(Window("frm4710Settings"), "frm4710Settings");
                  return SelectData("cboUnits", UNITS_DEGREESF) && ClickLater("cmdOKCancelHelp0");
              })
        .Then("question", [&] { return Answer(QMessageBox::Yes, &question); })
        .Then("closed", [&] { return Window("frm4710Settings") == nullptr; });
    driver.Start();
    EXPECT_TRUE(instrument->Edit());
    EXPECT_TRUE(driver.Wait());
    EXPECT_EQ(question, "Do you wish to write the changes that have been made to the 4710?");
    EXPECT_EQ(instrument->Units(), UNITS_DEGREESF);
    ASSERT_TRUE(instrument->QueryUnits());
    EXPECT_EQ(instrument->Units(), UNITS_DEGREESF) << "the instrument holds the new units";
}

TEST_F(QtSettingsDialogs, CalibrationDateNeedsThePasscodeAndIsWrittenAfterIt) {
    std::string refusal;
    driver.Then("read", [&] { return Ready("frm4710Settings") && ClickLater("cmdUnlock"); })
        .Then("wrong passcode", [&] { return EnterPasscode("9999"); })
        .Then("refused", [&] { return Answer(QMessageBox::Ok, &refusal); })
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
        .Then("question", [&] { return Answer(QMessageBox::Yes); })
        .Then("closed", [&] { return Window("frm4710Settings") == nullptr; });
    driver.Start();
    EXPECT_TRUE(instrument->Edit());
    EXPECT_TRUE(driver.Wait());
    EXPECT_EQ(refusal, "The passcode entered is incorrect.");
    ASSERT_TRUE(instrument->QueryCalibrationDate());
    EXPECT_EQ(instrument->CalDate().IsoDate(), "2024-03-07");
}

TEST_F(QtSettingsDialogs, IntervalBeyondTheMaximumIsRefusedAndCancelWritesNothing) {
    std::string refusal;
    bool wasAuto = false;
    driver
        .Then("read",
              [&] {
                  if (!Ready("frm4710Settings")) {
                      return false;
                  }
                  auto* automatic = Child<QCheckBox>("chkAutoInterval");
                  wasAuto = automatic->isChecked();
                  if (wasAuto) {
                      automatic->click();
                  }
                  auto* edit = Child<QLineEdit>("txtInterval");
                  EXPECT_TRUE(edit->isEnabled());
                  edit->clear();
                  QTest::keyClicks(edit, "9x0");
                  EXPECT_EQ(edit->text(), "90") << "letters are not typed";
                  return ClickLater("cmdOKCancelHelp0");
              })
        .Then("refused", [&] { return Answer(QMessageBox::Ok, &refusal); })
        .Then("cancel", [&] { return Ready("frm4710Settings") && ClickLater("cmdOKCancelHelp1"); })
        .Then("closed", [&] { return Window("frm4710Settings") == nullptr; });
    driver.Start();
    EXPECT_FALSE(instrument->Edit()) << "cancelled";
    EXPECT_EQ(refusal, "The maximum setting for the sample interval is 60.");
    ASSERT_TRUE(instrument->QueryInterval());
    EXPECT_EQ(instrument->Interval() == INT_AUTO, wasAuto) << "the interval was not written";
}

TEST_F(QtSettingsDialogs, ChannelResolutionIsWrittenAndReadBack) {
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
                  auto* grid = Child<QTableWidget>("vsfgCoefficients");
                  EXPECT_EQ(grid->item(1, 0)->text(), "RTPW");
                  EXPECT_FALSE(grid->isEnabled()) << "conversion is protected";
                  Shot(Window("frm4710Channel"), "frm4710Channel");
                  return SelectData("cboResolution", 2) && ClickLater("cmdOKCancelHelp0");
              })
        .Then("question", [&] { return Answer(QMessageBox::Yes, &question); })
        .Then("closed", [&] { return Window("frm4710Channel") == nullptr; });
    driver.Start();
    EXPECT_TRUE(channel->Edit());
    EXPECT_TRUE(driver.Wait());
    EXPECT_EQ(question, "Do you wish to write the changes that have been made to this channel?");
    EXPECT_EQ(channel->Resolution(), 2);
    EXPECT_FALSE(channel->Changed());
}

}  // namespace
}  // namespace vesk::qttest
