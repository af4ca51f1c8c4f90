#include "components/comm/Communications.h"

#include "components/comm/CommErrors.h"
#include "components/comm/IoTrace.h"
#include "components/comm/SerialLink.h"
#include "vesk4710/platform/SettingIds.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::comm {

namespace {

using Clock = std::chrono::steady_clock;

// The passcode never reaches the trace.
std::string Redacted(const SettingCommand& command, const std::string& line) {
    if (command.id != SET_PASSCODE) {
        return line;
    }
    size_t at = line.find(command.mnemonic);
    if (at == std::string::npos || at + command.mnemonic.size() >= line.size()) {
        return line;
    }
    return line.substr(0, at + command.mnemonic.size()) + " ***";
}

class TransferParams : public ParamLookup {
  public:
    TransferParams(int32_t count, const std::string& value)
        : count_(std::to_string(count)), value_(value) {}
    const std::string* Find(Param param) const override {
        if (param == Param::kCount) {
            return &count_;
        }
        if (param == Param::kValue && !value_.empty()) {
            return &value_;
        }
        return nullptr;
    }
    std::string Describe() const {
        return value_.empty() ? "Count=" + count_ : "Count=" + count_ + " Value=" + value_;
    }

  private:
    std::string count_;
    std::string value_;
};

// A line as a message quotes it: a short excerpt, saying when it was too long to be a line.
std::string Excerpt(const std::string& line, size_t length = 120) {
    std::string shown = "\"" + Printable(line, length) + "\"";
    if (line.size() > kMaxLineLength) {
        shown += " (longer than " + std::to_string(kMaxLineLength) + " bytes)";
    }
    return shown;
}

}  // namespace

void Communications::SerialSettings::PortNumber(int32_t number) {
    if (number != portNumber_) {
        owner_.Close();  // the next request opens the new port
    }
    portNumber_ = number;
}

void Communications::SerialSettings::BaudRateCode(int32_t code) {
    if (code != baudRateCode_) {
        owner_.Close();
    }
    baudRateCode_ = code;
}

std::shared_ptr<Communications> Communications::Create(const CommOptions& options) {
    return Create(options, nullptr);
}

std::shared_ptr<Communications> Communications::Create(const CommOptions& options,
                                                       LinkFactory factory) {
    return std::shared_ptr<Communications>(new Communications(options, std::move(factory)));
}

Communications::Communications(const CommOptions& options, LinkFactory factory)
    : options_(options),
      factory_(factory ? std::move(factory) : LinkFactory(OpenLink)),
      timeout_(options.timeoutMs > 0 ? options.timeoutMs : 2000) {
    if (!options_.tracePath.empty()) {
        trace_ = std::make_unique<IoTrace>(options_.tracePath);
    }
}

Communications::~Communications() = default;

const SettingCommand& Communications::CommandFor(int32_t id, Access access) const {
    if (instrumentCode_ != kInstrumentCode4710) {
        throw CommError(kCommUnsupportedInstrument,
                        "The instrument code " + std::to_string(instrumentCode_) +
                            " is not served by this component (only " +
                            std::to_string(kInstrumentCode4710) + ", the 4710)");
    }
    const SettingCommand* command = FindSetting(id);
    if (command == nullptr) {
        throw CommError(kCommUnknownSetting,
                        "The setting identifier " + std::to_string(id) + " is not known");
    }
    if (command->access != access) {
        static constexpr const char* kWhat[] = {"read", "written", "transferred"};
        throw CommError(kCommUnknownSetting, "The setting " + std::to_string(id) + " (" +
                                                 std::string(command->meaning) + ") cannot be " +
                                                 kWhat[static_cast<int>(access)]);
    }
    return *command;
}

std::string Communications::Describe(const SettingCommand& command) const {
    return "setting " + std::to_string(command.id) + " (" + std::string(command.mnemonic) + ")";
}

uint32_t Communications::NextTag() {
    lastTag_ = comm::NextTag(lastTag_, ClockTag(Clock::now()));
    return lastTag_;
}

std::shared_ptr<ILink> Communications::EnsureLink() {
    std::lock_guard lock(linkMutex_);
    if (link_) {
        return link_;
    }
    LinkRequest request;
    request.device = options_.device;
    request.portNumber = port_.PortNumber();
    request.timeout = timeout_;
    request.registry = options_.registry;
    request.baud = options_.baud;
    if (request.device.empty() || request.device == "port") {
        auto baud = BaudFromCode(port_.BaudRateCode());
        if (!baud) {
            throw CommError(
                kCommLinkUnavailable,
                "The baud-rate code " + std::to_string(port_.BaudRateCode()) + " is not known");
        }
        request.baud = *baud;
    }
    link_ = factory_(request);
    if (!link_) {
        throw CommError(kCommLinkUnavailable, "No link could be opened to " + request.device);
    }
    return link_;
}

