#include "vesk4710/support/AutomationError.h"

#include <new>
#include <utility>

namespace vesk {

AutomationError::AutomationError(int32_t number, std::string description, std::string source,
                                 std::string helpFile, int32_t helpContext)
    : std::runtime_error(description),
      number_(number),
      description_(std::move(description)),
      source_(std::move(source)),
      helpFile_(std::move(helpFile)),
      helpContext_(helpContext) {}

AutomationError AutomationError::Rethrown(std::string source, std::string helpFile,
                                          int32_t helpContext) const {
    return AutomationError(number_, description_, std::move(source), std::move(helpFile),
                           helpContext);
}

AutomationError AutomationError::Runtime(int32_t number, std::string source) {
    return AutomationError(number, RuntimeErrorText(number), std::move(source));
}

std::string RuntimeErrorText(int32_t number) {
    switch (number) {
        case kErrInvalidProcedureCall:
            return "Invalid procedure call or argument";
        case kErrOverflow:
            return "Overflow";
        case kErrSubscriptOutOfRange:
            return "Subscript out of range";
        case kErrDivisionByZero:
            return "Division by zero";
        case kErrTypeMismatch:
            return "Type mismatch";
        case kErrFileNotFound:
            return "File not found";
        case kErrDeviceIO:
            return "Device I/O error";
        case kErrDiskFull:
            return "Disk full";
        case kErrPermissionDenied:
            return "Permission denied";
        case kErrPathNotFound:
            return "Path not found";
        case kErrObjectRequired:
            return "Object required";
        case kErrResourceNotFound:
            return "Resource not found";
        case kErrNotSupported:
            return "Object doesn't support this property or method";
        default:
            return "Application-defined or object-defined error";
    }
}

PendingError CapturePendingError(std::exception_ptr error) {
    PendingError out;
    if (!error) {
        return out;
    }
    try {
        std::rethrow_exception(error);
    } catch (const AutomationError& e) {
        out.number = e.Number();
        out.description = e.Description();
        out.source = e.Source();
        out.helpFile = e.HelpFile();
        out.helpContext = e.HelpContext();
    } catch (const std::bad_alloc&) {
        out.number = 7;
        out.description = "Out of memory";
    } catch (const std::exception& e) {
        out.number = kErrGeneric;
        out.description = e.what();
    } catch (...) {
        out.number = kErrGeneric;
        out.description = "Unknown error";
    }
    return out;
}

void Reraise(const std::string& source, const std::string& helpFile, int32_t helpContext) {
    PendingError p = CapturePendingError(std::current_exception());
    throw AutomationError(p.number, p.description, source, helpFile, helpContext);
}

}  // namespace vesk
