#include "vesk4710/logging/LogDownload.h"

#include <string_view>
#include <utility>

#include "vesk4710/dialogs/ShowFilesDialog.h"
#include "vesk4710/logging/DownloadInternal.h"
#include "vesk4710/support/Date.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/Paths.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace detail::download {

namespace {

constexpr const char* kRawWriteCaption = "Download Logged Data";

// Every CR followed by LF, as the line splitter expects.
std::string CrToCrLf(const std::string& text) {
    size_t crs = 0;
    for (char c : text) {
        crs += c == '\r' ? 1 : 0;
    }
    std::string out;
    out.reserve(text.size() + crs);
    size_t start = 0;
    for (size_t cr = text.find('\r'); cr != std::string::npos; cr = text.find('\r', start)) {
        out.append(text, start, cr + 1 - start);
        out.push_back('\n');
        start = cr + 1;
    }
    out.append(text, start, std::string::npos);
    return out;
}

// Adds to the pending error's description where the received data is kept.
[[noreturn]] void RethrowKeeping(const std::string& rawPath) {
    const PendingError e = CapturePendingError();
    throw AutomationError(e.number,
                          e.description + " (the received data is kept in '" + rawPath + "')",
                          e.source, e.helpFile, e.helpContext);
}

}  // namespace

DownloadRun Download::Run() {
    DownloadRun run;
    try {
        Steps();
    } catch (...) {
        run.ok = false;
        TraceError();
        CloseAll(CapturePendingError().description);
        trace_.Close();
        linkMode_.reset();
        if (progress_) {
            progress_->Close();
            progress_.reset();
        }
        try {
            if (rawWritten_) {
                RethrowKeeping(result_.rawPath);
            }
            throw;
        } catch (...) {
            if (!interactive_) {
                throw;
            }
            ShowErrorMessage(ui_, LoadResString(phrase_), kMsgCaption);
        }
    }
    run.result = std::move(result_);
    return run;
}

void Download::TraceError() {
    const PendingError e = CapturePendingError();
    trace_.Line({"Error: ", Num(e.number), " - ", e.description, "[Source: ", e.source});
}

void Download::Tell(int32_t textId, DownloadOutcome outcome) {
    result_.outcome = outcome;
    result_.message = LoadResString(textId);
    if (interactive_) {
        ShowInfoMessage(ui_, result_.message, kMsgCaption);
    }
}

void Download::Steps() {
    const std::string temp = fs_.GetSpecialFolder(SpecialFolder::Temporary);
    result_.tracePath = BuildFilePath(fs_, temp, kTraceFileName);
    result_.rawPath = BuildFilePath(fs_, temp, kRawFileName);
    trace_.Open(result_.tracePath);
    trace_.Line({"Preparing to download data from 4710..."});

    format_ = ReadingFormat(req_.decimals);

    trace_.Line({"Initializing communications..."});
    if (!inst_.Communications()) {
        inst_.InitializeCommunications();
    }
    auto comm = inst_.Communications();
    if (!comm) {
        throw AutomationError(kErrObjectRequired, "There is no communications session");
    }
    linkMode_ = std::make_unique<LinkModeGuard>(comm->Port());

    trace_.Line({"Querying log status..."});
    int32_t count = 0;
    bool statusKnown = true;
    if (req_.log == DOWNLOAD_DEMAND_LOG) {
        try {
            statusKnown = inst_.QueryDemandLogStatus();
        } catch (...) {
            // A count that cannot be read ends the download like an empty log.
            statusKnown = false;
            TraceError();
            result_.statusError = CapturePendingError().description;
        }
        if (statusKnown) {
            count = inst_.DemandLogCount();
        }
    }
    result_.count = count;
    trace_.Line({"Count: ", Num(count)});
    if (count <= 0 || !statusKnown) {
        Tell(kResNoReadingsToDownload, DownloadOutcome::NoReadings);
        trace_.Line({"Download finished..."});
        trace_.Close();
        result_.traceError = trace_.Error();
        return;
    }

    trace_.Line({"Downloading data..."});
    trace_.Flush();
    raw_.Open(result_.rawPath);
    const TransferSink keep = [this](std::string_view line) { raw_.Append(line); };
    TransferResult transfer;
    if (req_.label != 0) {
        transfer = comm->Transfer(SET_TRANSFER_LABEL, count, std::string(Num(req_.label)), keep);
    } else {
        transfer = comm->Transfer(SET_TRANSFER_ALL, count, "", keep);
    }
    linkMode_.reset();
    if (transfer.endedEarly) {
        endedEarly_ = transfer.reason.empty() ? std::string("no reason given") : transfer.reason;
    }

    trace_.Line({"Writing downloaded data to temp file..."});
    WriteRawFile(transfer);

    if (transfer.text.empty() && transfer.endedEarly) {
        trace_.Line({"Download aborted..."});
        Tell(kResDownloadAborted, DownloadOutcome::Aborted);
        trace_.Line({"Download finished..."});
        trace_.Close();
        result_.traceError = trace_.Error();
        return;
    }

    trace_.Line({"Preparing to parse downloaded data..."});
    {
        // Only one copy of the transfer is alive after this point: the splitter's.
        std::string converted = CrToCrLf(transfer.text);
        std::string().swap(transfer.text);
        lines_.FS("\n");
        lines_.L(std::move(converted));
    }
    result_.lines = lines_.NF();
    trace_.Line({"Lines to parse: ", Num(result_.lines)});
    fields_.FS(",\r\n");
    // A label holding a comma travels quoted.
    fields_.Quote('"');
    progress_ = ui_.CreateProgress();
    if (progress_) {
        progress_->Status(LoadResString(kResParsingData), 0);
    }
    downloadTime_ = Date::Now().IsoDateTime();
    Parse();
    if (progress_) {
        progress_->Close();
        progress_.reset();
    }

    trace_.Line({"Download finished..."});
    trace_.Close();
    result_.traceError = trace_.Error();
}

