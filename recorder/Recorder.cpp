#include "recorder/Recorder.h"

#include "recorder/Endpoint.h"
#include "recorder/MetricsServer.h"
#include "recorder/MqttPublisher.h"
#include "recorder/SharedLink.h"

namespace vesk::rec {

Recorder::Recorder(RecorderConfig config, Log log)
    : config_(std::move(config)), log_(std::move(log)) {
    Validate(config_);
    if (!log_) {
        log_ = [](const std::string&) {};
    }
}

Recorder::~Recorder() {
    try {
        Stop();
    } catch (...) {
        // Stop's caller hears of a failure; a destructor has no one to tell.
    }
}

void Recorder::Start() {
    if (store_) {
        return;
    }
    auto store = std::make_unique<Store>(config_.database);
    store->BeginRun();
    store_ = std::move(store);
    try {
        for (const InstrumentConfig& i : config_.instruments) {
            instruments_.push_back(
                std::make_unique<InstrumentRecorder>(i, *store_, config_.retry, log_));
            endpoints_.push_back(
                i.serve.empty() ? nullptr
                                : std::make_unique<Endpoint>(instruments_.back()->Link(), i.serve));
        }
        StartPublishing();
        for (auto& i : instruments_) {
            i->Start();
        }
        for (auto& p : publishers_) {
            p->Start();
        }
    } catch (...) {
        Stop();
        throw;
    }
    for (size_t n = 0; n < endpoints_.size(); ++n) {
        if (endpoints_[n]) {
            log_(config_.instruments[n].name + ": shared on " + endpoints_[n]->Address());
        }
    }
}

void Recorder::Stop() {
    if (!store_) {
        return;
    }
    metrics_.reset();
    for (auto& e : endpoints_) {
        if (e) {
            e->Stop();
        }
    }
    stoppedRounds_ = 0;
    for (auto& i : instruments_) {
        i->Stop();
        stoppedRounds_ += i->Rounds();
    }
    endpoints_.clear();
    instruments_.clear();
    for (auto& p : publishers_) {
        p->Stop();
    }
    publishers_.clear();
    std::unique_ptr<Store> store = std::move(store_);
    store->EndRun();
}

void Recorder::StartPublishing() {
    auto committed = std::make_shared<std::atomic<int64_t>>(0);
    store_->OnCommit([committed](int64_t last, size_t) {
        if (last > *committed) {
            *committed = last;
        }
    });
    std::vector<MetricsServer::Instrument> served;
    for (const InstrumentConfig& i : config_.instruments) {
        if (config_.mqtt.enabled) {
            publishers_.push_back(std::make_unique<MqttPublisher>(
                config_.mqtt, config_.retry, config_.database, i.name, committed, log_));
        }
        served.push_back({i.name, config_.mqtt.enabled ? publishers_.back().get() : nullptr});
    }
    if (config_.prometheus.enabled) {
        metrics_ = std::make_unique<MetricsServer>(config_.prometheus.listen, *store_, served);
        log_("metrics on http://" + metrics_->Address() + "/metrics");
    }
}

std::string Recorder::MetricsAddress() const {
    return metrics_ ? metrics_->Address() : "";
}

std::vector<std::string> Recorder::Endpoints() const {
    std::vector<std::string> result;
    for (const auto& e : endpoints_) {
        result.push_back(e ? e->Address() : std::string());
    }
    return result;
}

uint64_t Recorder::Rounds() const {
    uint64_t total = instruments_.empty() ? stoppedRounds_ : 0;
    for (const auto& i : instruments_) {
        total += i->Rounds();
    }
    return total;
}

}  // namespace vesk::rec
