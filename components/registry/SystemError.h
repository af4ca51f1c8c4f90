#pragma once
// Failed system calls of the file-backed components as the library's own errors.
#include <string>

namespace vesk {

// Raises the error number matching err with the system's text; folderIsDenied makes a folder
// standing where a file belongs a refusal rather than an I/O fault.
[[noreturn]] void RaiseErrno(int err, const std::string& what, const std::string& path,
                             const char* source, bool folderIsDenied = false);

}  // namespace vesk
