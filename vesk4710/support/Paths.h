#pragma once
#include <string>

#include "vesk4710/platform/IFileSystem.h"

namespace vesk {

// Folder of the loaded library file (the working folder if it cannot be found).
std::string LibraryFolder();
// folder and name joined by the file system; a failing join falls back to "folder/name".
std::string BuildFilePath(IFileSystem& fs, const std::string& folder, const std::string& name);
// The path up to and including its last separator ("/" or "\"); "" when there is none.
std::string ParentFolder(const std::string& path);
// The last component of the path.
std::string FileNameOf(const std::string& path);

}  // namespace vesk
