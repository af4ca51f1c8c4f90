// cal show|set|date: calibration parameters by range and the calibration date.
#include <fmt/format.h>

#include <optional>

#include "apps/vesk4710/Cli.h"
#include "vesk4710/calibration/CalibrationGrid.h"
#include "vesk4710/support/NumberText.h"

namespace vesk::cli {

namespace {

struct CalSetOptions {
    std::string range;
    int32_t point = 0;
    std::string reference;
    std::string value;
};

int32_t ReferenceColumn(const std::string& range) {
    const std::string wanted = Lower(range);
    for (size_t r = 0; r < kCalRangeNames.size(); ++r) {
        if (Lower(kCalRangeNames[r]) == wanted) {
            return static_cast<int32_t>(1 + 2 * r);
        }
    }
    std::string names;
    for (const char* n : kCalRangeNames) {
        names += (names.empty() ? "" : ", ") + std::string(n);
    }
    throw UsageError("unknown calibration range \"" + comm::Printable(range, 60) +
                     "\"; ranges: " + names);
}

int32_t DefinedPoints(const IGridControl& grid, int32_t col) {
    int32_t n = 0;
    for (int32_t p = 1; p <= kCalMaxPoints; ++p) {
        if (grid.TextMatrix(kCalFirstPointRow + p - 1, col) != kCalUnusedCell) {
            n = p;
        }
    }
    return n;
}

nlohmann::json RangeJson(const IGridControl& grid, int32_t col) {
    nlohmann::json points = nlohmann::json::array();
    for (int32_t p = 1; p <= kCalMaxPoints; ++p) {
        const int32_t row = kCalFirstPointRow + p - 1;
        const std::string ref = grid.TextMatrix(row, col);
        if (ref == kCalUnusedCell) {
            continue;
        }
        // Cells hold the instrument's period-decimal text.
        points.push_back(
            {{"point", p}, {"reference", Val(ref)}, {"value", Val(grid.TextMatrix(row, col + 1))}});
    }
    return points;
}

void PrintRange(const Output& out, const IGridControl& grid, int32_t col) {
    out.Line(grid.TextMatrix(0, col));
    for (const auto& p : RangeJson(grid, col)) {
        out.Line(fmt::format("  ADJ{}  reference {:<14} value {}", p["point"].get<int>(),
                             NumberString(p["reference"].get<double>()),
                             NumberString(p["value"].get<double>())));
    }
}

void FillGrid(CVesk4710& inst) {
    Check(inst.FillCalibrationGrid(inst.CalibrationGrid()), "reading the calibration parameters");
}

void RunShow(Session& s, const Output& out) {
    CVesk4710& inst = s.Instrument();
    s.Identify();
    Check(inst.QueryCalibrationDate(), "reading the calibration date");
    FillGrid(inst);
    const IGridControl& grid = inst.CalibrationGrid();
    if (out.Json()) {
        nlohmann::json ranges = nlohmann::json::object();
        for (int32_t c = 1; c < kCalGridCols; c += 2) {
            ranges[grid.TextMatrix(0, c)] = RangeJson(grid, c);
        }
        out.Json({{"calDate", inst.CalDate().IsoDate()}, {"ranges", ranges}});
        return;
    }
    out.Line("Calibration date " + inst.CalDate().IsoDate());
    for (int32_t c = 1; c < kCalGridCols; c += 2) {
        PrintRange(out, grid, c);
    }
}

void RunSet(Session& s, const Output& out, const CalSetOptions& o) {
    const int32_t col = ReferenceColumn(o.range);
    if (o.point < 1 || o.point > kCalMaxPoints) {
        throw UsageError(fmt::format("the point is 1 to {}", kCalMaxPoints));
    }
    const auto reference = ParseNumber(o.reference);
    const auto value = ParseNumber(o.value);
    if (!reference || !value) {
        throw UsageError("the reference and the value are numbers with \".\" as decimal point");
    }
    CVesk4710& inst = s.Instrument();
    s.Identify();
    FillGrid(inst);
    IGridControl& grid = inst.CalibrationGrid();
    const int32_t defined = DefinedPoints(grid, col);
    if (o.point > defined + 1) {
        throw UsageError(fmt::format("{} has {} points; the next one to add is {}",
                                     grid.TextMatrix(0, col), defined, defined + 1));
    }
    // A typed cell is in the user's notation, as the settings dialog's grid holds it.
    const int32_t row = kCalFirstPointRow + o.point - 1;
    grid.TextMatrix(row, col, NumberText(*reference));
    grid.TextMatrix(row, col + 1, NumberText(*value));
    s.WithUnlock("the calibration", [&] { inst.UpdateCalParameters(grid); });
    FillGrid(inst);
    if (out.Json()) {
        out.Json({{"range", grid.TextMatrix(0, col)}, {"points", RangeJson(grid, col)}});
    } else {
        PrintRange(out, grid, col);
    }
}

void RunDate(Session& s, const Output& out, const std::optional<std::string>& text) {
    CVesk4710& inst = s.Instrument();
    if (text) {
        const Date d = ParseCalDate(*text);
        s.Identify();
        inst.CalDate(d);
        s.WithUnlock("the calibration date", [&] { inst.UpdateCalibrationDate(); });
    } else {
        s.Identify();
    }
    Check(inst.QueryCalibrationDate(), "reading the calibration date");
    if (out.Json()) {
        out.Json({{"calDate", inst.CalDate().IsoDate()}});
    } else {
        out.Line(inst.CalDate().IsoDate());
    }
}

}  // namespace

void AddCalCommand(CLI::App& app, Commands& commands) {
    auto* cal = app.add_subcommand("cal", "Calibration parameters and date");
    cal->require_subcommand(1);

    auto* show = cal->add_subcommand("show", "Show every range's adjustment points and the date");
    commands.push_back({show, true, [](Session* s, const Output& out) { RunShow(*s, out); }});

    auto o = std::make_shared<CalSetOptions>();
    auto* set = cal->add_subcommand(
        "set", "Set one adjustment point of a range (L75_OHMS, LO_OHMS, MED_OHMS, HI_OHMS, MV)");
    set->add_option("RANGE", o->range, "Range name")->required();
    set->add_option("POINT", o->point, "Point number, 1 to 4")->required();
    set->add_option("REFERENCE", o->reference, "Reference value")->required();
    set->add_option("VALUE", o->value, "Measured value")->required();
    commands.push_back({set, true, [o](Session* s, const Output& out) { RunSet(*s, out, *o); }});

    auto date = std::make_shared<std::optional<std::string>>();
    auto* dateCmd = cal->add_subcommand("date", "Show the calibration date, or set it");
    dateCmd->add_option_function<std::string>(
        "DATE", [date](const std::string& v) { *date = v; }, "New date, YYYY-MM-DD");
    commands.push_back(
        {dateCmd, true, [date](Session* s, const Output& out) { RunDate(*s, out, *date); }});
}

}  // namespace vesk::cli
