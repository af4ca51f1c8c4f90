#include "recorder/MqttPublisher.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <mosquitto.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "components/readingfile/ReadingFile.h"
#include "recorder/Store.h"

namespace vesk::rec {

namespace {

using Clock = std::chrono::steady_clock;

// Unacknowledged readings at most: enough to fill the link to a broker on the lab's network.
constexpr size_t kWindow = 500;
constexpr Millis kLoopWait{250};
constexpr Millis kConnectTimeout{10000};
constexpr Millis kSaveEvery{5000};
constexpr Millis kStatusEvery{2000};
constexpr Millis kGoodbyeWait{2000};

void InitLibrary() {
    static const int once = mosquitto_lib_init();
    (void)once;
}

std::string Utc(TimeUs time) {
    std::string text = files::IsoTime(time, 6);
    const size_t offset = text.rfind("+00:00");
    return offset == std::string::npos ? text : text.substr(0, offset) + "Z";
}

}  // namespace

MqttPublisher::MqttPublisher(MqttConfig config, RetryPolicy retry, std::string database,
                             std::string instrument,
                             std::shared_ptr<const std::atomic<int64_t>> committed, Log log)
    : config_(std::move(config)),
      retry_(retry),
      instrument_(std::move(instrument)),
      committed_(std::move(committed)),
      log_(std::move(log)),
      store_(std::make_unique<Store>(database, true)) {
    InitLibrary();
    // The mark is saved without waiting for the disk: one lost in a power cut only means
    // readings sent again, which their sequence identifies.
    store_->Db().exec("PRAGMA synchronous=NORMAL");
    SQLite::Statement q(store_->Db(), "SELECT id FROM instruments WHERE name = ?");
    q.bind(1, instrument_);
    if (q.executeStep()) {
        instrumentId_ = q.getColumn(0).getInt64();
    }
    savedMark_ = store_->PublishedUpTo(OutputName(instrument_));
    acknowledged_ = savedMark_;
    if (config_.clientId.empty()) {
        config_.clientId = "vesk4710-" + (HostName().empty() ? "host" : HostName());
    }
}

MqttPublisher::~MqttPublisher() {
    Stop();
}

std::string MqttPublisher::ReadingTopic(int32_t channel) const {
    return config_.topicPrefix + "/" + instrument_ + "/" + std::to_string(channel) + "/reading";
}

std::string MqttPublisher::StatusTopic() const {
    return config_.topicPrefix + "/" + instrument_ + "/status";
}

void MqttPublisher::Start() {
    if (!thread_.joinable()) {
        stopping_ = false;
        thread_ = std::thread([this] { Run(); });
    }
}

void MqttPublisher::Stop() {
    {
        std::lock_guard lock(mutex_);
        stopping_ = true;
    }
    wake_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

void MqttPublisher::Wait(Millis pause) {
    std::unique_lock lock(mutex_);
    wake_.wait_for(lock, pause, [this] { return stopping_.load(); });
}

bool MqttPublisher::Connect() {
    const std::string id = config_.clientId + "-" + instrument_;
    mosq_ = mosquitto_new(id.c_str(), true, this);
    if (mosq_ == nullptr) {
        Drop("no memory for a client");
        return false;
    }
    mosquitto_connect_callback_set(mosq_, [](mosquitto*, void* self, int rc) {
        auto* p = static_cast<MqttPublisher*>(self);
        p->handshaking_ = false;
        if (rc != 0) {
            p->Drop(std::string("the broker refused the connection: ") +
                    mosquitto_connack_string(rc));
            return;
        }
        p->connected_ = true;
        p->announceConnect_ = true;
    });
    mosquitto_publish_callback_set(mosq_, [](mosquitto*, void* self, int mid) {
        static_cast<MqttPublisher*>(self)->Acked(mid);
    });
    std::string will;
    try {
        will = StatusPayload(false);
    } catch (const std::exception&) {
        // The database is busy or gone: the will still says offline.
        will = nlohmann::json{{"state", "offline"}, {"instrument", instrument_}}.dump();
    }
    int rc = mosquitto_will_set(mosq_, StatusTopic().c_str(), static_cast<int>(will.size()),
                                will.data(), 1, true);
    if (rc == MOSQ_ERR_SUCCESS && !config_.username.empty()) {
        rc = mosquitto_username_pw_set(
            mosq_, config_.username.c_str(),
            config_.password.empty() ? nullptr : config_.password.c_str());
    }
    if (rc == MOSQ_ERR_SUCCESS && config_.tls) {
        auto orNull = [](const std::string& s) { return s.empty() ? nullptr : s.c_str(); };
        rc = mosquitto_tls_set(mosq_, orNull(config_.caFile),
                               config_.caFile.empty() ? "/etc/ssl/certs" : nullptr,
                               orNull(config_.certFile), orNull(config_.keyFile), nullptr);
    }
    if (rc == MOSQ_ERR_SUCCESS) {
        rc = mosquitto_connect_async(
            mosq_, config_.host.c_str(), config_.port,
            static_cast<int>(
                std::chrono::duration_cast<std::chrono::seconds>(config_.keepAlive).count()));
    }
    if (rc != MOSQ_ERR_SUCCESS) {
        Drop(rc == MOSQ_ERR_ERRNO
                 ? mosquitto_strerror(rc) + std::string(" (") + std::strerror(errno) + ")"
                 : mosquitto_strerror(rc));
        return false;
    }
    handshaking_ = true;
    connectDeadline_ = Clock::now() + kConnectTimeout;
    return true;
}

void MqttPublisher::Drop(const std::string& why) {
    if (!announcedDown_ && !stopping_) {
        const std::string reason =
            !why.empty() && why.back() == '.' ? why.substr(0, why.size() - 1) : why;
        log_(instrument_ + ": MQTT broker " + config_.host + ":" + std::to_string(config_.port) +
             ": " + reason + "; readings wait in the database");
        announcedDown_ = true;
    }
    connected_ = false;
    handshaking_ = false;
    // What was in flight is sent again from the acknowledged mark on the next connection.
    inFlight_.clear();
    sentUpTo_ = acknowledged_;
    checkedUpTo_ = -1;
    lastStatus_.clear();
    statusMid_ = -1;
}

void MqttPublisher::Acked(int mid) {
    if (mid == statusMid_) {
        statusAcked_ = true;
        return;
    }
    for (InFlight& f : inFlight_) {
        if (f.mid == mid) {
            f.acked = true;
            break;
        }
    }
    while (!inFlight_.empty() && inFlight_.front().acked) {
        acknowledged_ = inFlight_.front().seq;
        inFlight_.pop_front();
    }
}

void MqttPublisher::SaveMark(bool now) {
    const int64_t mark = acknowledged_;
    if (mark > savedMark_ && (now || Clock::now() - savedAt_ >= kSaveEvery)) {
        try {
            store_->SetPublishedUpTo(OutputName(instrument_), mark);
            savedMark_ = mark;
            savedAt_ = Clock::now();
        } catch (const std::exception& e) {
            // Kept in memory; a later save (or a repeat after a restart) covers it.
            log_(instrument_ + ": " + e.what());
        }
    }
}

std::string MqttPublisher::StatusPayload(bool online) {
    nlohmann::json j = {{"state", online ? "online" : "offline"}, {"instrument", instrument_}};
    for (const InstrumentStatus& s : store_->Status()) {
        if (s.name == instrument_) {
            j["serial"] = s.serial;
            j["recording"] = online ? s.state : "stopped";
            j["last_error"] = s.lastError;
            j["last_error_time"] = s.lastErrorTime != 0 ? Utc(s.lastErrorTime) : "";
            j["gap_reason"] = s.gapSince ? s.gapReason : "";
        }
    }
    return j.dump();
}

void MqttPublisher::SendStatus(bool online) {
    const std::string payload = StatusPayload(online);
    statusCheckedAt_ = Clock::now();
    if (payload == lastStatus_) {
        return;
    }
    statusAcked_ = false;
    if (mosquitto_publish(mosq_, &statusMid_, StatusTopic().c_str(),
                          static_cast<int>(payload.size()), payload.data(), 1,
                          true) == MOSQ_ERR_SUCCESS) {
        lastStatus_ = payload;
    }
}

void MqttPublisher::SendReadings() {
    if (inFlight_.size() >= kWindow) {
        return;
    }
    const int64_t committed = *committed_;
    if (committed <= checkedUpTo_) {
        return;
    }
    const size_t room = kWindow - inFlight_.size();
    SQLite::Statement q(store_->Db(),
                        "SELECT r.seq, r.time_us, s.instrument_serial, s.channel, s.probe_serial, "
                        "s.conversion, s.unit, r.value_text, r.value FROM readings r JOIN sources "
                        "s ON s.id = r.source_id WHERE r.seq > ? AND s.instrument_id = ? ORDER BY "
                        "r.seq LIMIT ?");
    q.bind(1, sentUpTo_);
    q.bind(2, instrumentId_);
    q.bind(3, static_cast<int64_t>(room));
    size_t rows = 0;
    while (q.executeStep()) {
        ++rows;
        const int64_t seq = q.getColumn(0).getInt64();
        const int32_t channel = q.getColumn(3).getInt();
        nlohmann::json j = {{"seq", seq},
                            {"time", Utc(q.getColumn(1).getInt64())},
                            {"instrument", instrument_},
                            {"serial", q.getColumn(2).getString()},
                            {"channel", channel},
                            {"probe", q.getColumn(4).getString()},
                            {"conversion", q.getColumn(5).getString()},
                            {"unit", q.getColumn(6).getString()},
                            {"text", q.getColumn(7).getString()},
                            {"value", nullptr}};
        if (!q.getColumn(8).isNull()) {
            j["value"] = q.getColumn(8).getDouble();
        }
        const std::string payload = j.dump();
        int mid = 0;
        const int rc =
            mosquitto_publish(mosq_, &mid, ReadingTopic(channel).c_str(),
                              static_cast<int>(payload.size()), payload.data(), 1, false);
        if (rc != MOSQ_ERR_SUCCESS) {
            Drop(mosquitto_strerror(rc));
            return;
        }
        inFlight_.push_back({mid, seq, false, Clock::now()});
        sentUpTo_ = seq;
    }
    if (rows < room) {
        checkedUpTo_ = committed;
    }
}

void MqttPublisher::Run() {
    Millis pause = retry_.first;
    while (!stopping_) {
        if (mosq_ == nullptr && !Connect()) {
            if (mosq_ != nullptr) {
                mosquitto_destroy(mosq_);
                mosq_ = nullptr;
            }
            Wait(pause);
            pause = std::min(pause * 2, retry_.max);
            continue;
        }
        const int rc = mosquitto_loop(mosq_, static_cast<int>(kLoopWait.count()), 1);
        if (rc != MOSQ_ERR_SUCCESS && (connected_ || handshaking_)) {
            Drop(rc == MOSQ_ERR_ERRNO ? std::strerror(errno) : mosquitto_strerror(rc));
        } else if (handshaking_ && Clock::now() > connectDeadline_) {
            Drop("no answer to the connection");
        } else if (!inFlight_.empty() &&
                   Clock::now() - inFlight_.front().sent > config_.keepAlive) {
            // A link that died without a word: nothing is acknowledged any more.
            Drop("no acknowledgement for " +
                 std::to_string(
                     std::chrono::duration_cast<std::chrono::seconds>(config_.keepAlive).count()) +
                 " s");
        }
        if (!connected_ && !handshaking_) {
            SaveMark(true);
            mosquitto_destroy(mosq_);
            mosq_ = nullptr;
            Wait(pause);
            pause = std::min(pause * 2, retry_.max);
            continue;
        }
        if (!connected_) {
            continue;
        }
        if (announceConnect_) {
            announceConnect_ = false;
            log_(instrument_ + ": publishing to MQTT broker " + config_.host + ":" +
                 std::to_string(config_.port) + " from #" + std::to_string(sentUpTo_ + 1));
            announcedDown_ = false;
        }
        pause = retry_.first;
        try {
            if (Clock::now() - statusCheckedAt_ >= kStatusEvery || lastStatus_.empty()) {
                SendStatus(true);
            }
            SendReadings();
        } catch (const std::exception& e) {
            log_(instrument_ + ": cannot read readings to publish: " + e.what());
            Wait(retry_.first);
        }
        SaveMark(false);
    }
    if (mosq_ != nullptr && connected_) {
        // A clean goodbye: offline on the status topic, then a disconnect (no last will).
        lastStatus_.clear();
        try {
            SendStatus(false);
        } catch (const std::exception& e) {
            log_(instrument_ + ": " + e.what());
        }
        const auto deadline = Clock::now() + kGoodbyeWait;
        while (connected_ && !statusAcked_ && Clock::now() < deadline &&
               mosquitto_loop(mosq_, 50, 1) == MOSQ_ERR_SUCCESS) {
        }
        mosquitto_disconnect(mosq_);
        mosquitto_loop(mosq_, 50, 1);
    }
    SaveMark(true);
    if (mosq_ != nullptr) {
        mosquitto_destroy(mosq_);
        mosq_ = nullptr;
    }
    connected_ = false;
}

}  // namespace vesk::rec
