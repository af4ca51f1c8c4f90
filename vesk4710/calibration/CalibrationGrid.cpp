#include "vesk4710/calibration/CalibrationGrid.h"

#include <algorithm>

#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/NumberText.h"

namespace vesk {

void LayOutCalibrationGrid(IGridControl& grid) {
    grid.Rows(kCalGridRows);
    grid.Cols(kCalGridCols);
    grid.TextMatrix(0, 0, "");
    grid.TextMatrix(1, 0, "");
    for (size_t r = 0; r < kCalRangeNames.size(); ++r) {
        const auto col = static_cast<int32_t>(1 + 2 * r);
        grid.TextMatrix(0, col, kCalRangeNames[r]);
        grid.TextMatrix(0, col + 1, kCalRangeNames[r]);
        grid.TextMatrix(1, col, "Reference");
        grid.TextMatrix(1, col + 1, "Value");
    }
    for (int32_t p = 1; p <= kCalMaxPoints; ++p) {
        const int32_t row = kCalFirstPointRow + p - 1;
        grid.TextMatrix(row, 0, "ADJ" + NumberText(static_cast<int64_t>(p)));
        for (int32_t col = 1; col < kCalGridCols; ++col) {
            grid.TextMatrix(row, col, kCalUnusedCell);
        }
    }
}

CalibrationGrid::CalibrationGrid() {
    LayOutCalibrationGrid(*this);
}

void CalibrationGrid::Rows(int32_t rows) {
    Resize(rows, cols_);
}

void CalibrationGrid::Cols(int32_t cols) {
    Resize(rows_, cols);
}

// Keeps the cells that stay inside the new size.
void CalibrationGrid::Resize(int32_t rows, int32_t cols) {
    if (rows < 0 || cols < 0) {
        throw AutomationError::Runtime(kErrInvalidProcedureCall);
    }
    std::vector<std::string> cells(static_cast<size_t>(rows) * static_cast<size_t>(cols));
    for (int32_t r = 0; r < std::min(rows, rows_); ++r) {
        for (int32_t c = 0; c < std::min(cols, cols_); ++c) {
            cells[static_cast<size_t>(r) * cols + c] = std::move(cells_[Index(r, c)]);
        }
    }
    cells_ = std::move(cells);
    rows_ = rows;
    cols_ = cols;
}

std::size_t CalibrationGrid::Index(int32_t row, int32_t col) const {
    if (row < 0 || row >= rows_ || col < 0 || col >= cols_) {
        throw AutomationError::Runtime(kErrSubscriptOutOfRange);
    }
    return static_cast<size_t>(row) * static_cast<size_t>(cols_) + static_cast<size_t>(col);
}

std::string CalibrationGrid::TextMatrix(int32_t row, int32_t col) const {
    return cells_[Index(row, col)];
}

void CalibrationGrid::TextMatrix(int32_t row, int32_t col, const std::string& text) {
    cells_[Index(row, col)] = text;
}

}  // namespace vesk
