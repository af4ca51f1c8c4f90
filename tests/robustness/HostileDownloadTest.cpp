// Whole downloads whose readings and serials carry hostile text, through the recording fake,
// which delivers bytes no serial line would: the files stay inside the download folder, one
// per label, and every file reads back as well-formed CSV. (Single names and rows: the output
// file's own tests.)
#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "components/probes/Probe.h"
#include "tests/logging/LoggingFixture.h"
#include "tests/robustness/SimulatedLab.h"
#include "tests/robustness/StrictCsv.h"
#include "vesk4710/channel/CVesk4710Channel.h"

namespace vesk::test {
namespace {

namespace fs = std::filesystem;

std::string Line(int seq, int labelNumber, const std::string& label,
                 const std::string& date = "2024/03/07") {
    return std::to_string(seq) + "," + date + ",12:00:00,1," + std::to_string(labelNumber) + "," +
           label + ",25.0012,C";
}

class HostileDownload : public LoggingTest {
  protected:
    void SetUp() override {
        LoggingTest::SetUp();
        host->probeFactory = [] { return probes::Probe::Create(); };
    }

    DownloadResult Download(const std::vector<std::string>& lines, E4710DownloadOption opt,
                            int16_t label = 0) {
        comm().ReplyAlways(SET_DEMAND_LOG_STATUS, "0," + std::to_string(lines.size()));
        comm().TransferReply({CrJoined(lines), false});
        DownloadRequest request;
        request.opt = opt;
        request.label = label;
        return DownloadLogFiles(*instrument, request);
    }

    // Every file the download made is a direct child of the download folder, no two share a
    // path, and nothing else was written anywhere under the fake file system's root.
    void ExpectConfined(const DownloadResult& result) {
        std::set<fs::path> made;
        for (const auto& file : result.files) {
            const fs::path path = fs::path(file->Folder()) / file->FileName();
            EXPECT_EQ(path.parent_path(), fs::path(downloads)) << path;
            EXPECT_LE(file->FileName().size(), 255u);
            EXPECT_NE(file->FileName().front(), '.') << file->FileName();
            EXPECT_TRUE(made.insert(path).second) << "two labels share " << path;
        }
        for (const auto& e : fs::recursive_directory_iterator(host->files.Root())) {
            if (!e.is_regular_file()) {
                continue;
            }
            const bool own = made.count(e.path()) != 0 || e.path() == result.tracePath ||
                             e.path() == result.rawPath;
            EXPECT_TRUE(own) << "stray file " << e.path();
        }
    }

