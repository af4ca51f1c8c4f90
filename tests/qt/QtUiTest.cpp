// The Qt services themselves: message boxes, help and the progress display.
#include "tests/qt/QtTestSupport.h"
#include "ui/qt/QtProgress.h"
#include "vesk4710/platform/IProgress.h"

namespace vesk::qttest {
namespace {

using QtServices = QtDialogTest;

TEST_F(QtServices, MessageBoxesShowTheClassicStylesAnswerAndOpenHelp) {
    std::vector<QUrl> opened;
    ui->SetUrlOpener([&](const QUrl& url) {
        opened.push_back(url);
        return true;
    });
    using Seen = std::tuple<QMessageBox::Icon, qsizetype, std::string>;
    std::vector<Seen> seen;
    auto answer = [&](QMessageBox::StandardButton button) {
        QMessageBox* box = VisibleBox();
        if (box == nullptr) {
            return false;
        }
        seen.emplace_back(box->icon(), box->buttons().size(), box->text().toStdString());
        return Answer(button);
    };
    driver.Then("question", [&] { return answer(QMessageBox::No); })
        .Then("error", [&] { return answer(QMessageBox::Ok); })
        .Then("help", [&] { return Answer(QMessageBox::Help); })
        .Then("ok", [&] { return !opened.empty() && Answer(QMessageBox::Ok); });
    driver.Start();
    EXPECT_EQ(ui->MessageBox("Write?", kMbYesNo | kMbQuestion, "Vesk Scientific", "", 0), kAnsNo);
    // Error reports break lines at lone carriage returns.
    EXPECT_EQ(ui->MessageBox("An error occurred.\r\rError: 6 - Overflow\r(CVesk4710 - Edit)",
                             kMbCritical, "Vesk Scientific", "", 0),
              kAnsOk);
    EXPECT_EQ(seen, (std::vector<Seen>{
                        {QMessageBox::Question, 2, "Write?"},
                        {QMessageBox::Critical, 1,
                         "An error occurred.\n\nError: 6 - Overflow\n(CVesk4710 - Edit)"}}));

    // Help opens the topic and keeps the message up.
    EXPECT_EQ(ui->MessageBox("Details", kMbCritical | kMbHelpButton, "Vesk Scientific",
                             "/opt/vesk/help.html", 10340),
              kAnsOk);
    ASSERT_EQ(opened.size(), 1U);
    EXPECT_EQ(opened[0].toLocalFile(), "/opt/vesk/help.html");
    EXPECT_EQ(opened[0].fragment(), "topic-10340");
    EXPECT_EQ(ui->ShowHelp("", 1, 5), 0) << "no help file, nothing to open";
}

TEST_F(QtServices, ProgressShowsStatusAndAnswersTheCancel) {
    auto progress = ui->CreateProgress();
    progress->SetOwner(nullptr, false);
    progress->Status("Reading 4710 settings...", 25.0);
    auto* window = static_cast<QtProgress&>(*progress).Window();
    ASSERT_NE(window, nullptr);
    EXPECT_TRUE(window->isVisible());
    EXPECT_EQ(window->status->text(), "Reading 4710 settings...");
    EXPECT_EQ(window->bar->value(), 250);
    EXPECT_TRUE(progress->Continue());

    progress->StartPhase("Updating 4710 settings...", 50.0);
    EXPECT_TRUE(progress->Step());
    EXPECT_EQ(window->bar->value(), 500);
    QTest::mouseClick(window->cancel, Qt::LeftButton);
    EXPECT_FALSE(progress->Step());
    EXPECT_FALSE(progress->Continue());
    progress->Close();
    EXPECT_EQ(Window("progress"), nullptr);
}

}  // namespace
}  // namespace vesk::qttest
