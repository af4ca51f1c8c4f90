#include "vesk4710/support/Date.h"

#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <ctime>
#include <iomanip>
#include <sstream>

#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/UserLocale.h"

namespace vesk {

namespace {

using std::chrono::days;
using std::chrono::sys_days;
using std::chrono::year_month_day;

constexpr sys_days kEpoch{std::chrono::year{1899} / std::chrono::December / 30};

[[noreturn]] void InvalidDate() {
    throw AutomationError::Runtime(kErrInvalidProcedureCall);
}

// The serial as one continuous number of days: before the epoch the serial's fraction runs
// forward from its (negative) day, so -1.25 is the moment -0.75.
double Linear(double serial) {
    double day = std::trunc(serial);
    return day + std::fabs(serial - day);
}

double FromLinear(double linear) {
    double day = std::floor(linear);
    double time = linear - day;
    return day >= 0 ? day + time : day - time;
}

void CheckDay(long long day) {
    if (day < kMinDateDay || day > kMaxDateDay) {
        InvalidDate();
    }
}

struct Fields {
    long long day = 0;  // days since the epoch
    int year = 1899, month = 12, dayOfMonth = 30;
    int hour = 0, minute = 0, second = 0;
};

// Splits a serial into calendar fields, with the time rounded to the second.
Fields Split(double serial) {
    Fields f;
    if (!std::isfinite(serial)) {
        InvalidDate();
    }
    double total = std::round(Linear(serial) * 86400.0);
    if (std::fabs(total) > 1e15) {
        InvalidDate();
    }
    long long seconds = static_cast<long long>(total);
    long long day = seconds / 86400;
    long long secOfDay = seconds % 86400;
    if (secOfDay < 0) {
        secOfDay += 86400;
        --day;
    }
    CheckDay(day);
    f.day = day;
    year_month_day ymd{kEpoch + days{day}};
    f.year = static_cast<int>(ymd.year());
    f.month = static_cast<int>(static_cast<unsigned>(ymd.month()));
    f.dayOfMonth = static_cast<int>(static_cast<unsigned>(ymd.day()));
    f.hour = static_cast<int>(secOfDay / 3600);
    f.minute = static_cast<int>(secOfDay / 60 % 60);
    f.second = static_cast<int>(secOfDay % 60);
    return f;
}

long long DayNumber(int year, unsigned month, unsigned day) {
    return (sys_days{std::chrono::year{year} / std::chrono::month{month} / day} - kEpoch).count();
}

void AppendPadded(std::string& out, long long v, size_t width) {
    char buf[24];
    auto res = std::to_chars(buf, buf + sizeof buf, v < 0 ? -v : v);
    std::string digits(buf, res.ptr);
    if (v < 0) {
        out.push_back('-');
    }
    if (digits.size() < width) {
        out.append(width - digits.size(), '0');
    }
    out += digits;
}

// Three fields joined by sep: the first at least firstWidth digits, the others two.
std::string JoinPadded(const std::array<int, 3>& fields, size_t firstWidth, char sep) {
    std::string out;
    for (size_t i = 0; i < fields.size(); ++i) {
        if (i > 0) {
            out.push_back(sep);
        }
        AppendPadded(out, fields[i], i == 0 ? firstWidth : 2);
    }
    return out;
}

bool ReadNumber(std::string_view text, size_t pos, size_t width, int& out) {
    if (pos + width > text.size()) {
        return false;
    }
    for (size_t i = pos; i < pos + width; ++i) {
        if (text[i] < '0' || text[i] > '9') {
            return false;
        }
    }
    auto res = std::from_chars(text.data() + pos, text.data() + pos + width, out);
    return res.ec == std::errc();
}

}  // namespace

Date Date::DateSerial(int year, int month, int day) {
    long long months = static_cast<long long>(year) * 12 + (static_cast<long long>(month) - 1);
    long long y = months >= 0 ? months / 12 : -((-months + 11) / 12);
    long long m = months - y * 12 + 1;
    if (y < 0 || y > 10000) {
        InvalidDate();
    }
    long long dayNumber = DayNumber(static_cast<int>(y), static_cast<unsigned>(m), 1) +
                          (static_cast<long long>(day) - 1);
    CheckDay(dayNumber);
    return Date(static_cast<double>(dayNumber));
}

Date Date::FromYMD(int year, int month, int day) {
    if (year < 100 || year > 9999 || month < 1 || month > 12 || day < 1 || day > 31) {
        InvalidDate();
    }
    year_month_day ymd{std::chrono::year{year}, std::chrono::month{static_cast<unsigned>(month)},
                       std::chrono::day{static_cast<unsigned>(day)}};
    if (!ymd.ok()) {
        InvalidDate();
    }
    return Date(static_cast<double>((sys_days{ymd} - kEpoch).count()));
}

Date Date::FromYMDHMS(int year, int month, int day, int hour, int minute, int second) {
    if (hour < 0 || hour > 23 || minute < 0 || minute > 59 || second < 0 || second > 59) {
        InvalidDate();
    }
    double d = FromYMD(year, month, day).Serial();
    double time = (hour * 3600.0 + minute * 60.0 + second) / 86400.0;
    return Date(d >= 0 ? d + time : d - time);
}

Date Date::Now() {
    std::time_t now = std::time(nullptr);
    std::tm local = *std::localtime(&now);
    return FromYMDHMS(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday, local.tm_hour,
                      local.tm_min, std::min(local.tm_sec, 59));
}

Date Date::Today() {
    return Now().DatePart();
}

Date Date::AddMonths(int n) const {
    Fields f = Split(serial_);
    long long months = static_cast<long long>(f.year) * 12 + (f.month - 1) + n;
    long long y = months / 12;
    long long m = months % 12 + 1;
    if (months < 0 || y < 100 || y > 9999) {
        InvalidDate();
    }
    std::chrono::year_month_day_last last{
        std::chrono::year{static_cast<int>(y)},
        std::chrono::month_day_last{std::chrono::month{static_cast<unsigned>(m)}}};
    unsigned lastDay = static_cast<unsigned>(last.day());
    unsigned d = std::min(static_cast<unsigned>(f.dayOfMonth), lastDay);
    long long dayNumber = DayNumber(static_cast<int>(y), static_cast<unsigned>(m), d);
    CheckDay(dayNumber);
    double linear =
        static_cast<double>(dayNumber) + (f.hour * 3600.0 + f.minute * 60.0 + f.second) / 86400.0;
    return Date(FromLinear(linear));
}

Date Date::AddYears(int n) const {
    long long months = static_cast<long long>(n) * 12;
    if (months > 120000 || months < -120000) {
        InvalidDate();
    }
    return AddMonths(static_cast<int>(months));
}

Date Date::AddDays(double n) const {
    double linear = Linear(serial_) + n;
    if (!std::isfinite(linear)) {
        InvalidDate();
    }
    CheckDay(static_cast<long long>(std::max(std::min(std::floor(linear), 1e12), -1e12)));
    return Date(FromLinear(linear));
}

int Date::Year() const {
    return Split(serial_).year;
}
int Date::Month() const {
    return Split(serial_).month;
}
int Date::Day() const {
    return Split(serial_).dayOfMonth;
}
int Date::Hour() const {
    return Split(serial_).hour;
}
int Date::Minute() const {
    return Split(serial_).minute;
}
int Date::Second() const {
    return Split(serial_).second;
}

int Date::Weekday() const {
    std::chrono::weekday wd{kEpoch + days{Split(serial_).day}};
    return static_cast<int>(wd.c_encoding()) + 1;
}

Date Date::DatePart() const {
    return Date(std::trunc(serial_));
}

double Date::TimePart() const {
    return std::fabs(serial_ - std::trunc(serial_));
}

std::string Date::ShortDateText() const {
    Fields f = Split(serial_);
    std::tm tm{};
    tm.tm_year = f.year - 1900;
    tm.tm_mon = f.month - 1;
    tm.tm_mday = f.dayOfMonth;
    tm.tm_wday = Weekday() - 1;
    std::ostringstream out;
    out.imbue(UserLocale());
    out << std::put_time(&tm, "%x");
    return out.str();
}

std::string Date::TimeText() const {
    const Fields f = Split(serial_);
    return JoinPadded({f.hour, f.minute, f.second}, 2, ':');
}

std::string Date::IsoDate() const {
    const Fields f = Split(serial_);
    return JoinPadded({f.year, f.month, f.dayOfMonth}, 4, '-');
}

std::string Date::IsoDateTime() const {
    return IsoDate() + "T" + TimeText();
}

std::optional<Date> Date::ParseIso(std::string_view text) {
    int y = 0, m = 0, d = 0, hh = 0, mm = 0, ss = 0;
    if (!(text.size() == 10 || text.size() == 19) || !ReadNumber(text, 0, 4, y) || text[4] != '-' ||
        !ReadNumber(text, 5, 2, m) || text[7] != '-' || !ReadNumber(text, 8, 2, d)) {
        return std::nullopt;
    }
    if (text.size() == 19 &&
        (!(text[10] == 'T' || text[10] == ' ') || !ReadNumber(text, 11, 2, hh) || text[13] != ':' ||
         !ReadNumber(text, 14, 2, mm) || text[16] != ':' || !ReadNumber(text, 17, 2, ss))) {
        return std::nullopt;
    }
    try {
        return FromYMDHMS(y, m, d, hh, mm, ss);
    } catch (const AutomationError&) {
        return std::nullopt;
    }
}

}  // namespace vesk
