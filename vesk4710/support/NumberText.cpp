#include "vesk4710/support/NumberText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <vector>

#include "vesk4710/support/AutomationError.h"

namespace vesk {

namespace {

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}
bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\v' || c == '\f';
}

// A double as its decimal digits rounded to 15 significant digits, the precision automation
// number text works at: value = d0.d1d2... * 10^exponent.
struct Decimal {
    bool negative = false;
    bool zero = true;
    std::string digits;  // no trailing zeros; "0" for zero
    int exponent = 0;
};

Decimal ToDecimal(double v) {
    Decimal d;
    d.negative = std::signbit(v);
    if (v == 0.0) {
        d.digits = "0";
        return d;
    }
    char buf[64];
    auto res =
        std::to_chars(buf, buf + sizeof buf, std::fabs(v), std::chars_format::scientific, 14);
    std::string_view text(buf, static_cast<size_t>(res.ptr - buf));
    size_t e = text.find('e');
    for (size_t i = 0; i < e; ++i) {
        if (IsDigit(text[i])) {
            d.digits.push_back(text[i]);
        }
    }
    int exponent = 0;
    std::string_view exp = text.substr(e + 1);
    if (!exp.empty() && exp.front() == '+') {
        exp.remove_prefix(1);
    }
    std::from_chars(exp.data(), exp.data() + exp.size(), exponent);
    d.exponent = exponent;
    while (d.digits.size() > 1 && d.digits.back() == '0') {
        d.digits.pop_back();
    }
    d.zero = false;
    return d;
}

std::string ExponentText(int exponent, bool alwaysSign, size_t minDigits) {
    std::string out;
    if (exponent < 0) {
        out.push_back('-');
    } else if (alwaysSign) {
        out.push_back('+');
    }
    std::string digits = NumberText(static_cast<int64_t>(std::abs(exponent)));
    if (digits.size() < minDigits) {
        digits.insert(0, minDigits - digits.size(), '0');
    }
    return out + digits;
}

std::string NonFiniteText(double v) {
    if (std::isnan(v)) {
        return "NaN";
    }
    return v < 0 ? "-Infinity" : "Infinity";
}

// Rounds a digit string (most significant first) to keep `keep` digits, half away from zero.
// Returns true when the carry added a leading digit.
bool RoundDigits(std::string& digits, long keep) {
    if (keep < 0) {
        digits.clear();
        return false;
    }
    if (static_cast<size_t>(keep) >= digits.size()) {
        digits.append(static_cast<size_t>(keep) - digits.size(), '0');
        return false;
    }
    bool up = digits[static_cast<size_t>(keep)] >= '5';
    digits.resize(static_cast<size_t>(keep));
    if (!up) {
        return false;
    }
    for (size_t i = digits.size(); i-- > 0;) {
        if (digits[i] == '9') {
            digits[i] = '0';
        } else {
            ++digits[i];
            return false;
        }
    }
    digits.insert(digits.begin(), '1');
    return true;
}

// One section of a number pattern.
struct Pattern {
    std::string prefix;
    std::string suffix;
    int intPlaces = 0;  // '0' and '#' before the point
    int intZeros = 0;   // '0' before the point
    bool grouping = false;
    bool point = false;
    std::string frac;  // '0'/'#' after the point
    bool exp = false;
    char expChar = 'E';
    bool expPlus = false;
    size_t expZeros = 0;
    bool percent = false;
};

