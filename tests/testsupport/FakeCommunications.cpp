#include "tests/testsupport/FakeCommunications.h"

#include <algorithm>
#include <utility>

namespace vesk::test {

void FakeRequestParams::Set(const char* name, const std::string& value) {
    current[name] = value;
    owner_.log.push_back(std::string(name) + "=" + value);
}

void FakeRequestParams::ClearAll() {
    current.clear();
    owner_.log.emplace_back("ClearAll");
}
void FakeRequestParams::Value(const std::string& value) {
    Set("Value", value);
}
void FakeRequestParams::Channel(const std::string& channel) {
    Set("Channel", channel);
}
void FakeRequestParams::ChannelList(const std::string& list) {
    Set("ChannelList", list);
}
void FakeRequestParams::paramname(const std::string& name) {
    Set("paramname", name);
}
void FakeRequestParams::PointNumber(const std::string& point) {
    Set("PointNumber", point);
}

void FakeSerialPort::PortNumber(int32_t number) {
    portNumber = number;
    owner_.log.push_back("Port.PortNumber=" + std::to_string(number));
}
void FakeSerialPort::BaudRateCode(int32_t code) {
    baudRateCode = code;
    owner_.log.push_back("Port.BaudRateCode=" + std::to_string(code));
}
void FakeSerialPort::AutoClose(int32_t value) {
    autoClose = value;
    owner_.log.push_back("Port.AutoClose=" + std::to_string(value));
}
void FakeSerialPort::LinkMode(int32_t mode) {
    linkMode = mode;
    owner_.log.push_back("Port.LinkMode=" + std::to_string(mode));
}

FakeCommunications::FakeCommunications() : params_(*this), port_(*this) {}

void FakeCommunications::BeginRequest(int32_t id, std::string line) {
    log.push_back(std::move(line));
    requestParams.push_back(params_.current);

    // Count every armed countdown down on every request, so two FailAfter calls keep their
    // own distances; the first to reach zero wins.
    std::optional<AutomationError> failure;
    for (auto it = countdowns_.begin(); it != countdowns_.end();) {
        if (it->remaining <= 1) {
            if (!failure) {
                failure = it->error;
            }
            it = countdowns_.erase(it);
        } else {
            --it->remaining;
            ++it;
        }
    }
    if (!failure) {
        auto f = failures_.find(id);
        if (f != failures_.end() && !f->second.empty()) {
            failure = f->second.front();
            f->second.pop_front();
        }
    }
    if (failure) {
        throw *failure;
    }
}

std::string FakeCommunications::ReadSetting(int32_t id, bool flag, const std::string& extra) {
    std::string line = "Read " + std::to_string(id);
    if (!flag) {
        line += " false";
    }
    if (!extra.empty()) {
        line += " extra=" + extra;
    }
    BeginRequest(id, std::move(line));

    auto queued = replies_.find(id);
    if (queued != replies_.end() && !queued->second.empty()) {
        std::string reply = std::move(queued->second.front());
        queued->second.pop_front();
        return reply;
    }
    auto always = always_.find(id);
    if (always != always_.end()) {
        return always->second;
    }
    if (responder) {
        if (auto reply = responder(id, params_.current)) {
            return *reply;
        }
    }
    return "";
}

void FakeCommunications::WriteSetting(int32_t id) {
    BeginRequest(id, "Write " + std::to_string(id));
}

TransferResult FakeCommunications::Transfer(int32_t id, int32_t expectedCount,
                                            const std::string& value, const TransferSink& sink) {
    std::string line = "Transfer " + std::to_string(id) + " " + std::to_string(expectedCount);
    if (!value.empty()) {
        line += " value=" + value;
    }
    BeginRequest(id, std::move(line));
    if (transfers_.empty()) {
        return {};
    }
    TransferResult r = std::move(transfers_.front());
    transfers_.pop_front();
    for (size_t start = 0; sink && start < r.text.size();) {
        const size_t end = std::min(r.text.find('\r', start), r.text.size() - 1) + 1;
        sink(std::string_view(r.text).substr(start, end - start));
        start = end;
    }
    if (duringTransfer) {
        duringTransfer();
    }
    return r;
}

void FakeCommunications::FolderPath(const std::string& folder) {
    folderPath = folder;
    log.push_back("FolderPath=" + folder);
}

void FakeCommunications::InstrumentCode(int32_t code) {
    log.push_back("InstrumentCode=" + std::to_string(code));
}

void FakeCommunications::Reply(int32_t id, std::string reply) {
    replies_[id].push_back(std::move(reply));
}

void FakeCommunications::ReplyAlways(int32_t id, std::string reply) {
    always_[id] = std::move(reply);
}

void FakeCommunications::Fail(int32_t id, AutomationError error) {
    failures_[id].push_back(std::move(error));
}

void FakeCommunications::FailAfter(size_t requests, AutomationError error) {
    countdowns_.push_back({requests, std::move(error)});
}

void FakeCommunications::TransferReply(TransferResult r) {
    transfers_.push_back(std::move(r));
}

void FakeCommunications::ClearScript() {
    replies_.clear();
    always_.clear();
    failures_.clear();
    transfers_.clear();
    countdowns_.clear();
}

std::vector<std::string> FakeCommunications::Requests() const {
    std::vector<std::string> out;
    for (const auto& line : log) {
        if (line.rfind("Read ", 0) == 0 || line.rfind("Write ", 0) == 0 ||
            line.rfind("Transfer ", 0) == 0) {
            out.push_back(line);
        }
    }
    return out;
}

std::vector<int32_t> FakeCommunications::Writes() const {
    std::vector<int32_t> out;
    for (const auto& line : log) {
        if (line.rfind("Write ", 0) == 0) {
            out.push_back(std::stoi(line.substr(6)));
        }
    }
    return out;
}

}  // namespace vesk::test
