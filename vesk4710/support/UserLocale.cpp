#include "vesk4710/support/UserLocale.h"

namespace vesk {

namespace {

std::locale MakeUserLocale() {
    try {
        return std::locale("");
    } catch (...) {
        // An environment naming a locale that is not installed: use the program's choice.
        return std::locale();
    }
}

}  // namespace

const std::locale& UserLocale() {
    static const std::locale locale = MakeUserLocale();
    return locale;
}

std::string LocaleDecimalSeparator() {
    static const std::string separator = [] {
        char c = std::use_facet<std::numpunct<char>>(UserLocale()).decimal_point();
        return std::string(1, c == '\0' ? '.' : c);
    }();
    return separator;
}

std::string LocaleThousandsSeparator() {
    static const std::string separator = [] {
        const auto& facet = std::use_facet<std::numpunct<char>>(UserLocale());
        // Locales without grouping have no separator to show.
        if (facet.grouping().empty()) {
            return std::string();
        }
        char c = facet.thousands_sep();
        return c == '\0' ? std::string() : std::string(1, c);
    }();
    return separator;
}

}  // namespace vesk
