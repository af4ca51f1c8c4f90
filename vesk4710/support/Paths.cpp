#include "vesk4710/support/Paths.h"

#include <dlfcn.h>

#include <filesystem>

namespace vesk {

namespace {
size_t LastSeparator(const std::string& path) {
    return path.find_last_of("/\\");
}
// Any object of this library locates the loaded file.
const char kAnchor = 0;
}  // namespace

std::string LibraryFolder() {
    Dl_info info{};
    if (dladdr(&kAnchor, &info) != 0 && info.dli_fname != nullptr) {
        std::error_code ec;
        std::filesystem::path file = std::filesystem::absolute(info.dli_fname, ec);
        if (!ec) {
            return file.parent_path().string();
        }
    }
    std::error_code ec;
    return std::filesystem::current_path(ec).string();
}

std::string BuildFilePath(IFileSystem& fs, const std::string& folder, const std::string& name) {
    try {
        return fs.BuildPath(folder, name);
    } catch (...) {
        if (folder.empty()) {
            return name;
        }
        char last = folder.back();
        return last == '/' || last == '\\' ? folder + name : folder + "/" + name;
    }
}

std::string ParentFolder(const std::string& path) {
    size_t sep = LastSeparator(path);
    return sep == std::string::npos ? std::string() : path.substr(0, sep + 1);
}

std::string FileNameOf(const std::string& path) {
    size_t sep = LastSeparator(path);
    return sep == std::string::npos ? path : path.substr(sep + 1);
}

}  // namespace vesk
