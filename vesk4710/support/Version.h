#pragma once
#include <string>

namespace vesk {
// The library's version ("0.1.0").
std::string LibraryVersion();
}  // namespace vesk
