// The log status, logging label, download-options and downloaded-files dialogs, each opened
// against the simulator and clicked through.
#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QListWidget>
#include <QProgressBar>
#include <QTest>

#include "tests/qt/QtTestSupport.h"
#include "vesk4710/dialogs/frmShowFiles.h"
#include "vesk4710/support/NumberText.h"

namespace vesk::qttest {
namespace {

using QtLogDialogs = QtDialogTest;

std::string Percent(const char* whole) {
    return std::string(whole) + LocaleDecimalSeparator() + "00";
}

TEST_F(QtLogDialogs, LogStatusShowsTheFillAndClearsTheDemandLog) {
    std::string before;
    std::string after;
    driver
        .Then("status read",
              [&] {
                  auto* label = Child<QLabel>("lblDemandLog");
                  if (label == nullptr || label->text().isEmpty()) {
                      return false;
                  }
                  before = label->text().toStdString();
                  EXPECT_EQ(Window("frm4710LogStatus")->windowTitle(), "4710 Log Status");
                  EXPECT_GT(Child<QProgressBar>("pbarDemandLog")->value(), 0);
                  Shot(Window("frm4710LogStatus"), "frm4710LogStatus");
                  return ClickLater("cmdDemandLogClear");
              })
        .Then("cleared",
              [&] {
                  after = Child<QLabel>("lblDemandLog")->text().toStdString();
                  return after != before;
              })
        .Then("close", [&] { return ClickLater("cmdOKCancelHelp0"); });
    driver.Start();
    EXPECT_TRUE(instrument->ViewLogStatus());
    EXPECT_TRUE(driver.Wait());
    EXPECT_EQ(before, "Demand log: " + Percent("30") + "% full");
    EXPECT_EQ(after, "Demand log: " + Percent("0") + "% full");
    ASSERT_TRUE(instrument->QueryDemandLogStatus());
    EXPECT_EQ(instrument->DemandLogCount(), 0);
}

TEST_F(QtLogDialogs, LabelIsTypedUnderTheKeyRulesAndWritten) {
    std::string shown;
    driver
        .Then("label read",
              [&] {
                  auto* edit = Child<QLineEdit>("txtLabelName");
                  if (edit == nullptr || edit->text().isEmpty() || !Idle()) {
                      return false;
                  }
                  shown = edit->text().toStdString();
                  Shot(Window("frm4710Labels"), "frm4710Labels");
                  edit->selectAll();
                  QTest::keyClicks(edit, "bath-1.x");
                  QTest::keyClick(edit, Qt::Key_Return);
                  EXPECT_TRUE(Window("frm4710Labels") != nullptr) << "Enter does not close";
                  EXPECT_EQ(edit->selectedText(), "BATH1X") << "Enter selects the text";
                  return ClickLater("cmdOKCancelHelp0");
              })
        .Then("closed", [&] { return Window("frm4710Labels") == nullptr; });
    driver.Start();
    EXPECT_TRUE(instrument->EditLogLabels());
    EXPECT_TRUE(driver.Wait());
    EXPECT_EQ(shown, "DEMAND");
    std::string label;
    ASSERT_TRUE(instrument->QueryLoggingLabel(label));
    EXPECT_EQ(label, "BATH1X");
}

TEST_F(QtLogDialogs, LabelOKWithoutChangeSaysSoAndWritesNothing) {
    std::string message;
    driver
        .Then("label read",
              [&] {
                  auto* edit = Child<QLineEdit>("txtLabelName");
                  return edit != nullptr && !edit->text().isEmpty() && Idle() &&
                         ClickLater("cmdOKCancelHelp0");
              })
        .Then("message", [&] { return Answer(QMessageBox::Ok, &message); })
        .Then("closed", [&] { return Window("frm4710Labels") == nullptr; });
    driver.Start();
    EXPECT_TRUE(instrument->EditLogLabels());
    EXPECT_EQ(message, "The label was not changed so it does not need to be updated.");
}

TEST_F(QtLogDialogs, DownloadWritesTheFilesAndListsThem) {
    const std::string folder = (dir / "downloads").string();
    std::filesystem::create_directories(folder);
    std::vector<std::string> listed;
    driver
        .Then("options",
              [&] {
                  auto* edit = Child<QLineEdit>("txtFolder");
                  if (edit == nullptr) {
                      return false;
                  }
                  edit->setText(QString::fromStdString(folder));
                  Child<QAbstractButton>("optFiles1")->click();
                  Shot(Window("frm4710Download"), "frm4710Download");
                  return ClickLater("cmdOKCancelHelp0");
              })
        .Then("files listed",
              [&] {
                  if (QMessageBox* box = VisibleBox()) {
                      ADD_FAILURE() << box->text().toStdString();
                      return Answer(QMessageBox::Ok);
                  }
                  auto* list = Child<QListWidget>("lstFiles");
                  if (list == nullptr || list->count() == 0) {
                      return false;
                  }
                  for (int i = 0; i < list->count(); ++i) {
                      listed.push_back(list->item(i)->text().toStdString());
                  }
                  Shot(Window("frmShowFiles"), "frmShowFiles");
                  return ClickLater("cmdOK");
              })
        .Then("closed", [&] { return Window("frm4710Download") == nullptr; });
    driver.Start();
    EXPECT_TRUE(instrument->DownloadLoggedData());
    EXPECT_TRUE(driver.Wait());
    // One file per label of the seeded demand log.
    ASSERT_EQ(listed.size(), 3U);
    for (const auto& path : listed) {
        EXPECT_EQ(std::filesystem::path(path).parent_path(), std::filesystem::path(folder));
        EXPECT_TRUE(std::filesystem::exists(path)) << path;
    }
    EXPECT_EQ(host->CreateRegistry()->ReadValue("DownloadFolder", 0, kHKeyCurrentUser, ""), folder);
}

// An output file that records what the dialog asks of it instead of starting a viewer.
class RecordingFile : public IOutputFile {
  public:
    explicit RecordingFile(std::string name) : name_(std::move(name)) {}
    void SetRegistry(std::shared_ptr<IRegistry> r) override { registry_ = std::move(r); }
    std::shared_ptr<IRegistry> Registry() const override { return registry_; }
    bool Create(const OutputFileSpec&) override { return true; }
    void WriteReading(const std::vector<std::string_view>&) override {}
    void Close() override {}
    std::string Folder() const override { return "/data/4710"; }
    std::string FileName() const override { return name_; }
    void View(bool) override { calls.emplace_back("View"); }
    void Print(bool select) override { calls.emplace_back(select ? "Print select" : "Print"); }
    std::vector<std::string> calls;

