// The logged-data download on a fuzzed transfer: carriage-return conversion, line and field
// splitting, one file or one per label. Files stay inside the download folder, each is a
// well-formed CSV with six columns per reading, every received line is accounted for, and the
// raw copy holds exactly what arrived.
#include <algorithm>
#include <filesystem>
#include <set>

#include "components/outputfile/OutputFile.h"
#include "fuzz/support/FuzzSupport.h"
#include "tests/robustness/StrictCsv.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/logging/LogDownload.h"
#include "vesk4710/support/RegistryKeys.h"

using namespace vesk;
namespace fs = std::filesystem;

namespace {

// Lines the download must account for: every CR and LF ends one, blank ones do not count.
int64_t NonBlankLines(const std::string& text) {
    const auto isEnd = [&text](size_t i) { return text[i] == '\r' || text[i] == '\n'; };
    int64_t n = 0;
    for (size_t i = 0; i < text.size(); ++i) {
        n += !isEnd(i) && (i + 1 == text.size() || isEnd(i + 1)) ? 1 : 0;
    }
    return n;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input in(data, size);
    const uint8_t flags = in.Byte();
    const uint8_t label = in.Byte();
    const uint8_t decimals = in.Byte();
    const std::string transfer(in.Rest());

    auto host = std::make_shared<fuzz::FuzzHost>();
    const std::string folder = host->registry->values[kRegDownloadFolder];
    fs::remove_all(folder);
    host->comm->fallback = "0," + std::to_string(1 + transfer.size() % 500);
    host->comm->TransferReply({transfer, (flags & 1) != 0});
    auto unit = CVesk4710::Create(host);
    unit->SetRegistry(host->registry);
    unit->InitializeCommunications();

    DownloadRequest request;
    request.opt = flags & 2 ? DOWNLOAD_MULTIPLE_FILES : DOWNLOAD_SINGLE_FILE;
    request.label = flags & 4 ? static_cast<int16_t>(label) : int16_t{0};
    request.decimals = static_cast<int16_t>(static_cast<int8_t>(decimals) % 8);
    DownloadResult result;
    if (!fuzz::Guard("DownloadLogFiles", [&] { result = DownloadLogFiles(*unit, request); })) {
        return 0;
    }

    if (result.rawFileError.empty() && host->SharedFiles().ReadFile(result.rawPath) != transfer) {
        fuzz::Fail("the raw transfer file differs from what arrived");
    }
    std::set<std::string> paths;
    int64_t rows = 0;
    for (const auto& file : result.files) {
        const fs::path path = fs::path(file->Folder()) / file->FileName();
        if (path.parent_path().lexically_normal() != fs::path(folder).lexically_normal()) {
            fuzz::Fail("a download file left the download folder: " + path.string());
        }
        if (!paths.insert(path.string()).second) {
            fuzz::Fail("two labels were written to one file: " + path.string());
        }
        std::string error;
        const auto readings = test::ReadingRows(host->SharedFiles().ReadFile(path), &error);
        if (!readings) {
            fuzz::Fail("the download file " + path.filename().string() + " is broken: " + error);
        }
        rows += static_cast<int64_t>(readings->size());
    }
    // Nothing but the download files appears in the folder.
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec)) {
        if (!paths.count(entry.path().string())) {
            fuzz::Fail("a stray file in the download folder: " + entry.path().string());
        }
    }
    if (rows != result.readings) {
        fuzz::Fail("the files hold " + std::to_string(rows) + " readings, the download wrote " +
                   std::to_string(result.readings));
    }
    const bool complete = result.outcome == DownloadOutcome::Written ||
                          result.outcome == DownloadOutcome::EndedEarly ||
                          result.outcome == DownloadOutcome::NotReadings;
    if (complete && result.readings + result.skipped != NonBlankLines(transfer)) {
        fuzz::Fail("received lines went missing: " + std::to_string(result.readings) + " + " +
                   std::to_string(result.skipped) + " of " +
                   std::to_string(NonBlankLines(transfer)));
    }
    return 0;
}
