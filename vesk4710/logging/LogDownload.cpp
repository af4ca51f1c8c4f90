#include "vesk4710/logging/LogDownload.h"

#include <charconv>
#include <initializer_list>
#include <map>
#include <optional>
#include <string_view>
#include <utility>

#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/dialogs/ShowFilesDialog.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/Date.h"
#include "vesk4710/support/Messages.h"
#include "vesk4710/support/Paths.h"
#include "vesk4710/support/StringIds.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {

constexpr size_t kTraceBufferSize = 1 << 16;
constexpr int32_t kLinkModeDownload = 0;
// Fields of a transfer line: seq, date, time, channel, label number, label, value, unit.
constexpr int32_t kReadingFields = 8;
constexpr int32_t kFieldLabel = 6;
constexpr const char* kRawWriteCaption = "Download Logged Data";

// Decimal text of an integer without allocating.
class Num {
  public:
    explicit Num(int64_t v) {
        auto r = std::to_chars(buf_, buf_ + sizeof buf_, v);
        len_ = static_cast<size_t>(r.ptr - buf_);
    }
    operator std::string_view() const { return {buf_, len_}; }

  private:
    char buf_[24];
    size_t len_ = 0;
};

// Another program's download may remove the file between the look and the delete; gone is
// what was wanted.
void DeleteIfPresent(IFileSystem& fs, const std::string& path) {
    if (!fs.FileExists(path)) {
        return;
    }
    try {
        fs.DeleteFile(path);
    } catch (const AutomationError& e) {
        if (e.Number() != kErrFileNotFound) {
            throw;
        }
    }
}

// The trace of one download. Lines are buffered and flushed at every stage and every 64 KiB
// so that a long parse does not pay a write per line. Once the transfer has arrived a failing
// trace write must not cost the readings, so write failures only silence the trace.
class TraceFile {
  public:
    explicit TraceFile(IFileSystem& fs) : fs_(fs) {}
    ~TraceFile() { Close(); }

    void Open(const std::string& path) {
        DeleteIfPresent(fs_, path);
        file_ = fs_.CreateTextFile(path);
    }

    void Line(std::initializer_list<std::string_view> parts) {
        if (!file_) {
            return;
        }
        size_t total = 1;
        for (auto p : parts) {
            total += p.size();
        }
        if (used_ + total > kTraceBufferSize) {
            Flush();
            if (total > kTraceBufferSize) {
                // A giant (garbled) line goes out on its own.
                std::string line;
                line.reserve(total);
                for (auto p : parts) {
                    line.append(p);
                }
                line.push_back('\n');
                Write(line);
                return;
            }
        }
        // Trace pieces are short: a plain loop beats a library call per piece.
        char* out = buf_.get() + used_;
        for (auto p : parts) {
            for (char c : p) {
                *out++ = c;
            }
        }
        *out++ = '\n';
        used_ = static_cast<size_t>(out - buf_.get());
    }

    void Flush() {
        Write(std::string_view(buf_.get(), used_));
        used_ = 0;
    }

    void Close() {
        Flush();
        if (file_) {
            try {
                file_->Close();
            } catch (...) {
                // The trace is diagnostic; its loss is not worth the download, only a word.
                error_ = CapturePendingError().description;
            }
            file_.reset();
        }
    }

    // Why the trace is short, empty while it is whole.
    const std::string& Error() const { return error_; }

  private:
    void Write(std::string_view text) {
        if (!file_ || text.empty()) {
            return;
        }
        try {
            file_->Write(text);
        } catch (...) {
            error_ = CapturePendingError().description;
            file_.reset();
        }
    }

    IFileSystem& fs_;
    std::unique_ptr<ITextFile> file_;
    std::string error_;
    std::unique_ptr<char[]> buf_ = std::make_unique<char[]>(kTraceBufferSize);
    size_t used_ = 0;
};

