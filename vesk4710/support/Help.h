#pragma once
#include <cstdint>
#include <string>

#include "vesk4710/platform/IUiServices.h"

namespace vesk {

// The library's help file (process-wide); by default "vesk4710-help.html" beside the library.
std::string HelpFile();
void HelpFile(const std::string& path);

// Opens the help file at a topic with the hourglass shown meanwhile; the help engine's result.
int32_t HelpOpenTopic(IUiServices& ui, int32_t topic);

}  // namespace vesk
