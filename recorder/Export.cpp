#include "recorder/Export.h"

#include <SQLiteCpp/SQLiteCpp.h>

#include <charconv>
#include <chrono>
#include <cstdio>
#include <map>
#include <nlohmann/json.hpp>

#include "components/comm/Text.h"
#include "components/readingfile/ReadingFile.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::rec {

namespace {

constexpr size_t kChunk = 1u << 20;

struct SourceRow {
    std::string csvMiddle;  // ",instrument,serial,channel,probe,"
    std::string csvEnd;     // ",unit,conversion\n"
    std::string instrument;
    std::string serial;
    std::string channel;
    std::string probe;
    std::string conversion;
    std::string unit;
    int64_t instrumentId = 0;
};

// The instrument's text when it is a JSON number as it stands ("25.0069", "-2.5e-05").
bool IsJsonNumber(std::string_view text) {
    size_t i = 0;
    auto digits = [&] {
        const size_t start = i;
        while (i < text.size() && text[i] >= '0' && text[i] <= '9') {
            ++i;
        }
        return i > start;
    };
    if (i < text.size() && text[i] == '-') {
        ++i;
    }
    if (i >= text.size() ||
        (text[i] == '0' && i + 1 < text.size() && text[i + 1] >= '0' && text[i + 1] <= '9')) {
        return false;
    }
    if (!digits()) {
        return false;
    }
    if (i < text.size() && text[i] == '.') {
        ++i;
        if (!digits()) {
            return false;
        }
    }
    if (i < text.size() && (text[i] == 'e' || text[i] == 'E')) {
        ++i;
        if (i < text.size() && (text[i] == '+' || text[i] == '-')) {
            ++i;
        }
        if (!digits()) {
            return false;
        }
    }
    return i == text.size();
}

// Times of one second share their text up to the decimals: a million rows format a few
// hundred thousand seconds, not a million dates.
class TimeText {
  public:
    void Append(std::string& out, TimeUs us) {
        const TimeUs second = us >= 0 ? us / 1000000 : -((-us + 999999) / 1000000);
        if (second != second_) {
            second_ = second;
            text_.clear();
            files::AppendIsoTime(text_, second * 1000000, 0, 0);
            text_.resize(text_.size() - 6);  // without "+00:00"
        }
        const auto ms = static_cast<unsigned>((us - second * 1000000) / 1000);
        out += text_;
        out.push_back('.');
        out.push_back(static_cast<char>('0' + ms / 100));
        out.push_back(static_cast<char>('0' + ms / 10 % 10));
        out.push_back(static_cast<char>('0' + ms % 10));
        out += "+00:00";
    }

