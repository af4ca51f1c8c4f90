#pragma once
// Shared by the sources of the logged-data download: LogDownload.cpp runs the transfer,
// DownloadParse.cpp parses its lines into the output files, DownloadFiles.cpp writes the
// trace and the raw copy in the temporary folder.
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/logging/LogDownload.h"
#include "vesk4710/platform/Host.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/StringIds.h"

namespace vesk::detail::download {

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

// The trace of one download. Lines are buffered and flushed at every stage and every 64 KiB
// so that a long parse does not pay a write per line. Once the transfer has arrived a failing
// trace write must not cost the readings, so write failures only silence the trace.
class TraceFile {
  public:
    static constexpr size_t kBufferSize = 1 << 16;

    explicit TraceFile(IFileSystem& fs) : fs_(fs) {}
    ~TraceFile() { Close(); }

    void Open(const std::string& path);
    void Line(std::initializer_list<std::string_view> parts);
    void Flush();
    void Close();
    // Why the trace is short, empty while it is whole.
    const std::string& Error() const { return error_; }

  private:
    void Write(std::string_view text);

    IFileSystem& fs_;
    std::unique_ptr<ITextFile> file_;
    std::string error_;
    std::unique_ptr<char[]> buf_ = std::make_unique<char[]>(kBufferSize);
    size_t used_ = 0;
};

// The raw transfer file. Lines are written through as they arrive, so that even a killed
// process keeps them; what a component hands over only at the end is written then. A failure
// never stops the transfer: it is kept for Finish to report.
class RawCopy {
  public:
    explicit RawCopy(IFileSystem& fs) : fs_(fs) {}

    void Open(const std::string& path);
    void Append(std::string_view line) noexcept;
    // The whole text is in the file once this returns; raises the first failure otherwise.
    void Finish(std::string_view text);

  private:
    void Drop() noexcept;

    IFileSystem& fs_;
    std::unique_ptr<ITextFile> file_;
    size_t written_ = 0;
    std::optional<PendingError> failure_;
};

// Restores the session's link mode however the download ends.
class LinkModeGuard {
  public:
    static constexpr int32_t kDownload = 0;

    explicit LinkModeGuard(ISerialPort& port) : port_(port), saved_(port.LinkMode()) {
        port_.LinkMode(kDownload);
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

    DownloadRun Run();

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

}  // namespace vesk::detail::download