Pattern ParsePattern(std::string_view p) {
    Pattern pat;
    enum { kPrefix, kInt, kFrac, kExp, kSuffix } state = kPrefix;
    auto literal = [&](std::string_view s) {
        (state == kPrefix ? pat.prefix : pat.suffix).append(s);
    };
    for (size_t i = 0; i < p.size(); ++i) {
        char c = p[i];
        if (c == '\\' && i + 1 < p.size()) {
            literal(p.substr(++i, 1));
        } else if (c == '"') {
            size_t end = p.find('"', i + 1);
            if (end == std::string_view::npos) {
                end = p.size();
            }
            literal(p.substr(i + 1, end - i - 1));
            i = end;
        } else if (c == '0' || c == '#') {
            if (state == kPrefix || state == kInt) {
                state = kInt;
                ++pat.intPlaces;
                pat.intZeros += c == '0' ? 1 : 0;
            } else if (state == kFrac) {
                pat.frac.push_back(c);
            } else if (state == kExp) {
                pat.expZeros += c == '0' ? 1 : 0;
            } else {
                literal(p.substr(i, 1));
            }
        } else if (c == '.' && (state == kPrefix || state == kInt)) {
            pat.point = true;
            state = kFrac;
        } else if (c == ',' && state == kInt) {
            pat.grouping = true;
        } else if ((c == 'E' || c == 'e') && (state == kInt || state == kFrac) &&
                   i + 1 < p.size() && (p[i + 1] == '+' || p[i + 1] == '-')) {
            pat.exp = true;
            pat.expChar = c;
            pat.expPlus = p[i + 1] == '+';
            state = kExp;
            ++i;
        } else {
            if (c == '%') {
                pat.percent = true;
            }
            if (state != kPrefix) {
                state = kSuffix;
            }
            literal(p.substr(i, 1));
        }
    }
    return pat;
}

std::string Group(std::string digits) {
    std::string sep = LocaleThousandsSeparator();
    if (sep.empty()) {
        return digits;
    }
    for (long i = static_cast<long>(digits.size()) - 3; i > 0; i -= 3) {
        digits.insert(static_cast<size_t>(i), sep);
    }
    return digits;
}

// Drops the optional ('#') trailing zeros of a fraction.
void TrimOptional(std::string& frac, const std::string& places) {
    while (!frac.empty() && frac.back() == '0' && places[frac.size() - 1] == '#') {
        frac.pop_back();
    }
}

// Formats the magnitude of d; `nonZero` tells whether anything but zeros was shown.
std::string FormatMagnitude(Decimal d, const Pattern& pat, bool& nonZero) {
    if (pat.percent && !d.zero) {
        d.exponent += 2;
    }
    const long decimals = static_cast<long>(pat.frac.size());
    std::string intPart;
    std::string frac;
    std::string expText;
    if (pat.exp) {
        long intDigits = pat.intPlaces;
        int shown = 0;
        std::string digits = d.digits;
        if (d.zero) {
            digits.assign(static_cast<size_t>(intDigits + decimals), '0');
        } else {
            if (RoundDigits(digits, intDigits + decimals)) {
                ++d.exponent;
                digits.pop_back();
            }
            shown = d.exponent - static_cast<int>(intDigits) + 1;
        }
        intPart = digits.substr(0, static_cast<size_t>(intDigits));
        frac = digits.substr(static_cast<size_t>(intDigits));
        expText = std::string(1, pat.expChar) + ExponentText(shown, pat.expPlus, pat.expZeros);
    } else {
        // Digit i of d.digits sits at 10^(exponent - i).
        std::string digits = d.digits;
        long lead = d.exponent;  // power of the first digit
        if (d.zero) {
            digits = "0";
            lead = 0;
        }
        if (lead < 0) {
            // Pad with the zeros between the point and the first digit.
            digits.insert(0, static_cast<size_t>(-lead), '0');
            lead = 0;
        }
        long keep = lead + 1 + decimals;
        if (RoundDigits(digits, keep)) {
            ++lead;
        }
        intPart = digits.substr(0, static_cast<size_t>(lead + 1));
        frac = digits.substr(static_cast<size_t>(lead + 1));
    }
    nonZero = std::any_of(intPart.begin(), intPart.end(), [](char c) { return c != '0'; }) ||
              std::any_of(frac.begin(), frac.end(), [](char c) { return c != '0'; });
    if (!pat.exp) {
        size_t first = intPart.find_first_not_of('0');
        intPart = first == std::string::npos ? std::string() : intPart.substr(first);
        if (intPart.size() < static_cast<size_t>(pat.intZeros)) {
            intPart.insert(0, static_cast<size_t>(pat.intZeros) - intPart.size(), '0');
        }
    }
    if (pat.grouping) {
        intPart = Group(intPart);
    }
    TrimOptional(frac, pat.frac);
    std::string out = pat.prefix + intPart;
    if (pat.point) {
        out += LocaleDecimalSeparator() + frac;
    }
    return out + expText + pat.suffix;
}