    // The reading rows of a file, failing the test when it is not well-formed.
    std::vector<CsvRow> Rows(const std::shared_ptr<IOutputFile>& file) {
        const fs::path path = fs::path(file->Folder()) / file->FileName();
        std::string error;
        auto rows = ReadingRows(ReadFileText(path), &error);
        EXPECT_TRUE(rows.has_value()) << path.filename() << ": " << error;
        return rows.value_or(std::vector<CsvRow>{});
    }
};

TEST_F(HostileDownload, LabelsAndSerialsNeverLeaveTheDownloadFolderAndKeepOneFileEach) {
    // The instrument's serial from its identification, the probes' from their channels.
    host->comm->ReplyAlways(SET_IDENTIFICATION, "Maker,4710,../..\\evil\"x\x01;,1.10");
    ASSERT_TRUE(instrument->QueryIdentification());
    host->comm->ReplyAlways(SET_NUM_MODULES, "2");
    host->comm->ReplyAlways(SET_NUM_CHANNELS, "2");
    ASSERT_TRUE(instrument->QueryNumChannels());
    ASSERT_TRUE(instrument->QueryNumModules());
    host->comm->ReplyAlways(122, "../../PROBE\x01/\\..");
    ASSERT_TRUE(instrument->GetChannelReference(1)->QuerySerialNumber());

    // Labels whose safe names collide must still get a file each.
    const std::vector<std::string> labels = {"../../../../tmp/escape",
                                             "..",
                                             ".",
                                             "/etc/passwd",
                                             "a\\..\\..\\b",
                                             "esc\x1b[2J",
                                             std::string(5000, 'L'),
                                             std::string(5000, 'L') + "x",
                                             ".hidden",
                                             ""};
    std::vector<std::string> lines;
    for (size_t i = 0; i < labels.size(); ++i) {
        lines.push_back(Line(static_cast<int>(i + 1), static_cast<int>(i + 1), labels[i]));
        lines.push_back(Line(static_cast<int>(i + 100), static_cast<int>(i + 1), labels[i]));
    }
    const DownloadResult result = Download(lines, DOWNLOAD_MULTIPLE_FILES);
    EXPECT_EQ(result.outcome, DownloadOutcome::Written);
    EXPECT_EQ(result.readings, static_cast<int64_t>(lines.size()));
    ASSERT_EQ(result.files.size(), labels.size());
    ExpectConfined(result);
    for (const auto& file : result.files) {
        EXPECT_EQ(file->FileName().find("PROBE"), std::string::npos);
        EXPECT_EQ(file->FileName().find("evil"), std::string::npos);
        const std::string text = ReadFileText(fs::path(file->Folder()) / file->FileName());
        ASSERT_TRUE(ReadStrictCsv(text).has_value()) << file->FileName();
        EXPECT_NE(text.find("\n# serial: ../..\\evil\"x ;\n"), std::string::npos) << text;
        EXPECT_EQ(Rows(file).size(), 2u) << file->FileName();
    }
}

TEST_F(HostileDownload, QuotesControlBytesAndFormulasStayInsideTheirCells) {
    const std::vector<std::string> labels = {"say \"hi\"", "=HYPERLINK(\"http://x\")", "\tlead",
                                             "ctl\x01\x02\x1f", "\""};
    std::vector<std::string> lines;
    for (size_t i = 0; i < labels.size(); ++i) {
        lines.push_back(Line(static_cast<int>(i + 1), 1, labels[i]));
    }
    // The channel, value and unit fields are as hostile as the label.
    lines.push_back("99,2024/03/07,12:00:00,\"1\",1,x,\"25\",=C");
    // Found by fuzzing: a date of the "YYYY/MM/DD" shape was copied unquoted, so a quote broke
    // the file and a control byte reached the cell. A row must not pass for a comment either.
    lines.push_back(Line(100, 1, "A", "20\"4/03/07"));
    lines.push_back(Line(101, 1, "A", "2024/0\x01/07"));
    lines.push_back(Line(102, 1, "A", "# 2024/03/07"));
    const DownloadResult result = Download(lines, DOWNLOAD_SINGLE_FILE);
    ASSERT_EQ(result.files.size(), 1u);
    ExpectConfined(result);
    const auto rows = Rows(result.files[0]);
    ASSERT_EQ(rows.size(), lines.size());
    for (size_t i = 0; i < rows.size(); ++i) {
        for (const std::string& cell : rows[i]) {
            for (unsigned char c : cell) {
                EXPECT_FALSE(c < 0x20 || c == 0x7f) << "control byte in row " << i;
            }
            // A spreadsheet must not run a cell as a formula.
            if (!cell.empty()) {
                EXPECT_TRUE(cell.front() != '=' && cell.front() != '@') << cell;
            }
        }
    }
    EXPECT_EQ(rows[0][1], "2024-03-07T12:00:00+00:00");
    EXPECT_EQ(rows[0][4], "say \"hi\"");
    EXPECT_EQ(rows[1][4], "'=HYPERLINK(\"http://x\")");
    EXPECT_EQ(rows[labels.size() + 1][1], "20\"4/03/07 12:00:00");
    EXPECT_EQ(rows.back()[1], "# 2024/03/07 12:00:00");
}

// A line with more or fewer fields than a reading is left out, never written with its columns
// shifted (a value taken from a label's second half); a label that travels quoted is intact.
TEST_F(HostileDownload, LinesWithoutExactlyAReadingsFieldsAreNeverShifted) {
    const DownloadResult result =
        Download({Line(1, 1, "\"A,B\""), Line(2, 1, "\"say \"\"hi\"\"\""), Line(3, 1, "A,25"),
                  Line(4, 1, "\"A,25"), "5,2024/03/07,12:00:00,1,1,L,25,0012,C",
                  "6,2024/03/07,12:00:00,1,1,25.0,C"},
                 DOWNLOAD_SINGLE_FILE);
    EXPECT_EQ(result.outcome, DownloadOutcome::NotReadings);
    EXPECT_NE(result.note.find("4 lines received were not readings (line 3 has 9 fields"),
              std::string::npos)
        << result.note;
    const auto rows = Rows(result.files.at(0));
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0], (CsvRow{"1", "2024-03-07T12:00:00+00:00", "1", "1", "A,B", "25.0012", "C"}));
    EXPECT_EQ(rows[1][4], "say \"hi\"");
}

}  // namespace
}  // namespace vesk::test
