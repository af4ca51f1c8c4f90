// Number text as it arrives from the instrument: the leading-number reader, the 16- and 32-bit
// conversions, the default number text and the format patterns, which must read back as the
// same value to the precision they show.
#include <cmath>
#include <limits>

#include "fuzz/support/FuzzSupport.h"
#include "vesk4710/support/NumberText.h"

using namespace vesk;

namespace {

template <class Int>
void CheckRounding(double v, const char* what, Int (*convert)(double)) {
    Int r = 0;
    if (!fuzz::Guard(what, [&] { r = convert(v); })) {
        // Only NaN and values beyond the type may be refused.
        if (!std::isnan(v) && v > std::numeric_limits<Int>::min() - 0.5 &&
            v < std::numeric_limits<Int>::max() + 0.5) {
            fuzz::Fail(std::string(what) + " refused an in-range value");
        }
        return;
    }
    const double diff = static_cast<double>(r) - v;
    if (std::fabs(diff) > 0.5 || (std::fabs(diff) == 0.5 && r % 2 != 0)) {
        fuzz::Fail(std::string(what) + " rounded " + NumberText(v) + " to " +
                   NumberText(static_cast<int64_t>(r)));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const double v = Val(text);
    CheckRounding<int16_t>(v, "CInt16", CInt16);
    CheckRounding<int32_t>(v, "CInt32", CInt32);

    // Default number text keeps 15 significant digits: reading it back gives the value to
    // that precision (the largest doubles round up beyond the range, so they are left out).
    const std::string shown = NumberText(v);
    if (std::isfinite(v) && std::fabs(v) < 1e308) {
        const double back = Val(shown);
        const double tolerance = std::fabs(v) * 1e-14;
        if (!(std::fabs(back - v) <= tolerance) &&
            !(std::fabs(v) < std::numeric_limits<double>::min() && std::fabs(back - v) < 1e-307)) {
            fuzz::Fail("NumberText(" + std::string(text.substr(0, 40)) + ") = " + shown +
                       " reads back as " + NumberText(back));
        }
    }
    if (IsNumeric(shown) != std::isfinite(v)) {
        fuzz::Fail("IsNumeric disagrees with the number text " + shown);
    }
    // The format patterns the library writes numbers with.
    static const char* const kPatterns[] = {"#0.000",  "##0.00000", "0.0000000E-00", "###0",
                                            "###0.00", "##0",       "0.00"};
    for (const char* pattern : kPatterns) {
        const std::string formatted = FormatNumber(v, pattern);
        if (std::isfinite(v) && std::fabs(v) < 1e15) {
            const double back = Val(ToInvariantDecimal(formatted));
            // Rounded to the places the pattern shows: half a unit of the last one at most
            // (eight significant digits for the scientific pattern).
            const bool scientific = std::string_view(pattern).find('E') != std::string_view::npos;
            const double tolerance =
                scientific ? std::fabs(v) * 1e-7 + 1e-300 : 0.5 + std::fabs(v) * 1e-14;
            if (!(std::fabs(back - v) <= tolerance)) {
                fuzz::Fail("FormatNumber(" + shown + ", " + pattern + ") = " + formatted);
            }
        }
    }
    return 0;
}