std::vector<std::string_view> SplitSections(std::string_view pattern) {
    std::vector<std::string_view> sections;
    size_t start = 0;
    bool quoted = false;
    for (size_t i = 0; i < pattern.size(); ++i) {
        if (pattern[i] == '\\') {
            ++i;
        } else if (pattern[i] == '"') {
            quoted = !quoted;
        } else if (pattern[i] == ';' && !quoted) {
            sections.push_back(pattern.substr(start, i - start));
            start = i + 1;
        }
    }
    sections.push_back(pattern.substr(start));
    return sections;
}

std::string_view NamedPattern(std::string_view pattern) {
    if (pattern == "Fixed") {
        return "0.00";
    }
    if (pattern == "Standard") {
        return "#,##0.00";
    }
    if (pattern == "Percent") {
        return "0.00%";
    }
    if (pattern == "Scientific") {
        return "0.00E+00";
    }
    return pattern;
}

template <class Int>
Int RoundToInteger(double v) {
    if (std::isnan(v)) {
        throw AutomationError::Runtime(kErrOverflow);
    }
    double f = std::floor(v);
    double diff = v - f;
    double r = f;
    if (diff > 0.5 || (diff == 0.5 && std::fmod(f, 2.0) != 0.0)) {
        r = f + 1.0;
    }
    if (r < static_cast<double>(std::numeric_limits<Int>::min()) ||
        r > static_cast<double>(std::numeric_limits<Int>::max())) {
        throw AutomationError::Runtime(kErrOverflow);
    }
    return static_cast<Int>(r);
}

}  // namespace

double Val(std::string_view text) {
    size_t i = 0;
    const size_t n = text.size();
    while (i < n && IsBlank(text[i])) {
        ++i;
    }
    std::string number;
    if (i < n && (text[i] == '-' || text[i] == '+')) {
        if (text[i] == '-') {
            number.push_back('-');
        }
        ++i;
    }
    bool anyDigit = false;
    bool point = false;
    long intDigits = 0;    // significant digits before the point
    long leadingFrac = 0;  // zeros after the point before the first significant digit
    bool significant = false;
    for (; i < n; ++i) {
        char c = text[i];
        if (IsDigit(c)) {
            anyDigit = true;
            number.push_back(c);
            if (c != '0') {
                significant = true;
            }
            if (!point && significant) {
                ++intDigits;
            } else if (point && !significant) {
                ++leadingFrac;
            }
        } else if (c == '.' && !point) {
            point = true;
            number.push_back('.');
        } else {
            break;
        }
    }
    if (!anyDigit) {
        return 0.0;
    }
    long exponent = 0;
    if (i < n && (text[i] == 'e' || text[i] == 'E' || text[i] == 'd' || text[i] == 'D')) {
        size_t j = i + 1;
        bool negative = false;
        if (j < n && (text[j] == '-' || text[j] == '+')) {
            negative = text[j] == '-';
            ++j;
        }
        if (j < n && IsDigit(text[j])) {
            number.push_back('e');
            if (negative) {
                number.push_back('-');
            }
            for (; j < n && IsDigit(text[j]); ++j) {
                number.push_back(text[j]);
                if (exponent < 100000000) {
                    exponent = exponent * 10 + (text[j] - '0');
                }
            }
            if (negative) {
                exponent = -exponent;
            }
        }
    }
    double value = 0.0;
    auto res = std::from_chars(number.data(), number.data() + number.size(), value);
    if (res.ec == std::errc::result_out_of_range) {
        // Decide between overflow and underflow from the decimal magnitude.
        long magnitude = (intDigits > 0 ? intDigits : -leadingFrac) + exponent;
        bool negative = !number.empty() && number.front() == '-';
        if (!significant || magnitude <= 0) {
            return negative ? -0.0 : 0.0;
        }
        return negative ? -std::numeric_limits<double>::infinity()
                        : std::numeric_limits<double>::infinity();
    }
    if (res.ec != std::errc()) {
        return 0.0;
    }
    return value;
}