// The raw transfer file. Lines are written through as they arrive, so that even a killed
// process keeps them; what a component hands over only at the end is written then. A failure
// never stops the transfer: it is kept for Finish to report.
class RawCopy {
  public:
    explicit RawCopy(IFileSystem& fs) : fs_(fs) {}

    void Open(const std::string& path) {
        try {
            DeleteIfPresent(fs_, path);
            file_ = fs_.CreateTextFile(path);
        } catch (...) {
            failure_ = CapturePendingError();
        }
    }

    void Append(std::string_view line) noexcept {
        if (!file_) {
            return;
        }
        try {
            file_->Write(line);
            file_->Flush();
            written_ += line.size();
        } catch (...) {
            failure_ = CapturePendingError();
            failure_->description += " (after " + std::string(Num(written_)) + " bytes)";
            Drop();
        }
    }

    // The whole text is in the file once this returns; raises the first failure otherwise.
    void Finish(std::string_view text) {
        if (!failure_ && written_ < text.size()) {
            try {
                file_->Write(text.substr(written_));
            } catch (...) {
                failure_ = CapturePendingError();
            }
        }
        if (!failure_) {
            std::unique_ptr<ITextFile> file = std::move(file_);
            file->Close();
            return;
        }
        Drop();
        throw AutomationError(failure_->number, failure_->description, failure_->source,
                              failure_->helpFile, failure_->helpContext);
    }

  private:
    void Drop() noexcept {
        try {
            if (file_) {
                file_->Close();
            }
        } catch (...) {
            // Already failing; the first failure is the one reported.
        }
        file_.reset();
    }

    IFileSystem& fs_;
    std::unique_ptr<ITextFile> file_;
    size_t written_ = 0;
    std::optional<PendingError> failure_;
};

// Restores the session's link mode however the download ends.
class LinkModeGuard {
  public:
    explicit LinkModeGuard(ISerialPort& port) : port_(port), saved_(port.LinkMode()) {
        port_.LinkMode(kLinkModeDownload);
    }
    ~LinkModeGuard() {
        try {
            port_.LinkMode(saved_);
        } catch (...) {
            // A dead link reports itself on the next request.
        }
    }
    LinkModeGuard(const LinkModeGuard&) = delete;
    LinkModeGuard& operator=(const LinkModeGuard&) = delete;

  private:
    ISerialPort& port_;
    int32_t saved_;
};

// A line that holds nothing but line ends counts as blank.
bool IsBlank(std::string_view line) {
    for (char c : line) {
        if (c != '\r' && c != '\n') {
            return false;
        }
    }
    return true;
}

// A line as an error message may quote it: short, control bytes shown as '?'.
std::string Excerpt(std::string_view line) {
    constexpr size_t kMax = 60;
    while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) {
        line.remove_suffix(1);
    }
    std::string out;
    for (char c : line.substr(0, kMax)) {
        const auto u = static_cast<unsigned char>(c);
        out.push_back(u < 0x20 || u == 0x7F ? '?' : c);
    }
    return line.size() > kMax ? out + "..." : out;
}

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

class Download {
  public:
    Download(CVesk4710& instrument, ITextSplitter& lines, ITextSplitter& fields,
             const DownloadRequest& request, bool interactive)
        : inst_(instrument),
          host_(instrument.GetHost()),
          ui_(host_.Ui()),
          fs_(host_.Files()),
          lines_(lines),
          fields_(fields),
          req_(request),
          interactive_(interactive),
          trace_(fs_),
          raw_(fs_) {}

    detail::DownloadRun Run();

  private:
    void Steps();
    void WriteRawFile(const TransferResult& transfer);
    void Parse();
    std::shared_ptr<IOutputFile> NewFile(const std::string& label);
    void ParseLine(int32_t i);
    // Marks the files incomplete when something was left out, and closes them.
    void Finish();
    void CloseAll(const std::string& why) noexcept;
    std::string Received() const;
    std::string KeptIn() const;
    void Tell(int32_t textId, DownloadOutcome outcome);
    void TraceError();

