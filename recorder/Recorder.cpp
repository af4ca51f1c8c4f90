#include "recorder/Recorder.h"

#include "recorder/Endpoint.h"
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
        for (auto& i : instruments_) {
            i->Start();
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
    std::unique_ptr<Store> store = std::move(store_);
    store->EndRun();
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
