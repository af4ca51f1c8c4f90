#include "recorder/MetricsServer.h"

#include <SQLiteCpp/SQLiteCpp.h>
#include <httplib.h>

#include <charconv>
#include <chrono>
#include <cmath>
#include <map>

#include "recorder/MqttPublisher.h"
#include "recorder/PublishConfig.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::rec {

namespace {

std::string Number(double value) {
    if (std::isnan(value)) {
        return "NaN";
    }
    char text[32];
    auto [end, ec] = std::to_chars(text, text + sizeof text, value);
    return ec == std::errc() ? std::string(text, end) : "NaN";
}

std::string Label(const std::string& value) {
    std::string out;
    for (char c : value) {
        if (c == '\\' || c == '"') {
            out += '\\';
            out += c;
        } else if (c == '\n') {
            out += "\\n";
        } else {
            out += c;
        }
    }
    return out;
}

void Family(std::string& out, const char* name, const char* type, const char* help) {
    out += std::string("# HELP ") + name + " " + help + "\n# TYPE " + name + " " + type + "\n";
}

}  // namespace

MetricsServer::MetricsServer(const std::string& listen, const Store& store,
                             std::vector<Instrument> instruments)
    : store_(store),
      instruments_(std::move(instruments)),
      reader_(std::make_unique<Store>(store.Path(), true)),
      server_(std::make_unique<httplib::Server>()) {
    const ListenAddress at = ParseListen(listen, "prometheus.listen");
    // One worker: scrapes come seconds apart and share one database connection.
    server_->new_task_queue = [] { return new httplib::ThreadPool(1); };
    server_->Get("/metrics", [this](const httplib::Request&, httplib::Response& response) {
        try {
            response.set_content(Render(), "text/plain; version=0.0.4; charset=utf-8");
        } catch (const std::exception& e) {
            response.status = 500;
            response.set_content(std::string(e.what()) + "\n", "text/plain");
        }
    });
    const int port = at.port == 0 ? server_->bind_to_any_port(at.host)
                                  : (server_->bind_to_port(at.host, at.port) ? at.port : -1);
    if (port < 0) {
        throw AutomationError(
            kErrPermissionDenied,
            "prometheus.listen: cannot listen on " + listen + " (in use, or no such address here)",
            "vesk4710 recorder");
    }
    address_ = (at.host.find(':') != std::string::npos ? "[" + at.host + "]" : at.host) + ":" +
               std::to_string(port);
    thread_ = std::thread([this] { server_->listen_after_bind(); });
    // A stop before the server runs would be missed and leave the thread listening.
    for (int i = 0; i < 1000 && !server_->is_running(); ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

MetricsServer::~MetricsServer() {
    server_->stop();
    if (thread_.joinable()) {
        thread_.join();
    }
}

std::string MetricsServer::Render() {
    std::map<std::string, const Instrument*> known;
    for (const Instrument& i : instruments_) {
        known[i.name] = &i;
    }
    // The newest reading of each channel; an earlier probe or instrument on it is history.
    struct Latest {
        std::string labels;
        int64_t seq;
        TimeUs time;
        double value;
    };
    std::map<std::pair<std::string, int32_t>, Latest> latest;
    SQLite::Statement q(reader_->Db(),
                        "SELECT i.name, s.instrument_serial, s.channel, s.probe_serial, s.unit, "
                        "s.conversion, r.seq, r.time_us, r.value FROM sources s JOIN instruments "
                        "i ON i.id = s.instrument_id JOIN readings r ON r.seq = (SELECT seq FROM "
                        "readings WHERE source_id = s.id ORDER BY time_us DESC, seq DESC LIMIT 1)");
    while (q.executeStep()) {
        const std::string name = q.getColumn(0).getString();
        const int32_t channel = q.getColumn(2).getInt();
        const TimeUs time = q.getColumn(7).getInt64();
        auto it = latest.find({name, channel});
        if (known.count(name) == 0 || (it != latest.end() && it->second.time >= time)) {
            continue;
        }
        Latest l{"{instrument=\"" + Label(name) + "\",serial=\"" +
                     Label(q.getColumn(1).getString()) + "\",channel=\"" + std::to_string(channel) +
                     "\",probe=\"" + Label(q.getColumn(3).getString()) + "\",unit=\"" +
                     Label(q.getColumn(4).getString()) + "\",conversion=\"" +
                     Label(q.getColumn(5).getString()) + "\"}",
                 q.getColumn(6).getInt64(), time,
                 q.getColumn(8).isNull() ? std::nan("") : q.getColumn(8).getDouble()};
        latest[{name, channel}] = std::move(l);
    }
    const double now = static_cast<double>(NowUs()) / 1e6;
    std::string out;
    Family(out, "vesk4710_reading", "gauge", "Latest reading of the channel, in its unit.");
    for (const auto& [key, l] : latest) {
        out += "vesk4710_reading" + l.labels + " " + Number(l.value) + "\n";
    }
    Family(out, "vesk4710_reading_timestamp_seconds", "gauge",
           "When the latest reading was taken (UTC, seconds since 1970).");
    for (const auto& [key, l] : latest) {
        out += "vesk4710_reading_timestamp_seconds" + l.labels + " " +
               Number(static_cast<double>(l.time) / 1e6) + "\n";
    }
    Family(out, "vesk4710_reading_age_seconds", "gauge", "Age of the latest reading.");
    for (const auto& [key, l] : latest) {
        out += "vesk4710_reading_age_seconds" + l.labels + " " +
               Number(now - static_cast<double>(l.time) / 1e6) + "\n";
    }
    Family(out, "vesk4710_reading_sequence", "gauge",
           "Sequence of the latest reading in the recorder's database.");
    for (const auto& [key, l] : latest) {
        out += "vesk4710_reading_sequence" + l.labels + " " + std::to_string(l.seq) + "\n";
    }

    std::map<std::string, int64_t> ids;
    SQLite::Statement rows(reader_->Db(), "SELECT name, id FROM instruments");
    while (rows.executeStep()) {
        ids[rows.getColumn(0).getString()] = rows.getColumn(1).getInt64();
    }
    std::string readings;
    std::string errors;
    std::string up;
    for (const InstrumentStatus& s : reader_->Status()) {
        if (known.count(s.name) == 0) {
            continue;
        }
        const std::string labels = "{instrument=\"" + Label(s.name) + "\"} ";
        readings += "vesk4710_readings_total" + labels + std::to_string(s.readings) + "\n";
        errors += "vesk4710_errors_total" + labels +
                  std::to_string(store_.ErrorCount(ids[s.name])) + "\n";
        up += "vesk4710_link_up" + labels + (s.state == "recording" ? "1" : "0") + "\n";
    }
    Family(out, "vesk4710_readings_total", "counter", "Readings recorded in this run.");
    out += readings;
    Family(out, "vesk4710_errors_total", "counter", "Errors of the instrument in this run.");
    out += errors;
    Family(out, "vesk4710_link_up", "gauge",
           "1 while readings flow, 0 in a gap (the link is being found again).");
    out += up;
    std::string mqtt;
    for (const Instrument& i : instruments_) {
        if (i.mqtt != nullptr) {
            mqtt += "vesk4710_mqtt_connected{instrument=\"" + Label(i.name) + "\"} " +
                    (i.mqtt->Connected() ? "1" : "0") + "\n";
        }
    }
    if (!mqtt.empty()) {
        Family(out, "vesk4710_mqtt_connected", "gauge", "1 while connected to the MQTT broker.");
        out += mqtt;
    }
    return out;
}

}  // namespace vesk::rec