    CVesk4710& inst_;
    Host& host_;
    IUiServices& ui_;
    IFileSystem& fs_;
    ITextSplitter& lines_;
    ITextSplitter& fields_;
    DownloadRequest req_;
    bool interactive_;
    TraceFile trace_;
    RawCopy raw_;
    DownloadResult result_;
    std::string format_;
    std::string downloadTime_;
    std::unique_ptr<LinkModeGuard> linkMode_;
    std::unique_ptr<IProgress> progress_;
    // Label text -> index in result_.files.
    std::map<std::string, size_t, std::less<>> byLabel_;
    std::vector<std::string_view> row_;
    bool rawWritten_ = false;
    std::string endedEarly_;    // why the transfer ended early; empty when it did not
    std::string cancelledAt_;   // where the user stopped the parse; empty when it ran through
    std::string firstSkipped_;  // the first line that was no reading
    int32_t phrase_ = kResAttemptingToDownloadLog;
};

detail::DownloadRun Download::Run() {
    detail::DownloadRun run;
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

std::shared_ptr<IOutputFile> Download::NewFile(const std::string& label) {
    const int32_t saved = phrase_;
    phrase_ = kResAttemptingToCreateDownloadFile;
    auto file = host_.CreateOutputFile();
    if (!file) {
        throw AutomationError(kErrObjectRequired, "The output file component is missing");
    }
    // Without a client registry the host's settings still give the download folder.
    file->SetRegistry(inst_.Registry() ? inst_.Registry() : host_.CreateRegistry());
    OutputFileSpec spec;
    spec.model = inst_.Model().empty() ? std::string(kModel4710) : inst_.Model();
    spec.serial = inst_.Serial();
    spec.log = req_.log == DOWNLOAD_AUTO_LOG ? "auto" : "demand";
    spec.label = label;
    spec.downloadTime = downloadTime_;
    spec.valueFormat = format_;
    file->Create(spec);
    result_.files.push_back(file);
    phrase_ = saved;
    return file;
}

void Download::Parse() {
    const bool multiple = req_.opt == DOWNLOAD_MULTIPLE_FILES;
    const int32_t n = lines_.NF();
    if (multiple) {
        trace_.Line({"Creating multiple files..."});
    } else {
        trace_.Line({"Creating single file..."});
        trace_.Line({"Preparing single file..."});
        std::string label;
        if (req_.label != 0) {
            // Every line carries the chosen label; name the file after it.
            for (int32_t i = 1; i <= n && label.empty(); ++i) {
                if (!IsBlank(lines_.f(i))) {
                    fields_.L(std::string(lines_.f(i)));
                    label = std::string(fields_.f(kFieldLabel));
                }
            }
            if (label.empty()) {
                label = "#" + std::string(Num(req_.label));
            }
        }
        NewFile(label);
    }

    const int32_t progressEvery = n >= 100 ? n / 100 : 1;
    for (int32_t i = 1; i <= n; ++i) {
        ParseLine(i);
        ui_.DoEvents();
        if (progress_ && i % progressEvery == 0) {
            progress_->Status(LoadResString(kResParsingData), 100.0 * i / n);
            if (!progress_->Continue()) {
                trace_.Line({"Download cancelled at line ", Num(i), "..."});
                result_.outcome = DownloadOutcome::Cancelled;
                cancelledAt_ = "writing was cancelled after line " + std::string(Num(i)) + " of " +
                               std::string(Num(n));
                break;
            }
        }
    }
    trace_.Line({multiple ? "Closing all files..." : "Closing file..."});
    phrase_ = kResAttemptingToDownloadLog;
    Finish();
}

void Download::ParseLine(int32_t i) {
    const std::string_view line = lines_.f(i);
    if (IsBlank(line)) {
        return;
    }
    const bool multiple = req_.opt == DOWNLOAD_MULTIPLE_FILES;
    trace_.Line({"Parsing line ", Num(i), "..."});
    fields_.L(std::string(line));
    const int32_t nf = fields_.NF();
    trace_.Line({"Fields: ", Num(nf)});
    row_.clear();
    for (int32_t j = 1; j <= nf; ++j) {
        row_.push_back(fields_.f(j));
    }
    const Num total(nf);
    for (int32_t j = 1; j <= nf; ++j) {
        trace_.Line({"Field ", Num(j), " of ", total, ": ", row_[static_cast<size_t>(j - 1)]});
    }
    // The piece after the line end is no field. Any other count than a reading's (garbled,
    // cut short, a label with a comma that did not travel quoted) would shift the columns.
    const int32_t own = nf - (line.back() == '\r' || line.back() == '\n' ? 1 : 0);
    if (own != kReadingFields) {
        trace_.Line({"Line ", Num(i), " is not a reading; skipped..."});
        if (result_.skipped++ == 0) {
            firstSkipped_ = "line " + std::string(Num(i)) + " has " + std::string(Num(own)) +
                            " fields where a reading has " + std::string(Num(kReadingFields)) +
                            ": \"" + Excerpt(line) + "\"";
        }
        return;
    }

    IOutputFile* target = nullptr;
    if (multiple) {
        trace_.Line({"Determining file index to write to..."});
        const std::string_view label = row_[kFieldLabel - 1];
        auto it = byLabel_.find(label);
        if (it == byLabel_.end()) {
            trace_.Line({"Creating new file..."});
            trace_.Line({"Preparing new file..."});
            std::string name(label);
            if (name.empty()) {
                name = "#" + std::string(row_[kFieldLabel - 2]);
            }
            NewFile(name);
            it = byLabel_.emplace(std::string(label), result_.files.size() - 1).first;
        }
        target = result_.files[it->second].get();
        trace_.Line({"Writing to file ", Num(static_cast<int64_t>(it->second) + 1), "..."});
    } else {
        target = result_.files.front().get();
    }

    trace_.Line({"Updating file..."});
    target->WriteReading(row_);
    ++result_.readings;
}

std::string Download::Received() const {
    return "incomplete download: " + std::string(Num(result_.readings)) + " readings received; ";
}

std::string Download::KeptIn() const {
    return rawWritten_ ? "; every line received is kept in '" + result_.rawPath + "'"
                       : std::string();
}

void Download::Finish() {
    std::string why;
    const auto add = [&why](const std::string& part) {
        if (!part.empty()) {
            why += why.empty() ? part : "; " + part;
        }
    };
    add(endedEarly_.empty() ? std::string() : "the transfer ended early (" + endedEarly_ + ")");
    add(cancelledAt_);
    if (result_.skipped > 0) {
        add(std::string(Num(result_.skipped)) + " lines received were not readings (" +
            firstSkipped_ + ")");
    }
    if (!why.empty()) {
        result_.note = Received() + why + KeptIn();
        trace_.Line({"Download incomplete: ", result_.note});
        for (auto& file : result_.files) {
            file->WriteComment(result_.note);
        }
    }
    for (auto& file : result_.files) {
        file->Close();
    }
    if (!endedEarly_.empty()) {
        result_.outcome = DownloadOutcome::EndedEarly;
        result_.message = "The transfer ended early (" + endedEarly_ + "); the " +
                          std::string(Num(result_.readings)) +
                          " readings received were written to files marked incomplete" + KeptIn();
    } else if (result_.outcome == DownloadOutcome::Written && result_.skipped > 0) {
        result_.outcome = DownloadOutcome::NotReadings;
        result_.message = std::string(Num(result_.skipped)) +
                          " lines received were not readings and are left out of the files, " +
                          "which are marked incomplete: " + firstSkipped_ + KeptIn();
    }
}

void Download::CloseAll(const std::string& why) noexcept {
    // What was written stays, marked: the files are all that holds the readings when the raw
    // copy failed too.
    for (auto& file : result_.files) {
        try {
            file->WriteComment(Received() + why);
            file->Close();
        } catch (...) {
            // Already on the error path; the first error is the one reported.
        }
    }
}

}  // namespace

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
