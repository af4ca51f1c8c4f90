#pragma once
// String-table texts, token replacement and the small text helpers built on them.
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "vesk4710/support/Date.h"

namespace vesk {

// The text of a string-table id. An unknown id raises error 326
// "Resource with identifier '<id>' not found".
std::string LoadResString(int32_t id);
// Whether the string table holds the id.
bool HasResString(int32_t id);
// Every id of the string table, ascending.
std::vector<int32_t> ResStringIds();

// Fills the "~" placeholders of a template left to right from a "|"-separated argument text.
// Several arguments are trimmed of spaces; a single argument is used as it stands; missing
// arguments leave the placeholder empty; surplus arguments are dropped.
std::string ReplaceTokens(std::string_view tmpl, std::string_view args);
// LoadResString + ReplaceTokens.
std::string ResText(int32_t id, std::string_view args = {});

// The text without the blanks at either end: spaces unless others are named.
std::string_view Trim(std::string_view text, std::string_view blanks = " ");

// Short text of a units code ("°C", "Ohms", ...); unknown codes give "<unknown>".
std::string UnitsText(int16_t code);
// Reference-junction type: 0 "External", 1 "Internal", else "<unknown>".
std::string RJCTypeText(int32_t code);

// "year,month,day" as the instrument reports dates. 1 January 1900 plus (year - 1900) years,
// (month - 1) months and (day - 1) days, so days run on into the next month. Without a second
// comma month and day stay 1. Without any comma the year is 0: out of range, error 5.
Date DateFromYMD(std::string_view text);

}  // namespace vesk
