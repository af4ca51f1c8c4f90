// Dates as the instrument reports them ("year,month,day" and "YYYY/MM/DD") and the ISO form
// the files use: a date comes out valid or the reader refuses it with an automation error.
#include <charconv>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "fuzz/support/FuzzSupport.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/support/Date.h"
#include "vesk4710/support/StringTable.h"

using namespace vesk;

namespace {

void CheckValid(const Date& d, const std::string& what) {
    if (d.Year() < 100 || d.Year() > 9999 || d.Month() < 1 || d.Month() > 12 || d.Day() < 1 ||
        d.Day() > 31) {
        fuzz::Fail(what + " made the impossible date " + d.IsoDateTime());
    }
}

// "y,m,d" of plain numbers within the calendar: the date itself.
bool PlainDate(std::string_view text, int& y, int& m, int& d) {
    int* parts[] = {&y, &m, &d};
    for (int i = 0; i < 3; ++i) {
        const size_t comma = i < 2 ? text.find(',') : text.size();
        if (comma == std::string_view::npos || comma == 0) {
            return false;
        }
        const auto [end, ec] = std::from_chars(text.data(), text.data() + comma, *parts[i]);
        if (ec != std::errc() || end != text.data() + comma) {
            return false;
        }
        text.remove_prefix(i < 2 ? comma + 1 : comma);
    }
    return y >= 1900 && y <= 9999 && m >= 1 && m <= 12 && d >= 1 && d <= 28;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);

    Date ymd;
    if (fuzz::Guard("DateFromYMD", [&] { ymd = DateFromYMD(text); })) {
        CheckValid(ymd, "DateFromYMD(" + text + ")");
        int y = 0, m = 0, d = 0;
        if (PlainDate(text, y, m, d) && ymd != Date::FromYMD(y, m, d)) {
            fuzz::Fail("DateFromYMD(" + text + ") = " + ymd.IsoDate());
        }
    }

    if (const auto iso = Date::ParseIso(text)) {
        CheckValid(*iso, "ParseIso");
        std::string expected = text;
        if (expected.size() == 19) {
            expected[10] = 'T';
        }
        const std::string back = expected.size() == 10 ? iso->IsoDate() : iso->IsoDateTime();
        if (back != expected) {
            fuzz::Fail("ParseIso(" + text + ") reads back as " + back);
        }
    }

    auto host = std::make_shared<fuzz::FuzzHost>();
    auto unit = CVesk4710::Create(host);
    fuzz::Guard("ConvDate", [&] { unit->ConvDate(text); });
    return 0;
}
