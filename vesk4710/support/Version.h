#pragma once
#include <string>

namespace vesk {
// The library's version ("0.1.0").
std::string LibraryVersion();
// The instrument model the library drives.
inline constexpr const char* kModelName = "4710";
}  // namespace vesk
