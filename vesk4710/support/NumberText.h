#pragma once
// Number <-> text under the automation rules, independent of the C library's locale.
#include <cstdint>
#include <string>
#include <string_view>

#include "vesk4710/support/UserLocale.h"

namespace vesk {

// The longest leading number: blanks skipped, optional sign, digits with one ".", optional
// exponent (E, e, D or d with optional sign). Period decimal only. 0 when none; never throws
// (an exponent beyond the double range gives +/- infinity or 0).
double Val(std::string_view text);

// Round half to even; NaN or out of range raises error 6 "Overflow".
int16_t CInt16(double v);
int32_t CInt32(double v);

// Default number text: up to 15 significant digits, no trailing zeros, fixed notation for
// 1E-04 <= |v| < 1E+15 and "1.5E+20" / "1E-05" beyond; locale decimal separator.
// NaN gives "NaN", infinities "Infinity" / "-Infinity".
std::string NumberText(double v);
std::string NumberText(int64_t v);
inline std::string NumberText(int32_t v) {
    return NumberText(static_cast<int64_t>(v));
}
inline std::string NumberText(int16_t v) {
    return NumberText(static_cast<int64_t>(v));
}

// Number pattern: "0" required digit, "#" optional digit, "." decimal point (locale separator
// in the output), "," digit grouping, "%" percent, "E-0"/"E+0" exponent (E- signs only a
// negative exponent, E+ always), "\x" and "..." literals, up to three sections
// "positive;negative;zero". Rounds half away from zero on the 15-digit decimal value.
std::string FormatNumber(double v, std::string_view pattern);

// Whether the whole text (surrounding blanks allowed) is one number: optional sign, digits
// with one decimal separator (the locale's or "."), optional exponent.
bool IsNumeric(std::string_view text);

// Every locale decimal separator replaced by "." (before text is converted or sent).
std::string ToInvariantDecimal(std::string text);

}  // namespace vesk
