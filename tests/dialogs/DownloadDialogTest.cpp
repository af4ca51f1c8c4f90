#include <gtest/gtest.h>

#include <filesystem>

#include "components/comm/Protocol.h"
#include "components/outputfile/OutputFile.h"
#include "components/splitter/TextSplitter.h"
#include "host/InstrumentRequests.h"
#include "tests/dialogs/DialogTestSupport.h"
#include "vesk4710/dialogs/DownloadDialog.h"
#include "vesk4710/support/StringIds.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::test {
namespace {

class DownloadDialogTest : public DialogTest<DownloadDialog> {
  protected:
    void SetUp() override {
        DialogTest::SetUp();
        host->splitterFactory = [] { return TextSplitter::Create(); };
        FakeHost* h = host.get();
        host->outputFileFactory = [h] { return OutputFile::Create(h->registry, h->ui, h->files); };
        downloads = host->files.Root() + "/downloads";
        std::filesystem::create_directories(downloads);
        Create(instrument, &form, &lblLog, &cboLog, &lblLabel, &cboLabel, &lblDecimals,
               &cboDecimals, &optSingle, &optMultiple, &lblFolder, &txtFolder, &cmdBrowse, &cmdOK,
               &cmdCancel, &cmdHelp);
    }

    static int32_t Chosen(const FakeList& list) { return list.ItemData(list.ListIndex()); }

    std::string downloads;
    FakeForm form;
    FakeLabel lblLog, lblLabel, lblDecimals, lblFolder;
    FakeList cboLog, cboLabel, cboDecimals;
    FakeCheckBox optSingle, optMultiple;
    FakeTextBox txtFolder;
    FakeButton cmdBrowse, cmdOK, cmdCancel, cmdHelp;
};

TEST_F(DownloadDialogTest, OffersTheChoicesAndRestoresTheLastOnes) {
    host->registry->forms["frm4710Download"] = {{"Label", "3"}, {"Decimals", "4"}, {"Files", "1"}};
    host->registry->values["DownloadFolder"] = downloads;
    dialog->Activate();
    EXPECT_EQ(form.caption, "Download Logged Data");
    EXPECT_EQ(cboLog.Texts(), (std::vector<std::string>{"Demand log"}));
    EXPECT_EQ(cboLabel.ListCount(), 26) << "all labels, then each of the 25";
    EXPECT_EQ(Chosen(cboLabel), 3);
    EXPECT_EQ(Chosen(cboDecimals), 4);
    EXPECT_EQ(optSingle.value, 0);
    EXPECT_EQ(optMultiple.value, 1);
    EXPECT_EQ(txtFolder.text, downloads);
}

TEST_F(DownloadDialogTest, DocumentsAreProposedAndAMissingFolderIsRefusedBeforeAnythingIsRead) {
    comm().ReplyAlways(SET_LOGGING_LABEL_LIST, "DEMAND,BATH_A,RUN 2");
    dialog->Activate();
    EXPECT_EQ(cboLabel.Texts(),
              (std::vector<std::string>{"All labels", "1: DEMAND", "2: BATH_A", "3: RUN 2"}))
        << "the labels by their names";
    comm().log.clear();
    EXPECT_EQ(Chosen(cboLabel), 0);
    EXPECT_EQ(Chosen(cboDecimals), -1) << "values as logged unless asked";
    EXPECT_EQ(optSingle.value, 1);
    EXPECT_EQ(txtFolder.text, host->files.GetSpecialFolder(SpecialFolder::Documents));

    txtFolder.Text(downloads + "/nowhere");
    OK();
    EXPECT_EQ(ui().Prompts(),
              (std::vector<std::string>{"The folder '" + downloads + "/nowhere' does not exist."}));
    EXPECT_TRUE(comm().Requests().empty());
    EXPECT_EQ(hides, 0);
}

TEST_F(DownloadDialogTest, OKDownloadsTheChosenLabelShowsTheFilesAndRemembers) {
    dialog->Activate();
    txtFolder.Text(downloads);
    SelectListItemByData(cboLabel, 2);
    SelectListItemByData(cboDecimals, 1);
    comm().Reply(SET_DEMAND_LOG_STATUS, "998,2");
    comm().TransferReply(
        {"1,2024/03/07,12:00:01,1,2,BATH_A,25.0412,C\r"
         "2,2024/03/07,12:00:31,1,2,BATH_A,25.0437,C",
         false});
    OK();
    EXPECT_TRUE(Logged("Transfer " + std::to_string(SET_TRANSFER_LABEL) + " 2 value=2"));
    EXPECT_EQ(ui().dialogsShown, (std::vector<std::string>{"frmShowFiles"}));
    EXPECT_TRUE(dialog->Downloaded());
    EXPECT_EQ(hides, 1);

    dialog->Unload();
    const auto& saved = host->registry->forms["frm4710Download"];
    EXPECT_EQ(saved.at("Label"), "2");
    EXPECT_EQ(saved.at("Decimals"), "1");
    EXPECT_EQ(saved.at("Files"), "0");
}

TEST_F(DownloadDialogTest, AnEmptyLogOfEitherKindKeepsTheDialogOpenAndCancelDownloadsNothing) {
    dialog->AutoLog([](CVesk4710& inst, const DownloadRequest& request) {
        return DownloadAutoLog(inst, request, "test");
    });
    dialog->Activate();
    EXPECT_EQ(cboLog.Texts(), (std::vector<std::string>{"Demand log", "Automatic log"}))
        << "the automatic log is offered where the client fetches it";
    comm().log.clear();
    txtFolder.Text(downloads);
    comm().Reply(SET_DEMAND_LOG_STATUS, "1000,0");
    OK();
    SelectListItemByData(cboLog, DOWNLOAD_AUTO_LOG);
    comm().Reply(SET_AUTO_LOG_STATUS, "1000,0");
    OK();
    EXPECT_EQ(ui().Prompts(), (std::vector<std::string>{
                                  LoadResString(kResNoReadingsToDownload),
                                  "The automatic log holds no readings: nothing was downloaded."}));
    EXPECT_EQ(hides, 0) << "the choices stay open";
    Click(kCmdCancel);
    EXPECT_EQ(hides, 1);
    EXPECT_FALSE(dialog->Downloaded());
    EXPECT_EQ(comm().Requests(),
              (std::vector<std::string>{Read(SET_DEMAND_LOG_STATUS), Read(SET_AUTO_LOG_STATUS)}))
        << "nothing is transferred";
}

}  // namespace
}  // namespace vesk::test
