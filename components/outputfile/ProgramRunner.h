#pragma once
// Starts an external program by name from PATH (posix_spawnp, never a shell) and waits for
// it a bounded time while keeping the user interface alive.
#include <cstdint>
#include <string>
#include <vector>

namespace vesk {

class IUiServices;

struct ProgramRun {
    int spawnError = 0;     // errno of a failed start (ENOENT: not installed)
    bool finished = false;  // false: still running when the wait ended
    int exitCode = -1;      // exit status when it exited normally
    int signal = 0;         // terminating signal, 0 when it exited
    std::string output;     // what it wrote to stdout and stderr (first few KiB)
};

// argv[0] is looked up on PATH; stdin is /dev/null. ui may be null.
ProgramRun RunProgram(const std::vector<std::string>& argv, int32_t timeoutMs, IUiServices* ui);

}  // namespace vesk
