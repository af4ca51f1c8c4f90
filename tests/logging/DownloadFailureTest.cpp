// A download that meets a dropped link, an early end, an unwritable folder or a full disk
// tells the user clearly and loses nothing it received.
#include "tests/logging/LoggingFixture.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::test {
namespace {

using DownloadFailure = LoggingTest;

std::string ThreeReadings() {
    return CrJoined(
        {Reading(1, 1, "A", "1.25"), Reading(2, 1, "A", "2.5"), Reading(3, 2, "B", "3.75")});
}

TEST_F(DownloadFailure, EarlyEndWritesWhatArrivedAndSaysSo) {
    // The link died inside the third line.
    const std::string partial =
        CrJoined({Reading(1, 1, "A", "1.25"), Reading(2, 1, "A", "2.5"), "3,2024/03/07,12:0"});
    comm().Reply(SET_DEMAND_LOG_STATUS, "0,10");
    comm().TransferReply({partial, true, "link dropped"});
    EXPECT_FALSE(Download());

    EXPECT_EQ(Raw(), partial);
    ASSERT_EQ(DownloadedNames().size(), 1u);
    EXPECT_EQ(Rows(DownloadedNames()[0]).size(), 2u);
    // The file says so itself, and so does the trace.
    const std::string note = LastLine(DownloadedNames()[0]);
    EXPECT_EQ(note.rfind("# incomplete download: 2 readings received; the transfer ended early "
                         "(link dropped); 1 lines received were not readings (line 3 has 3",
                         0),
              0u);
    EXPECT_EQ(Trace().at(Trace().size() - 2), "Download incomplete: " + note.substr(2));
    ExpectOneBoxHolding({LoadResString(239), "ended early (link dropped)", TempPath(kRawFileName)});
    // The user still gets the list of what was written.
    EXPECT_EQ(host->ui.dialogsShown, std::vector<std::string>{"frmShowFiles"});
    EXPECT_TRUE(prompt);
}

TEST_F(DownloadFailure, UnwritableDownloadFolderKeepsTheRawTransfer) {
    host->files.WriteFile(host->files.Root() + "/blocker", "x");
    host->registry->values["DownloadFolder"] = host->files.Root() + "/blocker/downloads";
    ScriptLog(3, ThreeReadings());
    EXPECT_FALSE(Download(DOWNLOAD_MULTIPLE_FILES));

    EXPECT_EQ(Raw(), ThreeReadings());
    ExpectOneBoxHolding({LoadResString(249), host->files.Root() + "/blocker/downloads",
                         "the received data is kept in '" + TempPath(kRawFileName) + "'"});
    EXPECT_TRUE(host->ui.dialogsShown.empty());
    EXPECT_EQ(Trace().back().rfind("Error: ", 0), 0u) << Trace().back();

    // Non-interactive callers get the same error as an exception.
    ScriptLog(3, ThreeReadings());
    const auto e = Raised([&] { DownloadLogFiles(*instrument, DownloadRequest{}); });
    EXPECT_EQ(e.Number(), kErrDownloadFolder);
    EXPECT_NE(e.Description().find(TempPath(kRawFileName)), std::string::npos);
    EXPECT_EQ(Raw(), ThreeReadings());
}

TEST_F(DownloadFailure, FullDiskWhileWritingReadingsKeepsTheRawTransfer) {
    ScriptLog(3, ThreeReadings());
    // The disk fills up once parsing has begun (after the raw copy was made).
    host->ui.onEvents = [this] {
        if (!host->files.diskCapacity) {
            host->files.diskCapacity = host->files.bytesWritten;
        }
    };
    EXPECT_FALSE(Download());
    EXPECT_EQ(Raw(), ThreeReadings());
    ExpectOneBoxHolding(
        {LoadResString(239), "Error: " + std::to_string(kErrDiskFull), TempPath(kRawFileName)});
    EXPECT_TRUE(host->ui.dialogsShown.empty());
    EXPECT_EQ(comm().SerialPort().linkMode, 2);
}

TEST_F(DownloadFailure, FailedRawCopyStillWritesTheReadings) {
    // A folder where the raw file should be: the copy fails, the readings are still in memory.
    std::filesystem::create_directories(TempPath(kRawFileName));
    ScriptLog(3, ThreeReadings());
    EXPECT_TRUE(Download());
    ExpectOneBoxHolding({"attempting to write the downloaded data to a temporary file (" +
                         TempPath(kRawFileName) + ")"});
    EXPECT_EQ(host->ui.boxes.at(0).caption, "Download Logged Data");
    ASSERT_EQ(DownloadedNames().size(), 1u);
    EXPECT_EQ(Rows(DownloadedNames()[0]).size(), 3u);
}

TEST_F(DownloadFailure, RawFileHoldsEachLineBeforeTheTransferIsOver) {
    // What a process killed in mid-transfer leaves behind.
    ScriptLog(3, ThreeReadings());
    std::string onDisk;
    comm().duringTransfer = [&] { onDisk = Raw(); };
    ASSERT_TRUE(Download());
    EXPECT_EQ(onDisk, ThreeReadings());
}

}  // namespace
}  // namespace vesk::test