void Download::WriteRawFile(const TransferResult& transfer) {
    try {
        raw_.Finish(transfer.text);
        rawWritten_ = true;
    } catch (...) {
        // The reply is still in memory: report, then go on so the output files get it.
        TraceError();
        result_.rawFileError = CapturePendingError().description;
        if (interactive_) {
            ShowErrorMessage(ui_,
                             "attempting to write the downloaded data to a temporary file (" +
                                 result_.rawPath + ")",
                             kRawWriteCaption);
        }
    }
}

}  // namespace detail::download

std::string ReadingFormat(int16_t decimals) {
    if (decimals < 0) {
        return {};
    }
    if (decimals == 0) {
        return "###0";
    }
    return "###0." + std::string(static_cast<size_t>(decimals), '0');
}

namespace detail {

using download::Download;

void ShowFiles(CVesk4710& instrument, const std::vector<std::shared_ptr<IOutputFile>>& files) {
    Host& host = instrument.GetHost();
    try {
        ShowFilesDialog dialog(host);
        dialog.SetFiles(files);
        host.Ui().ShowModal(dialog, nullptr);
    } catch (...) {
        ShowErrorMessage(host.Ui(), LoadResString(kResAttemptingToShowDownloadFiles), kMsgCaption);
    }
}

DownloadRun RunDownload(CVesk4710& instrument, ITextSplitter& lines, ITextSplitter& fields,
                        const DownloadRequest& request, bool interactive) {
    Download download(instrument, lines, fields, request, interactive);
    DownloadRun run = download.Run();
    if (!interactive) {
        return run;
    }
    const bool show = run.ok && !run.result.files.empty();
    const DownloadOutcome outcome = run.result.outcome;
    if (run.ok &&
        (outcome == DownloadOutcome::EndedEarly || outcome == DownloadOutcome::NotReadings)) {
        try {
            throw AutomationError(
                outcome == DownloadOutcome::EndedEarly ? kErrTransferEndedEarly : kErrNotReadings,
                run.result.message);
        } catch (...) {
            ShowErrorMessage(instrument.GetHost().Ui(), LoadResString(kResAttemptingToDownloadLog),
                             kMsgCaption);
        }
        run.ok = false;
    }
    if (show) {
        ShowFiles(instrument, run.result.files);
    }
    return run;
}

}  // namespace detail

DownloadResult DownloadLogFiles(CVesk4710& instrument, ITextSplitter& lines, ITextSplitter& fields,
                                const DownloadRequest& request) {
    return detail::RunDownload(instrument, lines, fields, request, false).result;
}

DownloadResult DownloadLogFiles(CVesk4710& instrument, const DownloadRequest& request) {
    Host& host = instrument.GetHost();
    auto lines = host.CreateTextSplitter();
    auto fields = host.CreateTextSplitter();
    if (!lines || !fields) {
        throw AutomationError(kErrObjectRequired, "The text splitter component is missing",
                              "DownloadLogFiles");
    }
    return DownloadLogFiles(instrument, *lines, *fields, request);
}

}  // namespace vesk
