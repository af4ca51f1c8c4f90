#pragma once
// The library's three message boxes: error report, information, yes/no question.
#include <cstdint>
#include <string>

#include "vesk4710/platform/IUiServices.h"

namespace vesk {

inline constexpr const char* kMsgCaption = "Vesk Scientific";

// The error report text for a pending error (lines separated by a lone CR).
std::string ComposeErrorReport(const std::string& phrase, int32_t number,
                               const std::string& description, const std::string& source);

// Reports the pending error (call inside a catch block): "An error occurred while <phrase>."
// then, for a non-zero error number, "Error: <n> - <description>" and "(<source>)". An error
// carrying its own help file supplies it when helpFile is empty. Style 16, or 16400 with help.
void ShowErrorMessage(IUiServices& ui, const std::string& phrase, const std::string& caption,
                      const std::string& helpFile = {}, int32_t helpContext = 0);
// Style 64, or 16448 with help.
void ShowInfoMessage(IUiServices& ui, const std::string& prompt, const std::string& caption,
                     const std::string& helpFile = {}, int32_t helpContext = 0);
// Style 36; kAnsYes or kAnsNo (any other answer counts as no).
int32_t ShowQuestion(IUiServices& ui, const std::string& prompt, const std::string& caption);

}  // namespace vesk
