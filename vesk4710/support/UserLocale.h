#pragma once
// State shared by the whole library: the user's locale, captured once on first use and kept
// for the life of the library (a later locale change is not picked up, by design).
#include <locale>
#include <string>

namespace vesk {

// The user's locale: the environment's locale, or the global one if that cannot be built.
const std::locale& UserLocale();
// The user's decimal separator, e.g. "," under de_DE.
std::string LocaleDecimalSeparator();
// The user's digit-group separator (may be empty).
std::string LocaleThousandsSeparator();

}  // namespace vesk
