#pragma once
// Recording, scripted communications: every request and parameter write is logged in order
// as a text line, and replies come from a per-identifier script.
#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "vesk4710/platform/ICommunications.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::test {

// A read as FakeCommunications logs it.
inline std::string Read(int32_t id) {
    return "Read " + std::to_string(id);
}

class FakeCommunications;

class FakeRequestParams : public IRequestParams {
  public:
    explicit FakeRequestParams(std::vector<std::string>& log) : log_(log) {}
    void ClearAll() override {
        current.clear();
        log_.emplace_back("ClearAll");
    }
    void Value(const std::string& value) override { Set("Value", value); }
    void Channel(const std::string& channel) override { Set("Channel", channel); }
    void ChannelList(const std::string& list) override { Set("ChannelList", list); }
    void paramname(const std::string& name) override { Set("paramname", name); }
    void PointNumber(const std::string& point) override { Set("PointNumber", point); }

    // Parameters set since the last ClearAll, by name.
    std::map<std::string, std::string> current;

  private:
    void Set(const char* name, const std::string& value) {
        current[name] = value;
        log_.push_back(std::string(name) + "=" + value);
    }
    std::vector<std::string>& log_;
};

class FakeSerialPort : public ISerialPort {
  public:
    explicit FakeSerialPort(std::vector<std::string>& log) : log_(log) {}
    void PortNumber(int32_t number) override { Set("PortNumber", portNumber, number); }
    int32_t PortNumber() const override { return portNumber; }
    void BaudRateCode(int32_t code) override { Set("BaudRateCode", baudRateCode, code); }
    int32_t BaudRateCode() const override { return baudRateCode; }
    void AutoClose(int32_t value) override { Set("AutoClose", autoClose, value); }
    int32_t AutoClose() const override { return autoClose; }
    void LinkMode(int32_t mode) override { Set("LinkMode", linkMode, mode); }
    int32_t LinkMode() const override { return linkMode; }

    int32_t portNumber = 0;
    int32_t baudRateCode = 0;
    int32_t autoClose = 0;
    int32_t linkMode = 0;

  private:
    void Set(const char* name, int32_t& field, int32_t value) {
        field = value;
        log_.push_back(std::string("Port.") + name + "=" + std::to_string(value));
    }
    std::vector<std::string>& log_;
};

// Log lines: "ClearAll", "Value=C", "Channel=1", "ChannelList=1,2", "paramname=A4",
// "PointNumber=2", "Read 168" (flag true), "Read 18 false", "Read 168 extra=x" (non-empty
// third argument), "Write 169", "Transfer 278 500 value=3" ("Transfer 278 500" without a
// value), "Port.LinkMode=2", "FolderPath=/x", "InstrumentCode=11".
class FakeCommunications : public ICommunications {
  public:
    FakeCommunications() : params_(log), port_(log) {}
    FakeCommunications(const FakeCommunications&) = delete;
    FakeCommunications& operator=(const FakeCommunications&) = delete;

    IRequestParams& params() override { return params_; }
    std::string ReadSetting(int32_t id, bool flag, const std::string& extra) override;
    void WriteSetting(int32_t id) override { BeginRequest(id, "Write " + std::to_string(id)); }
    // Hands the scripted text to the sink line by line (each with its CR), as a link would.
    using ICommunications::Transfer;
    TransferResult Transfer(int32_t id, int32_t expectedCount, const std::string& value,
                            const TransferSink& sink) override;
    ISerialPort& Port() override { return port_; }
    void FolderPath(const std::string& folder) override {
        folderPath = folder;
        log.push_back("FolderPath=" + folder);
    }
    void InstrumentCode(int32_t code) override {
        log.push_back("InstrumentCode=" + std::to_string(code));
    }

    // Script. Reply queues one answer for the next read of id (FIFO per id); when the queue
    // is empty the ReplyAlways answer of id is used, then responder, then an empty reply.
    void Reply(int32_t id, std::string reply) { replies_[id].push_back(std::move(reply)); }
    void ReplyAlways(int32_t id, std::string reply) { always_[id] = std::move(reply); }
    void ScriptInstrument();  // two channels and a passcode, all that QueryInfo reads
    // The next request (read, write or transfer) of id raises error; queued per id.
    void Fail(int32_t id, AutomationError error) { failures_[id].push_back(std::move(error)); }
    // The Nth request from now raises (1 or 0: the very next one).
    void FailAfter(size_t requests, AutomationError error) {
        countdowns_.push_back({requests, std::move(error)});
    }
    // Queues the result of the next Transfer; when none is queued Transfer returns {"", false}.
    void TransferReply(TransferResult r) { transfers_.push_back(std::move(r)); }

    // Called inside Transfer once every line went to the sink: where a killed process stops.
    std::function<void()> duringTransfer;
    // Asked for a read's reply when nothing is scripted for the id; sees the parameters set.
    std::function<std::optional<std::string>(int32_t id,
                                             const std::map<std::string, std::string>& params)>
        responder;

    std::vector<std::string> log;
    // Only the "Read ..."/"Write ..."/"Transfer ..." lines.
    std::vector<std::string> Requests() const;
    // Parameters in force at each request, parallel to Requests().
    std::vector<std::map<std::string, std::string>> requestParams;
    // Identifiers of the writes, in order.
    std::vector<int32_t> Writes() const;
    std::string folderPath;

    FakeSerialPort& SerialPort() { return port_; }

  private:
    void BeginRequest(int32_t id, std::string line);

    FakeRequestParams params_;
    FakeSerialPort port_;
    std::map<int32_t, std::deque<std::string>> replies_;
    std::map<int32_t, std::string> always_;
    std::map<int32_t, std::deque<AutomationError>> failures_;
    std::deque<TransferResult> transfers_;
    struct Countdown {
        size_t remaining;
        AutomationError error;
    };
    std::vector<Countdown> countdowns_;
};

}  // namespace vesk::test
