#pragma once
// A strict reader of the download files' CSV (RFC 4180 with line-feed rows): a field is bare
// text without quotes, or quoted with inner quotes doubled. Anything else is a broken file.
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk::test {

using CsvRow = std::vector<std::string>;

// The rows of text, or nullopt with why in *error.
inline std::optional<std::vector<CsvRow>> ReadStrictCsv(std::string_view text,
                                                        std::string* error = nullptr) {
    const auto fail = [&](std::string why) -> std::optional<std::vector<CsvRow>> {
        if (error != nullptr) {
            *error = std::move(why);
        }
        return std::nullopt;
    };
    std::vector<CsvRow> rows;
    CsvRow row;
    std::string field;
    size_t i = 0;
    while (i < text.size()) {
        if (text[i] == '"') {
            ++i;
            while (true) {
                if (i >= text.size()) {
                    return fail("a quoted field runs to the end of the file");
                }
                if (text[i] == '"') {
                    if (i + 1 < text.size() && text[i + 1] == '"') {
                        field += '"';
                        i += 2;
                        continue;
                    }
                    ++i;
                    break;
                }
                field += text[i++];
            }
            if (i < text.size() && text[i] != ',' && text[i] != '\n') {
                return fail("text after a quoted field in row " + std::to_string(rows.size() + 1));
            }
        } else {
            while (i < text.size() && text[i] != ',' && text[i] != '\n') {
                if (text[i] == '"' || text[i] == '\r') {
                    return fail("a bare quote or carriage return in row " +
                                std::to_string(rows.size() + 1));
                }
                field += text[i++];
            }
        }
        row.push_back(std::move(field));
        field.clear();
        if (i < text.size() && text[i] == ',') {
            ++i;
            if (i == text.size()) {
                row.emplace_back();
            }
            continue;
        }
        rows.push_back(std::move(row));
        row.clear();
        ++i;  // the line feed
    }
    if (!row.empty()) {
        rows.push_back(std::move(row));
    }
    return rows;
}

// The reading rows of a download file: after the header block, its blank line and the column
// line. Each must have exactly the six columns.
inline std::optional<std::vector<CsvRow>> ReadingRows(std::string_view text,
                                                      std::string* error = nullptr) {
    auto rows = ReadStrictCsv(text, error);
    if (!rows) {
        return std::nullopt;
    }
    size_t start = 0;
    while (start < rows->size() && !((*rows)[start].size() == 1 && (*rows)[start][0].empty())) {
        if ((*rows)[start].size() != 2) {
            if (error != nullptr) {
                *error = "header row " + std::to_string(start + 1) + " has " +
                         std::to_string((*rows)[start].size()) + " fields";
            }
            return std::nullopt;
        }
        ++start;
    }
    start += 2;  // the blank line and the column names
    std::vector<CsvRow> readings;
    for (size_t r = start; r < rows->size(); ++r) {
        if ((*rows)[r].size() != 6) {
            if (error != nullptr) {
                *error = "row " + std::to_string(r + 1) + " has " +
                         std::to_string((*rows)[r].size()) + " fields";
            }
            return std::nullopt;
        }
        readings.push_back((*rows)[r]);
    }
    return readings;
}

}  // namespace vesk::test
