// Where the passcode comes from: --passcode, --passcode-file or the environment, else the prompt.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "apps/vesk4710/Cli.h"
#include "components/registry/SystemError.h"
#include "ui/console/ConsoleUi.h"

namespace vesk::cli {

namespace {

constexpr const char* kSource = "vesk4710";

// The first line of a file only its owner can read.
std::string ReadPasscodeFile(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd < 0) {
        RaiseErrno(errno, "cannot open the passcode file", path, kSource);
    }
    struct stat st {};
    const bool shared =
        ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && (st.st_mode & (S_IRGRP | S_IROTH)) != 0;
    LineInput input(fd, kMaxAnswerLength);
    std::string line;
    const LineInput::Status status = shared ? LineInput::Status::kEnd : input.Next(line);
    ::close(fd);
    if (shared) {
        throw Failed("other users can read the passcode file " + path + " (chmod 600 " + path +
                     " makes it yours alone)");
    }
    switch (status) {
        case LineInput::Status::kLine:
            if (!line.empty()) {
                return line;
            }
            break;
        case LineInput::Status::kTooLong:
            throw Failed("the first line of the passcode file " + path + " is longer than " +
                         std::to_string(kMaxAnswerLength) + " characters");
        case LineInput::Status::kFailed:
            RaiseErrno(input.Error(), "cannot read the passcode file", path, kSource);
        case LineInput::Status::kEnd:
            break;
    }
    throw Failed("the first line of the passcode file " + path + " holds no passcode");
}

}  // namespace

void ResolvePasscodes(GlobalOptions& options) {
    // Taken out of the environment so that no program started later inherits it.
    const char* variable = std::getenv(kPasscodeVariable);
    const std::string fromEnvironment = variable != nullptr ? variable : "";
    ::unsetenv(kPasscodeVariable);
    if (!options.passcodes.empty()) {
        return;
    }
    if (options.passcodeFile == "-") {
        options.passcodeStdin = true;
    } else if (!options.passcodeFile.empty()) {
        options.passcodes.push_back(ReadPasscodeFile(options.passcodeFile));
    } else if (!fromEnvironment.empty()) {
        if (fromEnvironment.size() > kMaxAnswerLength) {
            throw Failed(std::string(kPasscodeVariable) + " is longer than " +
                         std::to_string(kMaxAnswerLength) + " characters");
        }
        options.passcodes.push_back(fromEnvironment);
    }
}

}  // namespace vesk::cli
