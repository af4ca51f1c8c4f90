#pragma once
// The library's one error type: an automation error with number, description, source,
// help file and help context.
#include <cstdint>
#include <exception>
#include <stdexcept>
#include <string>

namespace vesk {

// Object errors are numbered from this base.
inline constexpr int32_t kObjectErrorBase = static_cast<int32_t>(0x80040000u);

// Classic run-time error numbers.
enum RuntimeError : int32_t {
    kErrInvalidProcedureCall = 5,
    kErrOverflow = 6,
    kErrSubscriptOutOfRange = 9,
    kErrDivisionByZero = 11,
    kErrTypeMismatch = 13,
    kErrFileNotFound = 53,
    kErrFileAlreadyExists = 58,
    kErrPermissionDenied = 70,
    kErrPathNotFound = 76,
    kErrDiskFull = 61,
    kErrDeviceIO = 57,
    kErrObjectRequired = 424,
    kErrResourceNotFound = 326,
    kErrNotSupported = 438,
};

// Generic number for failures that are not automation errors (plain exceptions).
inline constexpr int32_t kErrGeneric = 440;

class AutomationError : public std::runtime_error {
  public:
    AutomationError(int32_t number, std::string description, std::string source = {},
                    std::string helpFile = {}, int32_t helpContext = 0);

    int32_t Number() const noexcept { return number_; }
    const std::string& Description() const noexcept { return description_; }
    const std::string& Source() const noexcept { return source_; }
    const std::string& HelpFile() const noexcept { return helpFile_; }
    int32_t HelpContext() const noexcept { return helpContext_; }

    // A copy with the source, help file and help context replaced (re-raise rule).
    AutomationError Rethrown(std::string source, std::string helpFile, int32_t helpContext) const;

    // The classic run-time error with its standard description.
    static AutomationError Runtime(int32_t number, std::string source = {});

  private:
    int32_t number_;
    std::string description_;
    std::string source_;
    std::string helpFile_;
    int32_t helpContext_;
};

// The standard description of a classic run-time error number ("Overflow" for 6, ...).
std::string RuntimeErrorText(int32_t number);

// The pending error as the error report reads it: an AutomationError gives its fields, any
// other exception a generic number with its text, none pending the number 0.
struct PendingError {
    int32_t number = 0;
    std::string description;
    std::string source;
    std::string helpFile;
    int32_t helpContext = 0;
};
PendingError CapturePendingError(std::exception_ptr error = std::current_exception());

// Runs inside a catch block: turns whatever is pending into an AutomationError with the
// given source, help file and help context, keeping number and description.
[[noreturn]] void Reraise(const std::string& source, const std::string& helpFile = {},
                          int32_t helpContext = 0);

}  // namespace vesk
