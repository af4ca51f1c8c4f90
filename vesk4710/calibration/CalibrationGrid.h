#pragma once
// The calibration-parameter grid: its fixed layout, and an in-memory grid the instrument
// fills when no dialog supplies one.
#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "vesk4710/platform/IControls.h"

namespace vesk {

// Rows: range names, headings, then one row per adjustment point.
inline constexpr int32_t kCalGridRows = 6;
inline constexpr int32_t kCalGridCols = 11;
inline constexpr int32_t kCalFirstPointRow = 2;
inline constexpr int32_t kCalMaxPoints = 4;
// Range names in column order; each spans a "Reference" and a "Value" column.
inline constexpr std::array<const char*, 5> kCalRangeNames = {"L75_OHMS", "LO_OHMS", "MED_OHMS",
                                                              "HI_OHMS", "MV"};
inline constexpr const char* kCalUnusedCell = "-";
inline constexpr const char* kCalNormalRange = "NORMAL";

// Sizes a grid and writes its fixed texts: range names, headings and point names.
void LayOutCalibrationGrid(IGridControl& grid);

class CalibrationGrid : public IGridControl {
  public:
    CalibrationGrid();

    void Enabled(bool enabled) override { enabled_ = enabled; }
    bool Enabled() const override { return enabled_; }
    int32_t Rows() const override { return rows_; }
    void Rows(int32_t rows) override;
    int32_t Cols() const override { return cols_; }
    void Cols(int32_t cols) override;
    // Cells outside the grid raise subscript out of range, as a grid control does.
    std::string TextMatrix(int32_t row, int32_t col) const override;
    void TextMatrix(int32_t row, int32_t col, const std::string& text) override;
    void AutoSize(int32_t, int32_t) override {}
    void Refresh() override {}

  private:
    void Resize(int32_t rows, int32_t cols);
    std::size_t Index(int32_t row, int32_t col) const;

    bool enabled_ = true;
    int32_t rows_ = 0;
    int32_t cols_ = 0;
    std::vector<std::string> cells_;
};

}  // namespace vesk