int16_t CInt16(double v) {
    return RoundToInteger<int16_t>(v);
}

int32_t CInt32(double v) {
    return RoundToInteger<int32_t>(v);
}

std::string NumberText(double v) {
    if (!std::isfinite(v)) {
        return NonFiniteText(v);
    }
    Decimal d = ToDecimal(v);
    if (d.zero) {
        return "0";
    }
    std::string out = d.negative ? "-" : "";
    const std::string sep = LocaleDecimalSeparator();
    const std::string& digits = d.digits;
    if (d.exponent >= 15 || d.exponent < -4) {
        out += digits.substr(0, 1);
        if (digits.size() > 1) {
            out += sep + digits.substr(1);
        }
        return out + "E" + ExponentText(d.exponent, true, 2);
    }
    if (d.exponent < 0) {
        return out + "0" + sep + std::string(static_cast<size_t>(-d.exponent - 1), '0') + digits;
    }
    size_t intLen = static_cast<size_t>(d.exponent) + 1;
    if (digits.size() <= intLen) {
        return out + digits + std::string(intLen - digits.size(), '0');
    }
    return out + digits.substr(0, intLen) + sep + digits.substr(intLen);
}

std::string NumberText(int64_t v) {
    char buf[32];
    auto res = std::to_chars(buf, buf + sizeof buf, v);
    return std::string(buf, res.ptr);
}

std::string FormatNumber(double v, std::string_view pattern) {
    if (!std::isfinite(v)) {
        return NonFiniteText(v);
    }
    pattern = NamedPattern(pattern);
    if (pattern.empty() || pattern == "General Number") {
        return NumberText(v);
    }
    std::vector<std::string_view> sections = SplitSections(pattern);
    Decimal d = ToDecimal(v);
    bool nonZero = false;
    if (d.zero && sections.size() >= 3 && !sections[2].empty()) {
        return FormatMagnitude(d, ParsePattern(sections[2]), nonZero);
    }
    if (!d.zero && d.negative && sections.size() >= 2 && !sections[1].empty()) {
        // The negative section carries its own sign (or none).
        return FormatMagnitude(d, ParsePattern(sections[1]), nonZero);
    }
    std::string out = FormatMagnitude(d, ParsePattern(sections[0]), nonZero);
    // A value that rounds to zero is shown without a minus sign.
    return d.negative && nonZero ? "-" + out : out;
}

bool IsNumeric(std::string_view text) {
    while (!text.empty() && IsBlank(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && IsBlank(text.back())) {
        text.remove_suffix(1);
    }
    const std::string sep = LocaleDecimalSeparator();
    size_t i = 0;
    const size_t n = text.size();
    if (i < n && (text[i] == '+' || text[i] == '-')) {
        ++i;
    }
    bool digits = false;
    bool point = false;
    while (i < n) {
        if (IsDigit(text[i])) {
            digits = true;
            ++i;
        } else if (!point && text.substr(i, sep.size()) == sep) {
            point = true;
            i += sep.size();
        } else if (!point && text[i] == '.') {
            point = true;
            ++i;
        } else {
            break;
        }
    }
    if (!digits) {
        return false;
    }
    if (i < n && (text[i] == 'e' || text[i] == 'E' || text[i] == 'd' || text[i] == 'D')) {
        ++i;
        if (i < n && (text[i] == '+' || text[i] == '-')) {
            ++i;
        }
        if (i >= n || !IsDigit(text[i])) {
            return false;
        }
        while (i < n && IsDigit(text[i])) {
            ++i;
        }
    }
    return i == n;
}

std::string ToInvariantDecimal(std::string text) {
    const std::string sep = LocaleDecimalSeparator();
    if (sep == "." || sep.empty()) {
        return text;
    }
    size_t pos = 0;
    while ((pos = text.find(sep, pos)) != std::string::npos) {
        text.replace(pos, sep.size(), ".");
        pos += 1;
    }
    return text;
}

}  // namespace vesk
