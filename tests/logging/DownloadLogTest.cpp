// The logged-data download: requests, trace, temporary files, splitting and output files.
#include <algorithm>

#include "tests/logging/LoggingFixture.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::test {
namespace {

using DownloadLogTest = LoggingTest;

const std::string kLine1 = Reading(1, 1, "RUNA", "25.125");
const std::string kLine2 = Reading(2, 1, "RUNA", "-3.5", "F", 2);

bool Has(const std::vector<std::string>& lines, const std::string& line) {
    return std::find(lines.begin(), lines.end(), line) != lines.end();
}

TEST_F(DownloadLogTest, SingleFileTraceFollowsEveryStep) {
    ScriptLog(2, CrJoined({kLine1, kLine2}));
    ASSERT_TRUE(Download());

    std::vector<std::string> expected = {"Preparing to download data from 4710...",
                                         "Initializing communications...",
                                         "Querying log status...",
                                         "Count: 2",
                                         "Downloading data...",
                                         "Writing downloaded data to temp file...",
                                         "Preparing to parse downloaded data...",
                                         "Lines to parse: 2",
                                         "Creating single file...",
                                         "Preparing single file..."};
    // The first line keeps its carriage return, so the field splitter ends it with an empty piece.
    const std::vector<std::vector<std::string>> fields = {
        {"1", "2024/03/07", "12:00:01", "1", "1", "RUNA", "25.125", "C", ""},
        {"2", "2024/03/07", "12:00:02", "2", "1", "RUNA", "-3.5", "F"}};
    for (size_t line = 0; line < fields.size(); ++line) {
        const std::string n = std::to_string(fields[line].size());
        expected.push_back("Parsing line " + std::to_string(line + 1) + "...");
        expected.push_back("Fields: " + n);
        for (size_t i = 0; i < fields[line].size(); ++i) {
            expected.push_back("Field " + std::to_string(i + 1) + " of " + n + ": " +
                               fields[line][i]);
        }
        expected.push_back("Updating file...");
    }
    expected.push_back("Closing file...");
    expected.push_back("Download finished...");
    EXPECT_EQ(Trace(), expected);
    const std::string transfer = Req("Transfer", SET_TRANSFER_ALL, "2");
    EXPECT_EQ(comm().Requests(),
              (std::vector<std::string>{Req("Read", SET_DEMAND_LOG_STATUS), transfer}));
    // The link leaves session mode for the transfer only.
    auto at = [&](const std::string& entry) {
        return std::find(comm().log.begin(), comm().log.end(), entry) - comm().log.begin();
    };
    EXPECT_LT(at("Port.LinkMode=0"), at(transfer));
    EXPECT_GT(at("Port.LinkMode=2"), at(transfer));
    EXPECT_EQ(comm().SerialPort().linkMode, 2);

    EXPECT_EQ(Raw(), CrJoined({kLine1, kLine2}));
    auto names = DownloadedNames();
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(names[0].rfind("4710_demand_all_", 0), 0u) << names[0];
    EXPECT_EQ(SplitLines(host->files.ReadFile(downloads + "/" + names[0])).at(3), "# label: (all)");
    EXPECT_EQ(Rows(names[0]),
              (std::vector<std::string>{"1,2024-03-07T12:00:01+00:00,1,1,RUNA,25.13,C",
                                        "2,2024-03-07T12:00:02+00:00,2,1,RUNA,-3.50,F"}));
    EXPECT_TRUE(prompt);
    EXPECT_EQ(host->ui.doEvents, 2);
    EXPECT_TRUE(host->ui.boxes.empty()) << Prompts().front();
}

TEST_F(DownloadLogTest, LabelDownloadAsksForItsLabelAndReplacesTheTemporaryFiles) {
    ScriptLog(2, CrJoined({kLine1, kLine2}));
    ASSERT_TRUE(Download());
    std::filesystem::remove_all(downloads);

    instrument->Serial("SN-1234");
    ScriptLog(7, Reading(9, 3, "OTHER", "1"));
    ASSERT_TRUE(Download(DOWNLOAD_SINGLE_FILE, 3));
    const std::string status = Req("Read", SET_DEMAND_LOG_STATUS);
    EXPECT_EQ(comm().Requests(),
              (std::vector<std::string>{status, Req("Transfer", SET_TRANSFER_ALL, "2"), status,
                                        Req("Transfer", SET_TRANSFER_LABEL, "7 value=3")}));
    // The whole log's transfer carries no value at all.
    EXPECT_TRUE(comm().requestParams[1].empty());

    // The header names the instrument, log, label and time.
    auto names = DownloadedNames();
    ASSERT_EQ(names.size(), 1u);
    EXPECT_EQ(names[0].rfind("4710_demand_label-OTHER_", 0), 0u) << names[0];
    auto text = SplitLines(host->files.ReadFile(downloads + "/" + names[0]));
    ASSERT_GE(text.size(), 8u);
    EXPECT_EQ(std::vector<std::string>(text.begin(), text.begin() + 4),
              (std::vector<std::string>{"# model: 4710", "# serial: SN-1234", "# log: demand",
                                        "# label: OTHER"}));
    ASSERT_EQ(text[4].rfind("# downloaded: ", 0), 0u);
    EXPECT_TRUE(Date::ParseIso(text[4].substr(14, 19)).has_value()) << text[4];
    EXPECT_EQ(text[5], "# time zone: local (UTC), the instrument clock's times");
    EXPECT_EQ(text[6], "sequence,time,channel,label_number,label,value,unit");

    // The temporary files hold the second download only.
    EXPECT_EQ(Raw(), Reading(9, 3, "OTHER", "1"));
    auto trace = Trace();
    EXPECT_EQ(std::count(trace.begin(), trace.end(), "Preparing to download data from 4710..."), 1);
    EXPECT_TRUE(Has(trace, "Count: 7"));
    EXPECT_FALSE(Has(trace, "Count: 2"));
}

TEST_F(DownloadLogTest, NoReadingsEndAtMessage337OrAnEmptyTransferAt290) {
    const std::vector<std::string> expected = {
        "Preparing to download data from 4710...", "Initializing communications...",
        "Querying log status...", "Count: 0", "Download finished..."};
    // An empty demand log, and the automatic log (no count).
    comm().Reply(SET_DEMAND_LOG_STATUS, "500,0");
    EXPECT_TRUE(Download());
    EXPECT_EQ(Trace(), expected);
    EXPECT_TRUE(Download(DOWNLOAD_SINGLE_FILE, 0, 2, DOWNLOAD_AUTO_LOG));
    EXPECT_EQ(Trace(), expected);
    EXPECT_EQ(comm().Requests(), std::vector<std::string>{Req("Read", SET_DEMAND_LOG_STATUS)});
    ASSERT_EQ(host->ui.boxes.size(), 2u);
    for (const auto& box : host->ui.boxes) {
        EXPECT_EQ(box.prompt, LoadResString(337));
        EXPECT_EQ(box.caption, "Vesk Scientific");
    }
    EXPECT_TRUE(DownloadedNames().empty());
    EXPECT_FALSE(prompt);
    EXPECT_TRUE(host->ui.dialogsShown.empty());

    // A transfer that ends before its first line replaces the stale raw copy with nothing.
    host->ui.boxes.clear();
    host->files.WriteFile(TempPath(kRawFileName), "stale data from before");
    ScriptLog(5, "", true);
    EXPECT_TRUE(Download(DOWNLOAD_SINGLE_FILE, 4));
    ASSERT_EQ(Prompts(), std::vector<std::string>{LoadResString(290)});
    EXPECT_TRUE(std::filesystem::exists(TempPath(kRawFileName)));
    EXPECT_EQ(Raw(), "");
    auto trace = Trace();
    ASSERT_GE(trace.size(), 2u);
    EXPECT_EQ(trace[trace.size() - 2], "Download aborted...");
    EXPECT_EQ(trace.back(), "Download finished...");
    EXPECT_TRUE(DownloadedNames().empty());
}

TEST_F(DownloadLogTest, LoneCarriageReturnsSplitLinesAndBlankOrGarbledOnesAreSkipped) {
    // Leading, doubled and trailing separators around a huge line and a short one: 8 lines,
    // of which 2 hold readings and 2 are garbled.
    const std::string junk(100000, 'x');
    const std::string reply = "\r" + Reading(1, 1, "A", "1") + "\r\r" + junk + "\r1,2,3\r\r" +
                              Reading(2, 1, "A", "2") + "\r";
    ScriptLog(2, reply);
    // Lines that are no readings leave the file incomplete, and the user is told which.
    EXPECT_FALSE(Download(DOWNLOAD_SINGLE_FILE, 0, 0));
    ExpectOneBoxHolding({"2 lines received were not readings",
                         "line 4 has 1 fields where a reading has 8: \"xxxx", "...\""});
    EXPECT_EQ(Rows(DownloadedNames().at(0)).size(), 2u);
    EXPECT_EQ(LastLine(DownloadedNames().at(0)).rfind("# incomplete download: 2 readings", 0), 0u);
    EXPECT_EQ(Raw(), reply);
    EXPECT_EQ(host->ui.doEvents, 8);
    auto trace = Trace();
    EXPECT_TRUE(Has(trace, "Lines to parse: 8"));
    EXPECT_EQ(std::count_if(trace.begin(), trace.end(),
                            [](const std::string& l) { return l.rfind("Parsing line ", 0) == 0; }),
              4);
    EXPECT_TRUE(Has(trace, "Field 1 of 2: " + junk));
    EXPECT_TRUE(Has(trace, "Line 5 is not a reading; skipped..."));
    EXPECT_EQ(trace.back(), "Download finished...");
}

TEST_F(DownloadLogTest, ProgressShowsParsingAndCancelKeepsWhatWasWritten) {
    std::vector<std::string> many;
    for (int i = 1; i <= 300; ++i) {
        many.push_back(Reading(i, 1, "L", std::to_string(i)));
    }
    ScriptLog(300, CrJoined(many));
    host->ui.cancelAtStep = 1;  // the second check (after 6 lines) says cancel
    ASSERT_TRUE(Download(DOWNLOAD_SINGLE_FILE, 0, 0));
    ASSERT_FALSE(host->ui.progressLog.empty());
    EXPECT_EQ(host->ui.progressLog.front(), "Status " + LoadResString(248) + " 0");
    EXPECT_EQ(Rows(DownloadedNames().at(0)).size(), 6u);
    EXPECT_EQ(LastLine(DownloadedNames().at(0)).find("6 readings received; writing was cancelled"),
              23u);
    EXPECT_EQ(Raw(), CrJoined(many));
}

TEST_F(DownloadLogTest, NonInteractiveDownloadListsItsFilesAndShowsNothing) {
    ScriptLog(3, CrJoined({Reading(1, 1, "A", "1"), Reading(2, 2, "B", "2"), "garbled,line"}));
    DownloadRequest request;
    request.opt = DOWNLOAD_MULTIPLE_FILES;
    request.decimals = 3;
    DownloadResult result = DownloadLogFiles(*instrument, request);
    EXPECT_EQ(result.outcome, DownloadOutcome::NotReadings);
    ASSERT_EQ(result.files.size(), 2u);
    EXPECT_EQ(result.count, 3);
    EXPECT_EQ(result.lines, 3);
    EXPECT_EQ(result.readings, 2);
    EXPECT_EQ(result.skipped, 1);
    EXPECT_EQ(result.rawPath, TempPath(kRawFileName));
    EXPECT_EQ(Rows(result.files[1]->FileName()),
              std::vector<std::string>{"2,2024-03-07T12:00:02+00:00,1,2,B,2.000,C"});
    EXPECT_TRUE(host->ui.boxes.empty());
    EXPECT_TRUE(host->ui.dialogsShown.empty());

    comm().Reply(SET_DEMAND_LOG_STATUS, "0,0");
    result = DownloadLogFiles(*instrument, request);
    EXPECT_EQ(result.outcome, DownloadOutcome::NoReadings);
    EXPECT_EQ(result.message, LoadResString(337));
    EXPECT_TRUE(result.files.empty());
    EXPECT_TRUE(host->ui.boxes.empty());
}

}  // namespace
}  // namespace vesk::test
