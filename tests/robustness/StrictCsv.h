#pragma once
// A strict reader of the download files' CSV (RFC 4180 with line-feed rows, '#' comment rows):
// anything else is a broken file.
#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace vesk::test {

using CsvRow = std::vector<std::string>;

// The rows of text, or nullopt with why in *error.
inline std::optional<std::vector<CsvRow>> ReadStrictCsv(std::string_view text,
                                                        std::string* error = nullptr) {
    std::vector<CsvRow> rows;
    CsvRow row;
    std::string field, why;
    // Inside a quoted field; whether the current field was quoted (only a separator may follow).
    bool inQuotes = false, quoted = false;
    for (size_t i = 0; i < text.size() && why.empty(); ++i) {
        const char c = text[i];
        if (c == '#' && row.empty() && field.empty() && !quoted && !inQuotes) {
            i = std::min(text.find('\n', i), text.size());
            continue;
        }
        if (inQuotes) {
            if (c != '"') {
                field += c;
            } else if (i + 1 < text.size() && text[i + 1] == '"') {
                field += text[i++];
            } else {
                inQuotes = false;
            }
        } else if (c == ',' || c == '\n') {
            row.push_back(std::exchange(field, {}));
            quoted = false;
            if (c == '\n') {
                rows.push_back(std::exchange(row, {}));
            }
        } else if (quoted) {
            why = "text after a quoted field";
        } else if (c == '"' && field.empty()) {
            inQuotes = quoted = true;
        } else if (c == '"' || c == '\r') {
            why = "a bare quote or carriage return";
        } else {
            field += c;
        }
    }
    if (inQuotes) {
        why = "a quoted field running to the end of the file";
    }
    if (!why.empty()) {
        if (error != nullptr) {
            *error = why + " in row " + std::to_string(rows.size() + 1);
        }
        return std::nullopt;
    }
    if (!row.empty() || !field.empty() || quoted) {
        row.push_back(std::move(field));
        rows.push_back(std::move(row));
    }
    return rows;
}

// The reading rows of a download file, after the column line; each has exactly seven columns.
inline std::optional<std::vector<CsvRow>> ReadingRows(std::string_view text,
                                                      std::string* error = nullptr) {
    auto rows = ReadStrictCsv(text, error);
    for (size_t r = 0; rows && r < rows->size(); ++r) {
        if ((*rows)[r].size() != 7) {
            if (error != nullptr) {
                *error = "row " + std::to_string(r + 1) + " has the wrong number of fields";
            }
            return std::nullopt;
        }
    }
    if (rows && !rows->empty()) {
        rows->erase(rows->begin());  // the column names
    }
    return rows;
}

}  // namespace vesk::test
