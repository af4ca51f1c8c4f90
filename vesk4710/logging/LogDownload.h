#pragma once
// The logged-data download: transfer, raw copy and trace in the temporary folder, then one
// output file per download or per logging label. DownloadLog runs it interactively; the
// command-line tool and scripting call DownloadLogFiles, which shows no outcome messages and
// hands back the files written.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "vesk4710/core/Enums.h"
#include "vesk4710/platform/IOutputFile.h"
#include "vesk4710/platform/ITextSplitter.h"

namespace vesk {

class CVesk4710;

inline constexpr const char* kTraceFileName = "DNLD4710.LOG";
inline constexpr const char* kRawFileName = "TMPDWNLD.LOG";

// The transfer stopped before its end but delivered readings, which were all written.
inline constexpr int32_t kErrTransferEndedEarly = kObjectErrorBase + 1210;
// Lines of the transfer were no readings: they are in the raw file only.
inline constexpr int32_t kErrNotReadings = kObjectErrorBase + 1211;

struct DownloadRequest {
    E4710DownloadLogOption log = DOWNLOAD_DEMAND_LOG;
    E4710DownloadOption opt = DOWNLOAD_SINGLE_FILE;
    int16_t label = 0;      // 0: every reading; n: the readings of logging label n only
    int16_t decimals = -1;  // decimal places written; negative keeps the values as received
};

// Every outcome but Written, NoReadings and Aborted leaves files marked incomplete (note).
enum class DownloadOutcome : int32_t {
    Written,      // every line received went to its file
    NoReadings,   // count 0 or unknown: nothing transferred (text 337)
    Aborted,      // empty transfer that ended early (text 290)
    EndedEarly,   // the transfer ended early; what arrived was written
    Cancelled,    // the user cancelled the parse; what was parsed was written
    NotReadings,  // lines received were no readings; they are in the raw file only
};

struct DownloadResult {
    DownloadOutcome outcome = DownloadOutcome::Written;
    std::vector<std::shared_ptr<IOutputFile>> files;  // closed, in creation order
    int32_t count = 0;                                // readings the instrument reported
    int64_t lines = 0;                                // lines received
    int64_t readings = 0;                             // readings written
    int64_t skipped = 0;  // non-empty lines that were not readings (kept in the raw file)
    std::string tracePath;
    std::string rawPath;
    std::string rawFileError;  // why the raw copy is missing or short; empty when it is whole
    std::string traceError;    // why the trace is missing or short; empty when it is whole
    std::string statusError;   // why the reading count could not be read (then NoReadings)
    std::string note;     // the comment line that marks the files incomplete; empty when complete
    std::string message;  // what the user was (or would have been) told
};

// Raises AutomationError on any failure (after writing the trace line); the raw transfer file
// is kept and named in the description.
DownloadResult DownloadLogFiles(CVesk4710& instrument, const DownloadRequest& request);
DownloadResult DownloadLogFiles(CVesk4710& instrument, ITextSplitter& lines, ITextSplitter& fields,
                                const DownloadRequest& request);

// The reading format for a number of decimals: "###0", "###0.00", ...; "" when negative.
std::string ReadingFormat(int16_t decimals);

namespace detail {
// Shared by DownloadLog and DownloadLogFiles. Interactive: outcomes and errors are shown
// to the user and the result's files are listed in the downloaded-files dialog; errors do not
// propagate (ok is false). Otherwise errors propagate.
struct DownloadRun {
    DownloadResult result;
    bool ok = true;
};
DownloadRun RunDownload(CVesk4710& instrument, ITextSplitter& lines, ITextSplitter& fields,
                        const DownloadRequest& request, bool interactive);
// Lists the files a download wrote in the downloaded-files dialog.
void ShowFiles(CVesk4710& instrument, const std::vector<std::shared_ptr<IOutputFile>>& files);
}  // namespace detail

}  // namespace vesk
