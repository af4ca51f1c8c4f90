#include "apps/vesk4710-gui/model/ReadingBuffer.h"

#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <ctime>
#include <tuple>

namespace vesk::gui {

namespace {

const std::vector<Sample> kNoSamples;

}  // namespace

int32_t DecimalsOf(double value) {
    char text[400];
    const auto [end, ec] = std::to_chars(text, text + sizeof text, value, std::chars_format::fixed);
    if (ec != std::errc()) {
        return 0;
    }
    const std::string_view shown(text, static_cast<size_t>(end - text));
    const size_t point = shown.find('.');
    return point == std::string_view::npos ? 0 : static_cast<int32_t>(shown.size() - point - 1);
}

std::string IsoLocalTime(Millis time) {
    Millis seconds = time / 1000;
    Millis millis = time % 1000;
    if (millis < 0) {
        millis += 1000;
        --seconds;
    }
    const auto whole = static_cast<std::time_t>(seconds);
    std::tm local{};
    localtime_r(&whole, &local);
    return fmt::format("{:%Y-%m-%dT%H:%M:%S}.{:03}", local, millis);
}

ReadingBuffer::ReadingBuffer(Millis retention) : retention_(retention) {}

void ReadingBuffer::Retention(Millis retention) {
    retention_ = std::max<Millis>(retention, 1000);
}

uint16_t ReadingBuffer::UnitIndex(const std::string& unit) {
    const auto found = std::find(units_.begin(), units_.end(), unit);
    if (found != units_.end()) {
        return static_cast<uint16_t>(found - units_.begin());
    }
    units_.push_back(unit);
    return static_cast<uint16_t>(units_.size() - 1);
}

bool ReadingBuffer::Add(int16_t channel, Millis time, double value, const std::string& unit) {
    Track& track = tracks_[channel];
    if (!track.samples.empty() && time < track.samples.back().time) {
        return false;
    }
    track.unit = UnitIndex(unit);
    track.samples.push_back({time, value, track.unit});
    return true;
}

void ReadingBuffer::Prune(Millis now) {
    const Millis oldest = now - retention_;
    for (auto& [channel, track] : tracks_) {
        auto& s = track.samples;
        const auto keep = std::lower_bound(s.begin(), s.end(), oldest,
                                           [](const Sample& a, Millis t) { return a.time < t; });
        s.erase(s.begin(), keep);
    }
}

void ReadingBuffer::Clear() {
    tracks_.clear();
}

std::vector<int16_t> ReadingBuffer::Channels() const {
    std::vector<int16_t> out;
    for (const auto& [channel, track] : tracks_) {
        out.push_back(channel);
    }
    return out;
}

size_t ReadingBuffer::Count() const {
    size_t n = 0;
    for (const auto& [channel, track] : tracks_) {
        n += track.samples.size();
    }
    return n;
}

size_t ReadingBuffer::Count(int16_t channel) const {
    return Samples(channel).size();
}

const std::vector<Sample>& ReadingBuffer::Samples(int16_t channel) const {
    const auto found = tracks_.find(channel);
    return found == tracks_.end() ? kNoSamples : found->second.samples;
}

std::span<const Sample> ReadingBuffer::PlotSamples(int16_t channel) const {
    const auto found = tracks_.find(channel);
    if (found == tracks_.end()) {
        return {};
    }
    const Track& track = found->second;
    // The current unit's run is the tail after the last sample in another unit.
    auto start = track.samples.end();
    while (start != track.samples.begin() && std::prev(start)->unit == track.unit) {
        --start;
    }
    return {start, track.samples.end()};
}

std::string ReadingBuffer::Unit(int16_t channel) const {
    const auto found = tracks_.find(channel);
    return found == tracks_.end() ? std::string() : UnitText(found->second.unit);
}

std::optional<Sample> ReadingBuffer::Latest(int16_t channel) const {
    const auto& s = Samples(channel);
    if (s.empty()) {
        return std::nullopt;
    }
    return s.back();
}

std::optional<Millis> ReadingBuffer::FirstTime() const {
    std::optional<Millis> first;
    for (const auto& [channel, track] : tracks_) {
        if (!track.samples.empty() && (!first || track.samples.front().time < *first)) {
            first = track.samples.front().time;
        }
    }
    return first;
}

std::optional<std::pair<double, double>> ReadingBuffer::ValueRange(int16_t channel, Millis from,
                                                                   Millis to) const {
    const auto found = tracks_.find(channel);
    if (found == tracks_.end()) {
        return std::nullopt;
    }
    const Track& track = found->second;
    std::optional<std::pair<double, double>> range;
    const auto begin = std::lower_bound(track.samples.begin(), track.samples.end(), from,
                                        [](const Sample& a, Millis t) { return a.time < t; });
    for (auto it = begin; it != track.samples.end() && it->time <= to; ++it) {
        if (it->unit != track.unit) {
            continue;
        }
        if (!range) {
            range = std::make_pair(it->value, it->value);
        } else {
            range->first = std::min(range->first, it->value);
            range->second = std::max(range->second, it->value);
        }
    }
    return range;
}

void ReadingBuffer::ForEachInTimeOrder(
    const std::function<void(int16_t, const Sample&, const std::string& unit)>& each) const {
    std::vector<std::tuple<Millis, int16_t, const Sample*>> rows;
    rows.reserve(Count());
    for (const auto& [channel, track] : tracks_) {
        for (const Sample& s : track.samples) {
            rows.emplace_back(s.time, channel, &s);
        }
    }
    std::stable_sort(rows.begin(), rows.end(), [](const auto& a, const auto& b) {
        return std::tie(std::get<0>(a), std::get<1>(a)) < std::tie(std::get<0>(b), std::get<1>(b));
    });
    for (const auto& [time, channel, sample] : rows) {
        each(channel, *sample, UnitText(sample->unit));
    }
}

}  // namespace vesk::gui