  private:
    TimeUs second_ = INT64_MIN;
    std::string text_;
};

bool IsPlainNumberText(std::string_view text) {
    for (char c : text) {
        if (!((c >= '0' && c <= '9') || c == '.' || c == '-' || c == '+' || c == 'e' || c == 'E')) {
            return false;
        }
    }
    return !text.empty();
}

void AppendJsonString(std::string& out, const std::string& text) {
    out += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

}  // namespace

TimeUs ParseTime(std::string_view text, const std::string& what) {
    using namespace std::chrono;
    const auto fail = [&]() -> TimeUs {
        throw AutomationError(kErrInvalidProcedureCall,
                              what + ": '" + std::string(text) +
                                  "' is no time (give 2024-03-07, 2024-03-07T12:00:00, with Z or "
                                  "+01:00 for a zone; no zone means UTC)",
                              "vesk4710 recorder");
    };
    if (const auto number = comm::ParseWhole<int64_t>(text); number && text.size() > 10) {
        return *number;
    }
    // YYYY-MM-DD[(T| )HH:MM[:SS[.ffffff]]][Z|(+|-)HH:MM]
    const std::string t(text);
    int y = 0, mo = 0, d = 0, h = 0, mi = 0, consumed = 0;
    if (std::sscanf(t.c_str(), "%4d-%2d-%2d%n", &y, &mo, &d, &consumed) != 3 || consumed != 10) {
        return fail();
    }
    const year_month_day ymd{year{y}, month{static_cast<unsigned>(mo)},
                             day{static_cast<unsigned>(d)}};
    if (!ymd.ok()) {
        return fail();
    }
    sys_time<microseconds> tp = sys_days(ymd);
    std::string_view rest = text.substr(10);
    if (!rest.empty() && (rest[0] == 'T' || rest[0] == ' ')) {
        double seconds = 0;
        const std::string clock(rest.substr(1));
        int n = 0;
        if (std::sscanf(clock.c_str(), "%2d:%2d%n", &h, &mi, &n) != 2 || h > 23 || mi > 59) {
            return fail();
        }
        rest = rest.substr(1 + static_cast<size_t>(n));
        if (!rest.empty() && rest[0] == ':') {
            size_t end = 1;
            while (end < rest.size() &&
                   ((rest[end] >= '0' && rest[end] <= '9') || rest[end] == '.')) {
                ++end;
            }
            const auto [p, ec] = std::from_chars(rest.data() + 1, rest.data() + end, seconds);
            if (ec != std::errc() || p != rest.data() + end || seconds >= 61) {
                return fail();
            }
            rest = rest.substr(end);
        }
        tp += hours{h} + minutes{mi} + microseconds{static_cast<int64_t>(seconds * 1e6 + 0.5)};
    }
    if (rest == "Z") {
        rest = {};
    } else if (rest.size() == 6 && (rest[0] == '+' || rest[0] == '-') && rest[3] == ':') {
        int oh = 0, om = 0;
        if (std::sscanf(std::string(rest.substr(1)).c_str(), "%2d:%2d", &oh, &om) != 2) {
            return fail();
        }
        const minutes offset{oh * 60 + om};
        tp -= rest[0] == '+' ? offset : -offset;
        rest = {};
    }
    if (!rest.empty()) {
        return fail();
    }
    return tp.time_since_epoch().count();
}

int64_t ExportReadings(Store& store, const ExportOptions& options,
                       const std::function<void(std::string_view)>& write) {
    SQLite::Database& db = store.Db();
    std::map<int64_t, SourceRow> sources;
    std::map<int64_t, std::string> instruments;
    std::optional<int64_t> instrumentId;
    {
        SQLite::Statement q(db, "SELECT id, name, serial FROM instruments ORDER BY id");
        while (q.executeStep()) {
            instruments[q.getColumn(0).getInt64()] = q.getColumn(1).getString();
            if (q.getColumn(1).getString() == options.instrument) {
                instrumentId = q.getColumn(0).getInt64();
            }
        }
    }
    if (!options.instrument.empty() && !instrumentId) {
        throw AutomationError(kErrInvalidProcedureCall,
                              "No instrument named '" + options.instrument + "' in " + store.Path(),
                              "vesk4710 recorder");
    }
    std::string wanted;
    {
        SQLite::Statement q(db,
                            "SELECT id, instrument_id, instrument_serial, channel, probe_serial, "
                            "conversion, unit FROM sources");
        while (q.executeStep()) {
            SourceRow s;
            s.instrumentId = q.getColumn(1).getInt64();
            s.instrument = instruments[s.instrumentId];
            s.serial = q.getColumn(2).getString();
            s.channel = q.getColumn(3).getString();
            s.probe = q.getColumn(4).getString();
            s.conversion = q.getColumn(5).getString();
            s.unit = q.getColumn(6).getString();
            s.csvMiddle = ",";
            files::AppendCsvField(s.csvMiddle, s.instrument, true);
            s.csvMiddle += ',';
            files::AppendCsvField(s.csvMiddle, s.serial, true);
            s.csvMiddle += "," + s.channel + ",";
            files::AppendCsvField(s.csvMiddle, s.probe, true);
            s.csvMiddle += ',';
            s.csvEnd = ",";
            files::AppendCsvField(s.csvEnd, s.unit, true);
            s.csvEnd += ',';
            files::AppendCsvField(s.csvEnd, s.conversion, true);
            s.csvEnd += '\n';
            const bool take = (!instrumentId || *instrumentId == s.instrumentId) &&
                              (!options.channel || std::to_string(*options.channel) == s.channel);
            if (take) {
                wanted += (wanted.empty() ? "" : ",") + std::to_string(q.getColumn(0).getInt64());
                sources.emplace(q.getColumn(0).getInt64(), std::move(s));
            }
        }
    }
    const TimeUs from = options.from.value_or(INT64_MIN);
    const TimeUs to = options.to.value_or(INT64_MAX);

    std::string out;
    out.reserve(kChunk + 4096);
    files::ReadingsCsv csv(out);
    // Gaps that overlap the range, for the instruments asked for.
    SQLite::Statement gaps(db,
                           "SELECT instrument_id, started_us, ended_us, reason FROM gaps WHERE "
                           "started_us < ?1 AND COALESCE(ended_us, ?1) >= ?2 ORDER BY started_us");
    gaps.bind(1, to);
    gaps.bind(2, from);
    files::Metadata meta;
    if (!options.jsonLines) {
        meta = {{"source", "vesk4710 recording " + store.Path()},
                {"instrument", options.instrument.empty() ? "(all)" : options.instrument},
                {"time zone", "UTC"}};
        if (options.from) {
            meta.emplace_back("from", files::IsoTime(*options.from));
        }
        if (options.to) {
            meta.emplace_back("to", files::IsoTime(*options.to));
        }
        for (const auto& [id, name] : instruments) {
            if (!instrumentId || *instrumentId == id) {
                meta.emplace_back("recorded", name);
            }
        }
    }
    std::string gapLines;
    while (gaps.executeStep()) {
        const int64_t id = gaps.getColumn(0).getInt64();
        if (instrumentId && *instrumentId != id) {
            continue;
        }
        const std::string start = files::IsoTime(gaps.getColumn(1).getInt64());
        const std::string end = gaps.getColumn(2).isNull()
                                    ? std::string()
                                    : files::IsoTime(gaps.getColumn(2).getInt64());
        const std::string reason = gaps.getColumn(3).getString();
        if (options.jsonLines) {
            nlohmann::json j = {{"type", "gap"},
                                {"instrument", instruments[id]},
                                {"from", start},
                                {"to", end.empty() ? nlohmann::json() : nlohmann::json(end)},
                                {"reason", reason}};
            out += j.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
            out += '\n';
        } else {
            meta.emplace_back("gap", instruments[id] + " from " + start + " to " +
                                         (end.empty() ? "(still open)" : end) + ": " + reason);
        }
    }
    if (!options.jsonLines) {
        csv.Begin(meta, files::kRecordingColumns);
    }

    int64_t count = 0;
    if (!sources.empty()) {
        // Read in sequence order straight from the table: the time index only finds where the
        // range starts and ends, so that no million-row sort is ever needed.
        int64_t first = 0;
        int64_t last = INT64_MAX;
        if (options.from || options.to) {
            SQLite::Statement range(db,
                                    "SELECT MIN(seq), MAX(seq) FROM readings WHERE time_us >= ? "
                                    "AND time_us < ?");
            range.bind(1, from);
            range.bind(2, to);
            range.executeStep();
            first = range.getColumn(0).getInt64();
            last = range.getColumn(1).getInt64();
        }
        SQLite::Statement q(
            db,
            "SELECT seq, source_id, time_us, value_text FROM readings WHERE seq "
            "BETWEEN ? AND ? AND +time_us >= ? AND +time_us < ? AND +source_id IN (" +
                wanted + ") ORDER BY seq");
        q.bind(1, first);
        q.bind(2, last);
        q.bind(3, from);
        q.bind(4, to);
        char number[24];
        TimeText times;
        while (q.executeStep()) {
            const SourceRow& s = sources.at(q.getColumn(1).getInt64());
            const auto seq =
                std::to_chars(number, number + sizeof number, q.getColumn(0).getInt64());
            const std::string_view seqText(number, static_cast<size_t>(seq.ptr - number));
            const char* text = q.getColumn(3).getText();
            const std::string_view value(text);
            if (options.jsonLines) {
                out += "{\"type\":\"reading\",\"sequence\":";
                out += seqText;
                out += ",\"time\":\"";
                times.Append(out, q.getColumn(2).getInt64());
                out += "\",\"instrument\":";
                AppendJsonString(out, s.instrument);
                out += ",\"serial\":";
                AppendJsonString(out, s.serial);
                out += ",\"channel\":";
                out += s.channel;
                out += ",\"probe\":";
                AppendJsonString(out, s.probe);
                out += ",\"value\":";
                out += IsJsonNumber(value) ? value : std::string_view("null");
                out += ",\"text\":";
                AppendJsonString(out, std::string(value));
                out += ",\"unit\":";
                AppendJsonString(out, s.unit);
                out += ",\"conversion\":";
                AppendJsonString(out, s.conversion);
                out += "}\n";
            } else {
                out += seqText;
                out.push_back(',');
                times.Append(out, q.getColumn(2).getInt64());
                out += s.csvMiddle;
                if (IsPlainNumberText(value)) {
                    out += value;
                } else {
                    files::AppendCsvField(out, value, false);
                }
                out += s.csvEnd;
            }
            ++count;
            if (out.size() >= kChunk) {
                write(out);
                out.clear();
            }
        }
    }
    write(out);
    return count;
}

}  // namespace vesk::rec
