#pragma once
// Names of the per-user registry values the library reads.

namespace vesk {

inline constexpr const char* kRegCOMAutoClose = "COMAutoClose";    // default false
inline constexpr const char* kRegSelectPrinter = "SelectPrinter";  // default true
inline constexpr const char* kRegDownloadFolder = "DownloadFolder";

}  // namespace vesk
