#include "components/registry/SystemError.h"

#include <cerrno>
#include <cstdint>
#include <system_error>

#include "vesk4710/support/AutomationError.h"

namespace vesk {

namespace {

int32_t ErrorNumberFor(int err, bool folderIsDenied) {
    switch (err) {
        case ENOENT:
        case ENOTDIR:
            return kErrPathNotFound;
        case EACCES:
        case EPERM:
        case EROFS:
            return kErrPermissionDenied;
        case EISDIR:
            return folderIsDenied ? kErrPermissionDenied : kErrDeviceIO;
        case ENOSPC:
        case EDQUOT:
            return kErrDiskFull;
        default:
            return kErrDeviceIO;
    }
}

}  // namespace

void RaiseErrno(int err, const std::string& what, const std::string& path, const char* source,
                bool folderIsDenied) {
    throw AutomationError(ErrorNumberFor(err, folderIsDenied),
                          what + " '" + path + "': " + std::generic_category().message(err),
                          source);
}

}  // namespace vesk
