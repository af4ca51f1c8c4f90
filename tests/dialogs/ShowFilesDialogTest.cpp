#include <gtest/gtest.h>

#include "tests/testsupport/Fakes.h"
#include "tests/testsupport/RecordingOutputFile.h"
#include "vesk4710/dialogs/ShowFilesDialog.h"

namespace vesk::test {
namespace {

class ShowFilesDialogTest : public ::testing::Test {
  protected:
    void SetUp() override {
        dialog = std::make_unique<ShowFilesDialog>(host);
        dialog->Bind({&form, &lblInstructions, &lstFiles, &chkPrint, &cmdOK});
    }

    std::shared_ptr<RecordingOutputFile> AddFile(const std::string& name) {
        auto file = std::make_shared<RecordingOutputFile>(folder, name);
        file->SetRegistry(host.registry);
        files.push_back(file);
        return file;
    }

    void Open() {
        dialog->SetFiles(std::vector<std::shared_ptr<IOutputFile>>(files.begin(), files.end()));
        dialog->Activate();
    }

    void DoubleClick(int32_t entry) {
        lstFiles.ListIndex(entry);
        dialog->lstFiles_DblClick();
    }

    FakeHost host;
    std::string folder = host.files.GetSpecialFolder(SpecialFolder::Documents);
    FakeForm form;
    FakeLabel lblInstructions;
    FakeList lstFiles;
    FakeCheckBox chkPrint;
    FakeButton cmdOK;
    std::vector<std::shared_ptr<RecordingOutputFile>> files;
    std::unique_ptr<ShowFilesDialog> dialog;
};

TEST_F(ShowFilesDialogTest, ListsTheFilesOnceAndPrintsThroughThePrinterChoiceSetting) {
    auto first = AddFile("DEMAND.txt");
    AddFile("BATH_1.txt");
    host.ui.MousePointer(kPointerHourglass);
    Open();
    dialog->Activate();
    EXPECT_EQ(lstFiles.ListCount(), 2);
    EXPECT_EQ(lstFiles.List(0), host.files.BuildPath(folder, "DEMAND.txt"));
    EXPECT_EQ(host.ui.pointer, kPointerDefault) << "the caller's hourglass does not stay";

    // Printing lets the user choose a printer unless the setting says no.
    chkPrint.Value(1);
    DoubleClick(0);
    ASSERT_FALSE(host.registry->reads.empty());
    const auto& read = host.registry->reads.back();
    EXPECT_EQ(read.name, "SelectPrinter");
    EXPECT_EQ(read.rootKey, kHKeyCurrentUser);
    host.registry->values["SelectPrinter"] = "0";
    DoubleClick(0);
    host.registry->values["SelectPrinter"] = "True";
    DoubleClick(0);
    EXPECT_EQ(first->calls, (std::vector<std::string>{"Print true", "Print false", "Print true"}));

    const auto held = first.use_count();
    bool hidden = false;
    dialog->OnHide([&] { hidden = true; });
    dialog->cmdOK_Click();
    EXPECT_TRUE(hidden);
    dialog->Unload();
    EXPECT_EQ(first.use_count(), held - 1) << "unloading releases the files";
}

}  // namespace
}  // namespace vesk::test
