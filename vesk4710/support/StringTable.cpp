#include "vesk4710/support/StringTable.h"

#include <algorithm>
#include <charconv>
#include <map>

#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringIds.h"

namespace vesk {

namespace detail {
// The embedded string-table resource (generated from strings.tsv).
extern const char kStringTableData[];
}  // namespace detail

namespace {

const std::map<int32_t, std::string>& Table() {
    static const std::map<int32_t, std::string> table = [] {
        std::map<int32_t, std::string> t;
        std::string_view data(detail::kStringTableData);
        while (!data.empty()) {
            size_t end = data.find('\n');
            std::string_view line = data.substr(0, end);
            data = end == std::string_view::npos ? std::string_view() : data.substr(end + 1);
            if (!line.empty() && line.back() == '\r') {
                line.remove_suffix(1);
            }
            size_t tab = line.find('\t');
            if (line.empty() || line.front() == '#' || tab == std::string_view::npos) {
                continue;
            }
            int32_t id = 0;
            auto res = std::from_chars(line.data(), line.data() + tab, id);
            if (res.ec == std::errc() && res.ptr == line.data() + tab) {
                t.emplace(id, std::string(line.substr(tab + 1)));
            }
        }
        return t;
    }();
    return table;
}

}  // namespace

std::string_view Trim(std::string_view text, std::string_view blanks) {
    const size_t first = text.find_first_not_of(blanks);
    if (first == std::string_view::npos) {
        return {};
    }
    return text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string LoadResString(int32_t id) {
    const auto& table = Table();
    auto it = table.find(id);
    if (it == table.end()) {
        throw AutomationError(
            kErrResourceNotFound,
            "Resource with identifier '" + NumberText(static_cast<int64_t>(id)) + "' not found");
    }
    return it->second;
}

bool HasResString(int32_t id) {
    return Table().count(id) != 0;
}

std::vector<int32_t> ResStringIds() {
    std::vector<int32_t> ids;
    for (const auto& entry : Table()) {
        ids.push_back(entry.first);
    }
    return ids;
}

std::string ReplaceTokens(std::string_view tmpl, std::string_view args) {
    size_t count = 0;
    for (size_t pos = tmpl.find('~'); pos != std::string_view::npos;
         pos = tmpl.find('~', pos + 1)) {
        ++count;
    }
    if (count == 0) {
        return std::string(tmpl);
    }
    std::string result;
    for (size_t i = 0; i < count; ++i) {
        std::string_view arg;
        size_t bar = args.find('|');
        if (bar != std::string_view::npos) {
            // Several arguments: each is trimmed, and so is what follows.
            arg = Trim(args.substr(0, bar));
            args = Trim(args.substr(bar + 1));
        } else {
            arg = args;
            args = {};
        }
        size_t tilde = tmpl.find('~');
        result.append(tmpl.substr(0, tilde));
        tmpl.remove_prefix(tilde + 1);
        result.append(arg);
    }
    result.append(tmpl);
    return result;
}

std::string ResText(int32_t id, std::string_view args) {
    return ReplaceTokens(LoadResString(id), args);
}

std::string UnitsText(int16_t code) {
    switch (code) {
        case -1:
            return LoadResString(kResKeepExisting);
        case 0:
            return "\u00B0C";
        case 1:
            return "\u00B0F";
        case 2:
            return "K";
        case 3:
            return "R";
        case 4:
            return LoadResString(kResOhms);
        case 5:
            return LoadResString(kResKOhms);
        case 6:  // ratio before volts here, unlike the table order
            return LoadResString(kResRatio);
        case 7:
            return LoadResString(kResVolts);
        case 8:
            return "mV";
        case 9:
            return "\u00B5V";
        case 10:
            return "W";
        default:
            return LoadResString(kResUnknown);
    }
}

std::string RJCTypeText(int32_t code) {
    switch (code) {
        case 0:
            return LoadResString(kResExternal);
        case 1:
            return LoadResString(kResInternal);
        default:
            return LoadResString(kResUnknown);
    }
}

Date DateFromYMD(std::string_view text) {
    double year = 0.0;
    double month = 1.0;
    double day = 1.0;
    size_t comma = text.find(',');
    if (comma != std::string_view::npos) {
        year = Val(text.substr(0, comma));
        std::string_view rest = text.substr(comma + 1);
        size_t second = rest.find(',');
        // Without a second comma month and day stay 1 and the rest is ignored.
        if (second != std::string_view::npos) {
            month = Val(rest.substr(0, second));
            day = Val(rest.substr(second + 1));
        }
    }
    Date d = Date::FromYMD(1900, 1, 1);
    d = d.AddYears(CInt32(year - 1900.0));
    d = d.AddMonths(CInt32(month - 1.0));
    return d.AddDays(CInt32(day - 1.0));
}

}  // namespace vesk