void Communications::DropLink() {
    std::lock_guard lock(linkMutex_);
    link_.reset();
}

void Communications::Close() {
    DropLink();
}

bool Communications::IsOpen() const {
    std::lock_guard lock(linkMutex_);
    return link_ != nullptr;
}

std::string Communications::LinkDescription() const {
    std::lock_guard lock(linkMutex_);
    return link_ ? link_->Describe() : options_.device;
}

void Communications::Cancel() {
    ++cancels_;
    std::shared_ptr<ILink> link;
    {
        std::lock_guard lock(linkMutex_);
        link = link_;
    }
    if (link) {
        link->Cancel();
    }
}

std::optional<Communications::Reply> Communications::LastRead() const {
    std::lock_guard lock(requestMutex_);
    return lastRead_;
}

uint64_t Communications::RequestCount() const {
    std::lock_guard lock(requestMutex_);
    return requests_;
}

std::optional<std::string> Communications::FailureSince(uint64_t since) const {
    std::lock_guard lock(requestMutex_);
    for (const auto& [request, description] : failures_) {
        if (request > since) {
            return description;
        }
    }
    return std::nullopt;
}

void Communications::Failed(TraceEntry& trace, const AutomationError& error) {
    constexpr size_t kKept = 16;
    if (failures_.size() == kKept) {
        failures_.pop_front();
    }
    failures_.emplace_back(requests_, error.Description());
    trace.received += " [error: " + error.Description() + "]";
    Finish(trace);
}

void Communications::Finish(TraceEntry& trace) {
    if (trace_) {
        trace_->Record(trace);
    }
    if (port_.AutoClose() != 0) {
        DropLink();
    }
}

std::shared_ptr<ILink> Communications::Send(const SettingCommand& command, const std::string& line,
                                            TraceEntry& trace) {
    std::shared_ptr<ILink> link = EnsureLink();
    trace.sent = Redacted(command, line);
    if (!link->WriteLine(line)) {
        DropLink();
        throw CommError(kCommLinkDropped, "The link to the instrument (" + link->Describe() +
                                              ") was dropped while sending " + Describe(command));
    }
    return link;
}

ReplyLine Communications::AwaitReply(ILink& link, uint32_t tag, const SettingCommand& command,
                                     uint64_t cancelMark, TraceEntry& trace) {
    auto deadline = Clock::now() + timeout_;
    while (true) {
        if (cancels_.load() != cancelMark) {
            throw CommError(kCommCancelled,
                            "The request for " + Describe(command) + " was cancelled");
        }
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        ReadResult r = link.ReadLine(left.count() > 0 ? left : std::chrono::milliseconds(0));
        switch (r.status) {
            case ReadStatus::kLine: {
                auto reply = ParseReplyLine(r.line);
                if (!reply || reply->tag != tag) {
                    auto other = reply ? std::optional(reply->tag) : LeadingTag(r.line);
                    if (other && *other != tag) {
                        // A late reply to an earlier request (one that timed out, or the rest
                        // of a transfer that ended early): it answers nothing now.
                        trace.NoteLate(r.line);
                        continue;
                    }
                    trace.received = Printable(r.line);
                    throw CommError(kCommMalformedReply,
                                    "The instrument's reply to " + Describe(command) +
                                        " is not in the expected form: " + Excerpt(r.line));
                }
                return *reply;
            }
            case ReadStatus::kTimeout:
                throw CommError(kCommTimeout, "The instrument did not reply to " +
                                                  Describe(command) + " within " +
                                                  std::to_string(timeout_.count()) + " ms");
            case ReadStatus::kDropped: {
                std::string where = link.Describe();
                DropLink();
                throw CommError(kCommLinkDropped, "The link to the instrument (" + where +
                                                      ") was dropped while waiting for the "
                                                      "reply to " +
                                                      Describe(command));
            }
            case ReadStatus::kCancelled:
                if (cancels_.load() != cancelMark) {
                    throw CommError(kCommCancelled,
                                    "The request for " + Describe(command) + " was cancelled");
                }
                continue;  // a cancel meant for an earlier request
        }
    }
}