  private:
    std::string name_;
    std::shared_ptr<IRegistry> registry_;
};

TEST_F(QtLogDialogs, DoubleClickingADownloadedFileViewsOrPrintsIt) {
    auto first = std::make_shared<RecordingFile>("DEMAND.txt");
    auto second = std::make_shared<RecordingFile>("BATH_A.txt");
    second->SetRegistry(host->CreateRegistry());
    auto doubleClick = [](int row) {
        auto* list = Child<QListWidget>("lstFiles");
        QListWidgetItem* item = list->item(row);
        list->setCurrentItem(item);
        emit list->itemDoubleClicked(item);
    };
    driver
        .Then("listed",
              [&] {
                  auto* list = Child<QListWidget>("lstFiles");
                  if (list == nullptr || list->count() != 2) {
                      return false;
                  }
                  EXPECT_EQ(list->item(1)->text(), "/data/4710/BATH_A.txt");
                  doubleClick(1);
                  Child<QCheckBox>("chkPrint")->setChecked(true);
                  doubleClick(0);
                  return ClickLater("cmdOK");
              })
        .Then("closed", [&] { return Window("frmShowFiles") == nullptr; });
    driver.Start();
    frmShowFiles dialog(*host);
    dialog.SetFiles({first, second});
    EXPECT_TRUE(ui->ShowModal(dialog, nullptr));
    EXPECT_EQ(second->calls, (std::vector<std::string>{"View"}));
    EXPECT_EQ(first->calls, (std::vector<std::string>{"Print select"}));
}

}  // namespace
}  // namespace vesk::qttest
