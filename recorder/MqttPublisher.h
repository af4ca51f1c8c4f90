#pragma once
// One instrument's readings and status, published to an MQTT broker from the database.
//
// Readings go out in sequence order at QoS 1 from how far the broker has acknowledged
// (the outputs table, "mqtt/<instrument>"); while the broker is away they simply wait in the
// database. Only an acknowledgement (PUBACK) moves that mark, and a dropped connection throws
// away whatever was in flight, to be sent again from the mark on a fresh connection, so the
// broker sees each reading in order and, unless an acknowledgement itself was lost, once.
// A retained status topic says online or offline and the last error; the broker publishes
// offline by itself (the last will) when the recorder dies.
#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "recorder/Config.h"
#include "recorder/InstrumentRecorder.h"

struct mosquitto;

namespace vesk::rec {

class Store;

class MqttPublisher {
  public:
    // committed: the highest sequence the recorder's store has committed (it wakes the sender).
    MqttPublisher(MqttConfig config, RetryPolicy retry, std::string database,
                  std::string instrument, std::shared_ptr<const std::atomic<int64_t>> committed,
                  Log log);
    ~MqttPublisher();
    MqttPublisher(const MqttPublisher&) = delete;
    MqttPublisher& operator=(const MqttPublisher&) = delete;

    void Start();
    // Says offline on the status topic (when connected), keeps the mark and disconnects.
    void Stop();

    bool Connected() const { return connected_; }
    // The highest sequence the broker has acknowledged.
    int64_t Acknowledged() const { return acknowledged_; }

    static std::string OutputName(const std::string& instrument) { return "mqtt/" + instrument; }
    std::string ReadingTopic(int32_t channel) const;
    std::string StatusTopic() const;

  private:
    struct InFlight {
        int mid;
        int64_t seq;
        bool acked;
        std::chrono::steady_clock::time_point sent;
    };

    void Run();
    bool Connect();
    void Drop(const std::string& why);
    void SendReadings();
    void SendStatus(bool online);
    std::string StatusPayload(bool online);
    void SaveMark(bool now);
    void Acked(int mid);
    void Wait(Millis pause);

    MqttConfig config_;
    RetryPolicy retry_;
    std::string instrument_;
    std::shared_ptr<const std::atomic<int64_t>> committed_;
    Log log_;
    std::unique_ptr<Store> store_;  // its own connection to the database
    int64_t instrumentId_ = 0;

    mosquitto* mosq_ = nullptr;
    bool handshaking_ = false;
    std::chrono::steady_clock::time_point connectDeadline_;
    std::deque<InFlight> inFlight_;
    int64_t sentUpTo_ = 0;
    int64_t checkedUpTo_ = -1;  // committed sequence all of whose readings were looked at
    int64_t savedMark_ = 0;
    std::chrono::steady_clock::time_point savedAt_;
    std::string lastStatus_;
    std::chrono::steady_clock::time_point statusCheckedAt_;
    int statusMid_ = -1;
    bool statusAcked_ = false;
    bool announcedDown_ = false;
    bool announceConnect_ = false;

    std::atomic<bool> connected_{false};
    std::atomic<int64_t> acknowledged_{0};
    std::atomic<bool> stopping_{false};
    std::mutex mutex_;
    std::condition_variable wake_;
    std::thread thread_;
};

}  // namespace vesk::rec
