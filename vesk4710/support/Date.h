#pragma once
// Automation date: days since 30 December 1899 as a double; the fraction is the time of day.
// Before the epoch the integer part counts days back while the fraction still runs forward
// (-1.25 is 29 December 1899, 06:00), as automation clients expect.
#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace vesk {

class Date {
  public:
    Date() = default;
    explicit Date(double serial) : serial_(serial) {}
    double Serial() const { return serial_; }

    // Month and day roll over (month 13 is January of the next year, day 0 the last day of
    // the previous month). A result before year 100 or after 9999 raises error 5.
    static Date DateSerial(int year, int month, int day);
    // An exact calendar date; an impossible date or one out of range raises error 5.
    static Date FromYMD(int year, int month, int day);
    // Adds a time of day (0..23, 0..59, 0..59) to a date; out of range raises error 5.
    static Date FromYMDHMS(int year, int month, int day, int hour, int minute, int second);
    static Date Now();
    static Date Today();

    // Calendar arithmetic; a day beyond the end of the target month is clamped to it.
    Date AddYears(int n) const;
    Date AddMonths(int n) const;
    Date AddDays(double n) const;

    int Year() const;
    int Month() const;
    int Day() const;
    int Hour() const;
    int Minute() const;
    int Second() const;
    // 1 = Sunday .. 7 = Saturday.
    int Weekday() const;

    // The date part alone and the time part alone.
    Date DatePart() const;
    double TimePart() const;

    std::string ShortDateText() const;  // the user's locale short date
    std::string TimeText() const;       // "HH:MM:SS"
    std::string IsoDate() const;        // "2024-03-07"
    std::string IsoDateTime() const;    // "2024-03-07T12:34:56"
    // "YYYY-MM-DD", optionally followed by "THH:MM:SS" or " HH:MM:SS"; nothing else.
    static std::optional<Date> ParseIso(std::string_view text);

    auto operator<=>(const Date&) const = default;
    bool operator==(const Date&) const = default;

  private:
    double serial_ = 0.0;
};

// Day numbers of the supported range: 1 January 100 .. 31 December 9999.
inline constexpr long kMinDateDay = -657434;
inline constexpr long kMaxDateDay = 2958465;

}  // namespace vesk
