#pragma once
// The communications component: request parameters, setting reads and writes by identifier
// and the log transfer, spoken over a link (embedded simulator, serial device or TCP).
#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <utility>

#include "components/comm/ILink.h"
#include "components/comm/Protocol.h"
#include "components/comm/RequestParams.h"
#include "vesk4710/platform/ICommunications.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk {
class IRegistry;
}

namespace vesk::comm {

class IoTrace;
struct TraceEntry;

struct CommOptions {
    std::string device = "sim";  // "sim" (embedded simulator), a serial device path,
                                 // "tcp://HOST:PORT", or "port" (serial port of PortNumber)
    int32_t baud = 9600;         // for serial devices given by path
    std::string tracePath;       // I/O trace file, empty = none
    int32_t timeoutMs = 2000;    // reply time-out
    std::shared_ptr<IRegistry> registry;  // port number -> device path ("COMPort<n>")
};

// The instrument code of the 4710, the only one this command table serves.
inline constexpr int32_t kInstrumentCode4710 = 11;

class Communications : public ICommunications {
  public:
    static std::shared_ptr<Communications> Create(const CommOptions& options);
    // With a factory of its own instead of the device text (tests, other programs).
    static std::shared_ptr<Communications> Create(const CommOptions& options, LinkFactory factory);
    ~Communications() override;

    IRequestParams& params() override { return params_; }
    // flag true trims surrounding blanks from the reply; extra is returned in place of an
    // empty reply.
    std::string ReadSetting(int32_t id, bool flag, const std::string& extra) override;
    void WriteSetting(int32_t id) override;
    // Early ends (time-out, dropped link, the instrument's abort, a short count) come back in
    // endedEarly with every reading received so far; only a transfer that never began raises.
    using ICommunications::Transfer;
    TransferResult Transfer(int32_t id, int32_t expectedCount, const std::string& value,
                            const TransferSink& sink) override;
    ISerialPort& Port() override { return port_; }
    void FolderPath(const std::string& folder) override { folderPath_ = folder; }
    const std::string& FolderPath() const { return folderPath_; }
    void InstrumentCode(int32_t code) override { instrumentCode_ = code; }
    int32_t InstrumentCode() const { return instrumentCode_; }

    // Ends the request in flight (from any thread) with kCommCancelled.
    void Cancel();
    // Closes the link; the next request opens it again.
    void Close();
    bool IsOpen() const;
    // The open link, or what would be opened.
    std::string LinkDescription() const;
    // Requests made so far, and why the first one after request `since` failed (among the
    // last few failures): the cause a program can show when an operation reported no more
    // than that it failed.
    uint64_t RequestCount() const;
    std::optional<std::string> FailureSince(uint64_t since) const;
    const CommOptions& Options() const { return options_; }
    // The last reply a read got, untrimmed, with its setting and request number: the digits
    // the instrument sent behind a number a caller was given.
    struct Reply {
        int32_t id = 0;
        uint64_t request = 0;
        std::string text;
    };
    std::optional<Reply> LastRead() const;

  private:
    class SerialSettings : public ISerialPort {
      public:
        explicit SerialSettings(Communications& owner) : owner_(owner) {}
        void PortNumber(int32_t number) override;
        int32_t PortNumber() const override { return portNumber_; }
        void BaudRateCode(int32_t code) override;
        int32_t BaudRateCode() const override { return baudRateCode_; }
        void AutoClose(int32_t value) override { autoClose_ = value; }
        int32_t AutoClose() const override { return autoClose_; }
        void LinkMode(int32_t mode) override { linkMode_ = mode; }
        int32_t LinkMode() const override { return linkMode_; }

      private:
        Communications& owner_;
        int32_t portNumber_ = 1;
        int32_t baudRateCode_ = 6;
        int32_t autoClose_ = 0;
        int32_t linkMode_ = 0;
    };

    Communications(const CommOptions& options, LinkFactory factory);

    const SettingCommand& CommandFor(int32_t id, Access access) const;
    std::shared_ptr<ILink> EnsureLink();
    void DropLink();
    uint32_t NextTag();
    // Sends the request line; on return the link is open and the line is on its way.
    std::shared_ptr<ILink> Send(const SettingCommand& command, const std::string& line,
                                TraceEntry& trace);
    ReplyLine AwaitReply(ILink& link, uint32_t tag, const SettingCommand& command,
                         uint64_t cancelMark, TraceEntry& trace);
    std::string Request(const SettingCommand& command);
    void Finish(TraceEntry& trace);
    // Records why a request failed, in the trace and for FailureSince.
    void Failed(TraceEntry& trace, const AutomationError& error);
    std::string Describe(const SettingCommand& command) const;

    CommOptions options_;
    LinkFactory factory_;
    std::chrono::milliseconds timeout_;
    RequestParams params_;
    SerialSettings port_{*this};
    std::string folderPath_;
    int32_t instrumentCode_ = kInstrumentCode4710;
    std::unique_ptr<IoTrace> trace_;
    uint32_t lastTag_ = 0;

    mutable std::mutex requestMutex_;  // one request at a time
    uint64_t requests_ = 0;
    std::deque<std::pair<uint64_t, std::string>> failures_;  // request number, description
    std::optional<Reply> lastRead_;
    mutable std::mutex linkMutex_;
    std::shared_ptr<ILink> link_;
    std::atomic<uint64_t> cancels_{0};
};

}  // namespace vesk::comm
