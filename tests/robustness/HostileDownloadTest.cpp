// A whole download whose readings and serial carry hostile text, through the recording fake,
// which delivers bytes no serial line would: the file stays inside the download folder and
// reads back as well-formed CSV. (Hostile labels' file names: the output file's own tests.)
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "tests/logging/LoggingFixture.h"
#include "tests/robustness/SimulatedLab.h"
#include "tests/robustness/StrictCsv.h"

namespace vesk::test {
namespace {

namespace fs = std::filesystem;
using ::testing::HasSubstr;

using HostileDownload = LoggingTest;

// Quotes, control bytes and formulas stay inside their cells; a line with more or fewer fields
// than a reading is left out, never written with its columns shifted.
TEST_F(HostileDownload, HostileFieldsStayInTheirCellsAndNoLineIsShifted) {
    comm().ReplyAlways(SET_IDENTIFICATION, "Maker,4710,../..\\evil\"x\x01;,1.10");
    ASSERT_TRUE(instrument->QueryIdentification());
    const std::vector<std::string> labels = {"say \"hi\"", "=HYPERLINK(\"http://x\")", "\tlead",
                                             "ctl\x01\x02\x1f", "\""};
    std::vector<std::string> lines;
    for (size_t i = 0; i < labels.size(); ++i) {
        lines.push_back(Reading(1, 1, labels[i], "25.0012"));
    }
    // The channel, value and unit fields are as hostile as the label.
    lines.push_back("99,2024/03/07,12:00:00,\"1\",1,x,\"25\",=C");
    // Dates of the "YYYY/MM/DD" shape were once copied unquoted; nor may a row look a comment.
    lines.push_back("100,20\"4/03/07,12:00:00,1,1,A,25.0012,C");
    lines.push_back("101,2024/0\x01/07,12:00:00,1,1,A,25.0012,C");
    lines.push_back("102,# 2024/03/07,12:00:00,1,1,A,25.0012,C");
    // A label that travels quoted is intact.
    lines.push_back(Reading(1, 1, "\"say \"\"hi\"\"\"", "25.0012"));
    lines.push_back(Reading(1, 1, "\"A,B\"", "25.0012"));
    const size_t readings = lines.size();
    for (const char* shifted :
         {"3,2024/03/07,12:00:00,1,1,A,25,25.0012,C", "4,2024/03/07,12:00:00,1,1,\"A,25,25.0012,C",
          "5,2024/03/07,12:00:00,1,1,L,25,0012,C", "6,2024/03/07,12:00:00,1,1,25.0,C"}) {
        lines.push_back(shifted);
    }
    comm().ReplyAlways(SET_DEMAND_LOG_STATUS, "0," + std::to_string(lines.size()));
    comm().TransferReply({CrJoined(lines), false});
    const DownloadResult result = DownloadLogFiles(*instrument, DownloadRequest{});
    EXPECT_EQ(result.outcome, DownloadOutcome::NotReadings);
    EXPECT_THAT(result.note, HasSubstr("4 lines received were not readings (line 12 has 9 fields"));
    ASSERT_EQ(result.files.size(), 1u);
    const fs::path path = fs::path(result.files[0]->Folder()) / result.files[0]->FileName();
    EXPECT_EQ(path.parent_path(), fs::path(downloads));
    EXPECT_EQ(path.filename().string().find("evil"), std::string::npos) << path;
    for (const auto& e : fs::recursive_directory_iterator(host->files.Root())) {
        const fs::path& p = e.path();
        EXPECT_TRUE(!e.is_regular_file() || p == path || p == result.tracePath ||
                    p == result.rawPath)
            << "stray file " << p;
    }
    const std::string text = FakeFileSystem::ReadFile(path);
    EXPECT_THAT(text, HasSubstr("\n# serial: ../..\\evil\"x ;\n"));
    std::string error;
    const auto rows = ReadingRows(text, &error).value_or(std::vector<CsvRow>{});
    EXPECT_EQ(error, "");
    ASSERT_EQ(rows.size(), readings);
    for (size_t i = 0; i < rows.size(); ++i) {
        for (const std::string& cell : rows[i]) {
            for (unsigned char c : cell) {
                EXPECT_FALSE(c < 0x20 || c == 0x7f) << "control byte in row " << i;
            }
            // A spreadsheet must not run a cell as a formula.
            EXPECT_TRUE(cell.empty() || (cell.front() != '=' && cell.front() != '@')) << cell;
        }
    }
    EXPECT_EQ(rows[0][1], "2024-03-07T12:00:01+00:00");
    EXPECT_EQ(rows[0][4], "say \"hi\"");
    EXPECT_EQ(rows[1][4], "'=HYPERLINK(\"http://x\")");
    EXPECT_EQ(rows[labels.size() + 1][1], "20\"4/03/07 12:00:00");
    EXPECT_EQ(rows[labels.size() + 3][1], "# 2024/03/07 12:00:00");
    EXPECT_EQ(rows[rows.size() - 2][4], "say \"hi\"");
    EXPECT_EQ(rows.back(),
              (CsvRow{"1", "2024-03-07T12:00:01+00:00", "1", "1", "A,B", "25.0012", "C"}));
}

}  // namespace
}  // namespace vesk::test
