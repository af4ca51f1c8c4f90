#pragma once
// An instrument on the recording fake with the real text splitter and output files, and
// helpers to script log transfers and read what a download left behind.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "components/outputfile/OutputFile.h"
#include "components/splitter/TextSplitter.h"
#include "tests/testsupport/EnvGuard.h"
#include "tests/testsupport/Fakes.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/logging/LogDownload.h"

namespace vesk::test {

// One transfer line as the instrument sends it.
inline std::string Reading(int seq, int labelNumber, const std::string& label,
                           const std::string& value, const std::string& unit = "C",
                           int channel = 1) {
    return std::to_string(seq) + ",2024/03/07,12:00:" + (seq < 10 ? "0" : "") +
           std::to_string(seq % 60) + "," + std::to_string(channel) + "," +
           std::to_string(labelNumber) + "," + label + "," + value + "," + unit;
}

// A request's line in the communications log: "Read 280", "Transfer 278 2".
inline std::string Req(const char* kind, int32_t id, const std::string& rest = "") {
    return std::string(kind) + " " + std::to_string(id) + (rest.empty() ? "" : " " + rest);
}

// Lines joined by lone carriage returns, as the transfer delivers them.
inline std::string CrJoined(const std::vector<std::string>& lines) {
    std::string out;
    for (size_t i = 0; i < lines.size(); ++i) {
        out += lines[i];
        if (i + 1 < lines.size()) {
            out += '\r';
        }
    }
    return out;
}

inline std::vector<std::string> SplitLines(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        out.push_back(line);
    }
    return out;
}

// The reading rows of a download file's text: what follows the column line, but comments.
inline std::vector<std::string> RowsAfterColumns(const std::string& text) {
    auto all = SplitLines(text);
    auto columns =
        std::find(all.begin(), all.end(), "sequence,time,channel,label_number,label,value,unit");
    EXPECT_NE(columns, all.end()) << "no column line in:\n" << text;
    std::vector<std::string> rows(columns == all.end() ? all.end() : columns + 1, all.end());
    std::erase_if(rows, [](const std::string& row) { return row.rfind("# ", 0) == 0; });
    return rows;
}

class LoggingTest : public ::testing::Test {
  protected:
    void SetUp() override {
        // Times in the rows carry this computer's offset: UTC here.
        env.Set("TZ", "UTC0");
        tzset();
        host = std::make_shared<FakeHost>();
        host->splitterFactory = [] { return TextSplitter::Create(); };
        FakeHost* h = host.get();
        host->outputFileFactory = [h] { return OutputFile::Create(h->registry, h->ui, h->files); };
        instrument = CVesk4710::Create(host);
        instrument->SetRegistry(host->registry);
        ASSERT_TRUE(instrument->InitializeCommunications());
        downloads = host->files.Root() + "/downloads";
        host->registry->values["DownloadFolder"] = downloads;
        lines = TextSplitter::Create();
        fields = TextSplitter::Create();
        comm().log.clear();
    }

    FakeCommunications& comm() { return *host->comm; }

    // Scripts a demand log holding count readings and the transfer that follows.
    void ScriptLog(int count, std::string reply, bool endedEarly = false) {
        comm().Reply(SET_DEMAND_LOG_STATUS,
                     std::to_string(500 - count) + "," + std::to_string(count));
        comm().TransferReply({std::move(reply), endedEarly});
    }

    bool Download(E4710DownloadOption opt = DOWNLOAD_SINGLE_FILE, int16_t label = 0,
                  int16_t decimals = 2, E4710DownloadLogOption log = DOWNLOAD_DEMAND_LOG) {
        int16_t labelnum = label;
        prompt = false;
        return instrument->DownloadLog(*lines, *fields, log, opt, &labelnum, decimals, &prompt);
    }

    std::string TempPath(const char* name) { return host->files.Root() + "/temp/" + name; }
    std::vector<std::string> Trace() {
        return SplitLines(host->files.ReadFile(TempPath(kTraceFileName)));
    }
    std::string Raw() { return host->files.ReadFile(TempPath(kRawFileName)); }

    // Files in the download folder, sorted by name.
    std::vector<std::string> DownloadedNames() {
        std::vector<std::string> names;
        std::error_code ec;
        for (const auto& e : std::filesystem::directory_iterator(downloads, ec)) {
            names.push_back(e.path().filename().string());
        }
        std::sort(names.begin(), names.end());
        return names;
    }
    // Reading rows of a download file (after the header block and the column line).
    std::vector<std::string> Rows(const std::string& name) {
        return RowsAfterColumns(host->files.ReadFile(downloads + "/" + name));
    }
    // The last line of a download file: the mark of an incomplete one.
    std::string LastLine(const std::string& name) {
        const auto all = SplitLines(host->files.ReadFile(downloads + "/" + name));
        return all.empty() ? std::string() : all.back();
    }
    std::vector<std::string> Prompts() { return host->ui.Prompts(); }
    // The one message box shown must hold every part.
    void ExpectOneBoxHolding(const std::vector<std::string>& parts) {
        ASSERT_EQ(host->ui.boxes.size(), 1u);
        const std::string& text = host->ui.boxes[0].prompt;
        for (const auto& part : parts) {
            EXPECT_NE(text.find(part), std::string::npos) << part << " not in: " << text;
        }
    }

    EnvGuard env;
    std::shared_ptr<FakeHost> host;
    std::shared_ptr<CVesk4710> instrument;
    std::shared_ptr<TextSplitter> lines;
    std::shared_ptr<TextSplitter> fields;
    std::string downloads;
    bool prompt = false;
};

}  // namespace vesk::test
