#include "tests/testsupport/FakeCommunications.h"

#include <algorithm>
#include <utility>

#include "vesk4710/platform/SettingIds.h"

namespace vesk::test {

void FakeCommunications::BeginRequest(int32_t id, std::string line) {
    log.push_back(std::move(line));
    requestParams.push_back(params_.current);

    // Every armed countdown counts down on every request, so two FailAfter calls keep their
    // own distances; the first to reach zero wins.
    std::optional<AutomationError> failure;
    for (auto it = countdowns_.begin(); it != countdowns_.end();) {
        if (it->remaining <= 1) {
            failure = failure.value_or(it->error);
            it = countdowns_.erase(it);
        } else {
            --it->remaining;
            ++it;
        }
    }
    auto f = failures_.find(id);
    if (!failure && f != failures_.end() && !f->second.empty()) {
        failure = f->second.front();
        f->second.pop_front();
    }
    if (failure) {
        throw *failure;
    }
}

std::string FakeCommunications::ReadSetting(int32_t id, bool flag, const std::string& extra) {
    BeginRequest(id, "Read " + std::to_string(id) + (flag ? "" : " false") +
                         (extra.empty() ? "" : " extra=" + extra));
    auto queued = replies_.find(id);
    if (queued != replies_.end() && !queued->second.empty()) {
        std::string reply = std::move(queued->second.front());
        queued->second.pop_front();
        return reply;
    }
    if (auto always = always_.find(id); always != always_.end()) {
        return always->second;
    }
    auto reply = responder ? responder(id, params_.current) : std::nullopt;
    return reply.value_or("");
}

TransferResult FakeCommunications::Transfer(int32_t id, int32_t expectedCount,
                                            const std::string& value, const TransferSink& sink) {
    BeginRequest(id, "Transfer " + std::to_string(id) + " " + std::to_string(expectedCount) +
                         (value.empty() ? "" : " value=" + value));
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

std::vector<std::string> FakeCommunications::Requests() const {
    std::vector<std::string> out;
    std::copy_if(log.begin(), log.end(), std::back_inserter(out), [](const std::string& line) {
        return line.starts_with("Read ") || line.starts_with("Write ") ||
               line.starts_with("Transfer ");
    });
    return out;
}

std::vector<int32_t> FakeCommunications::Writes() const {
    std::vector<int32_t> out;
    for (const auto& line : log) {
        if (line.starts_with("Write ")) {
            out.push_back(std::stoi(line.substr(6)));
        }
    }
    return out;
}

void FakeCommunications::ScriptInstrument() {
    always_[SET_IDENTIFICATION] = "Vesk,4710,A12345,1.10";
    always_[SET_CONV_PROTECTION] = "1";
    always_[SET_PASSCODE_STATE] = "0";
    always_[SET_NUM_CHANNELS] = "2";
    always_[SET_MODULE_LIST] = "PRT,PRT";
    always_[SET_NUM_MODULES] = "2";
    always_[SET_CHANNEL_STATE] = "1";
    always_[SET_UNITS_READ] = "C";
    always_[SET_AUTO_POWER_READ] = "OFF";
    always_[SET_CAL_DATE_READ] = "2024,1,15";
    always_[SET_CAL_COUNT_READ] = "2";
    always_[SET_CAL_REFERENCE_READ] = "100";
    always_[SET_CAL_VALUE_READ] = "100.02";
    always_[SET_INTERVAL_READ] = "5";
    always_[SET_SCAN_MODE_READ] = "0";
    always_[SET_SCAN_LIST_READ] = "L:1,2;";
}

}  // namespace vesk::test
