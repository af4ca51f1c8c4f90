// Calibration parameters by range, and the calibration date.
#include "vesk4710/calibration/CalibrationGrid.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/core/CVesk4710Internal.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk {

namespace {

// Reads one value of a calibration point.
std::string ReadPoint(ICommunications& comm, int32_t id, int32_t point) {
    comm.params().ClearAll();
    comm.params().PointNumber(NumberText(static_cast<int64_t>(point)));
    return comm.ReadSetting(id, true, "");
}

void WritePoint(ICommunications& comm, int32_t id, int32_t point, const std::string& value) {
    comm.params().ClearAll();
    comm.params().PointNumber(NumberText(static_cast<int64_t>(point)));
    comm.params().Value(value);
    comm.WriteSetting(id);
}

// A typed cell goes to the instrument with a period decimal.
bool WritableCell(const std::string& cell) {
    return cell != kCalUnusedCell && IsNumeric(cell);
}

}  // namespace

vesk::CalibrationGrid& CVesk4710::CalibrationGrid() {
    return *calGrid_;
}
const vesk::CalibrationGrid& CVesk4710::CalibrationGrid() const {
    return *calGrid_;
}

IGridControl& CVesk4710::GridOf(IForm* frm) {
    if (frm != nullptr) {
        if (IGridControl* grid = frm->vsfgCalParams()) {
            return *grid;
        }
    }
    return *calGrid_;
}

bool CVesk4710::FillCalibrationGrid(IGridControl& grid) {
    try {
        auto comm = Session();
        if (grid.Rows() < kCalGridRows || grid.Cols() < kCalGridCols) {
            LayOutCalibrationGrid(grid);
        }
        for (int32_t c = 1; c < kCalGridCols; c += 2) {
            detail::WriteValue(*comm, SET_CAL_RANGE, grid.TextMatrix(0, c));
            const int16_t defined = CInt16(Val(detail::ReadSetting(*comm, SET_CAL_COUNT_READ)));
            for (int32_t p = 1; p <= kCalMaxPoints; ++p) {
                const int32_t row = kCalFirstPointRow + p - 1;
                grid.TextMatrix(row, 0, "ADJ" + NumberText(static_cast<int64_t>(p)));
                if (p > defined) {
                    grid.TextMatrix(row, c, kCalUnusedCell);
                    grid.TextMatrix(row, c + 1, kCalUnusedCell);
                } else {
                    grid.TextMatrix(row, c, ReadPoint(*comm, SET_CAL_REFERENCE_READ, p));
                    grid.TextMatrix(row, c + 1, ReadPoint(*comm, SET_CAL_VALUE_READ, p));
                }
            }
        }
        grid.AutoSize(0, grid.Cols() - 1);
        grid.Refresh();
        detail::WriteValue(*comm, SET_CAL_RANGE, kCalNormalRange);
        if (&grid == calGrid_.get()) {
            calGridFilled_ = true;
        }
        return true;
    } catch (...) {
        Rethrow("FillCalibrationGrid");
    }
}

bool CVesk4710::UpdateCalParameters(IGridControl& grid) {
    try {
        auto comm = Session();
        for (int32_t c = 1; c < kCalGridCols; c += 2) {
            detail::WriteValue(*comm, SET_CAL_RANGE, grid.TextMatrix(0, c));
            int32_t count = 0;
            for (int32_t row = kCalFirstPointRow; row < grid.Rows(); ++row) {
                if (grid.TextMatrix(row, c) != kCalUnusedCell) {
                    ++count;
                }
            }
            detail::WriteValue(*comm, SET_CAL_COUNT_WRITE, NumberText(static_cast<int64_t>(count)));
            // A cell that is not a number is skipped: the instrument keeps that point.
            const std::pair<int32_t, int32_t> columns[] = {{c, SET_CAL_REFERENCE_WRITE},
                                                           {c + 1, SET_CAL_VALUE_WRITE}};
            for (const auto& [col, id] : columns) {
                for (int32_t p = 1; p <= count; ++p) {
                    const std::string cell = grid.TextMatrix(kCalFirstPointRow + p - 1, col);
                    if (WritableCell(cell)) {
                        WritePoint(*comm, id, p, ToInvariantDecimal(cell));
                    }
                }
            }
        }
        detail::WriteValue(*comm, SET_CAL_RANGE, kCalNormalRange);
        detail::WriteSetting(*comm, SET_PASSCODE_LOCK);
        return true;
    } catch (...) {
        Rethrow("UpdateCalParameters");
    }
}

bool CVesk4710::QueryCalibrationDate() {
    try {
        CalDate(DateFromYMD(detail::ReadSetting(*Session(), SET_CAL_DATE_READ)));
        return true;
    } catch (...) {
        // The trailing blank is part of this source text.
        Rethrow("QueryCalibrationDate ");
    }
}

bool CVesk4710::UpdateCalibrationDate() {
    try {
        const std::string text = NumberText(static_cast<int64_t>(calDate_.Year())) + "," +
                                 NumberText(static_cast<int64_t>(calDate_.Month())) + "," +
                                 NumberText(static_cast<int64_t>(calDate_.Day()));
        detail::WriteValue(*Session(), SET_CAL_DATE_WRITE, text);
        return true;
    } catch (...) {
        Rethrow("UpdateCalibrationDate");
    }
}

// "YYYY/MM/DD": the parts are added to 1 January 1900 month first, then day, then year, so
// that a zero or missing part keeps the start's own.
std::string CVesk4710::ConvDate(const std::string& text) {
    try {
        const std::string_view view(text);
        const double year = Val(view.substr(0, std::min<size_t>(4, view.size())));
        const double month = view.size() > 5 ? Val(view.substr(5)) : 0.0;
        const double day = Val(view.substr(view.size() >= 2 ? view.size() - 2 : 0));
        Date date = Date::FromYMD(1900, 1, 1);
        if (month >= 1) {
            date = date.AddMonths(CInt32(month) - 1);
        }
        if (day >= 1) {
            date = date.AddDays(CInt32(day) - 1);
        }
        if (year >= 1900) {
            date = date.AddYears(CInt32(year) - 1900);
        }
        return date.ShortDateText();
    } catch (...) {
        Rethrow("ConvDate");
    }
}

}  // namespace vesk