std::string Communications::Request(const SettingCommand& command) {
    TraceEntry trace;
    trace.id = command.id;
    trace.params = params_.Describe(command.id == SET_PASSCODE);
    uint64_t cancelMark = cancels_.load();
    ++requests_;
    try {
        uint32_t tag = NextTag();
        std::string line = FormatRequest(tag, command, params_);
        std::shared_ptr<ILink> link = Send(command, line, trace);
        ReplyLine reply = AwaitReply(*link, tag, command, cancelMark, trace);
        trace.received += Printable(reply.payload);
        if (auto error = ParseErrorReply(reply.payload)) {
            throw InstrumentErrorFor(error->code, error->text, Describe(command));
        }
        if (command.access == Access::kWrite && reply.payload != kReplyOk) {
            throw CommError(kCommMalformedReply, "The instrument did not acknowledge " +
                                                     Describe(command) + ": " +
                                                     Excerpt(reply.payload));
        }
        Finish(trace);
        return std::move(reply.payload);
    } catch (const AutomationError& e) {
        Failed(trace, e);
        throw;
    }
}

std::string Communications::ReadSetting(int32_t id, bool flag, const std::string& extra) {
    std::lock_guard lock(requestMutex_);
    std::string reply = Request(CommandFor(id, Access::kRead));
    lastRead_ = Reply{id, requests_, reply};
    if (flag) {
        reply = std::string(Trim(reply));
    }
    return reply.empty() ? extra : reply;
}

void Communications::WriteSetting(int32_t id) {
    std::lock_guard lock(requestMutex_);
    Request(CommandFor(id, Access::kWrite));
}

TransferResult Communications::Transfer(int32_t id, int32_t expectedCount, const std::string& value,
                                        const TransferSink& sink) {
    std::lock_guard lock(requestMutex_);
    const SettingCommand& command = CommandFor(id, Access::kTransfer);
    TransferParams params(expectedCount, value);
    TraceEntry trace;
    trace.id = id;
    trace.params = params.Describe();
    uint64_t cancelMark = cancels_.load();
    TransferResult result;
    int64_t received = 0;
    std::string ending;
    ++requests_;
    try {
        uint32_t tag = NextTag();
        std::shared_ptr<ILink> link = Send(command, FormatRequest(tag, command, params), trace);
        ReplyLine first = AwaitReply(*link, tag, command, cancelMark, trace);
        trace.received += Printable(first.payload);
        if (auto error = ParseErrorReply(first.payload)) {
            throw InstrumentErrorFor(error->code, error->text, Describe(command));
        }
        auto announced = ParseMarker(first.payload, kBeginMarker);
        if (!announced) {
            throw CommError(kCommMalformedReply,
                            "The instrument's reply to " + Describe(command) +
                                " does not begin a transfer: " + Excerpt(first.payload));
        }
        // Each line gets the full time-out: a long log at a slow rate is still moving.
        while (ending.empty()) {
            ReadResult r;
            if (cancels_.load() != cancelMark) {
                // Cancelled between lines: as early an end as one that met a waiting read.
                ending = "cancelled";
            } else if (r = link->ReadLine(timeout_); r.status == ReadStatus::kTimeout) {
                ending = "time-out after " + std::to_string(timeout_.count()) + " ms";
            } else if (r.status == ReadStatus::kDropped) {
                ending = "link dropped";
                DropLink();
            } else if (r.status == ReadStatus::kCancelled) {
                if (cancels_.load() == cancelMark) {
                    continue;  // a cancel meant for an earlier request
                }
                ending = "cancelled";
            } else if (auto line = ParseReplyLine(r.line); !line) {
                ending = "malformed line " + Excerpt(r.line, 60);
            } else if (line->tag != tag) {
                trace.NoteLate(r.line);
                continue;
            } else if (auto end = ParseMarker(line->payload, kEndMarker)) {
                if (*end != received) {
                    ending = "the instrument counted " + std::to_string(*end) + " lines, " +
                             std::to_string(received) + " arrived";
                } else {
                    ending = line->payload;
                    break;
                }
            } else if (line->payload.rfind(kAbortMarker, 0) == 0 ||
                       line->payload.rfind(kErrorPrefix, 0) == 0) {
                ending = Printable(line->payload);
            } else {
                const size_t start = result.text.size();
                result.text += line->payload;
                result.text += '\r';
                ++received;
                if (sink) {
                    sink(std::string_view(result.text).substr(start));
                }
                continue;
            }
            result.endedEarly = true;
            result.reason = ending;
        }
        trace.received += ", " + std::to_string(received) + " lines, " +
                          (result.endedEarly ? "ended early: " : "") + ending;
        Finish(trace);
        return result;
    } catch (const AutomationError& e) {
        Failed(trace, e);
        throw;
    }
}

}  // namespace vesk::comm
