#include "components/outputfile/ProgramRunner.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <thread>

#include "vesk4710/platform/IUiServices.h"

extern char** environ;

namespace vesk {

namespace {

// Children that outlived their wait (a viewer that stays open); reaped later so they do not
// linger as zombies.
std::vector<pid_t>& Detached() {
    static std::vector<pid_t> pids;
    return pids;
}

void ReapDetached() {
    auto& pids = Detached();
    pids.erase(std::remove_if(pids.begin(), pids.end(),
                              [](pid_t pid) {
                                  int status = 0;
                                  return waitpid(pid, &status, WNOHANG) != 0;
                              }),
               pids.end());
}

struct FileActions {
    posix_spawn_file_actions_t actions;
    FileActions() { posix_spawn_file_actions_init(&actions); }
    ~FileActions() { posix_spawn_file_actions_destroy(&actions); }
};

struct TempOutput {
    // A file rather than a pipe: a launched viewer inherits the descriptor and would keep a
    // pipe open long after the launcher itself has exited.
    std::FILE* file = std::tmpfile();
    ~TempOutput() {
        if (file != nullptr) {
            std::fclose(file);
        }
    }
    std::string Read() const {
        std::string text;
        if (file == nullptr) {
            return text;
        }
        std::rewind(file);
        char buffer[4096];
        const size_t n = std::fread(buffer, 1, sizeof buffer, file);
        text.assign(buffer, n);
        return text;
    }
};

}  // namespace

ProgramRun RunProgram(const std::vector<std::string>& argv, int32_t timeoutMs, IUiServices* ui) {
    ProgramRun run;
    ReapDetached();
    if (argv.empty()) {
        run.spawnError = EINVAL;
        return run;
    }
    std::vector<char*> args;
    args.reserve(argv.size() + 1);
    for (const auto& a : argv) {
        args.push_back(const_cast<char*>(a.c_str()));
    }
    args.push_back(nullptr);

    TempOutput output;
    FileActions fa;
    posix_spawn_file_actions_addopen(&fa.actions, 0, "/dev/null", O_RDONLY, 0);
    if (output.file != nullptr) {
        const int fd = fileno(output.file);
        posix_spawn_file_actions_adddup2(&fa.actions, fd, 1);
        posix_spawn_file_actions_adddup2(&fa.actions, fd, 2);
    }

    pid_t pid = 0;
    const int rc = posix_spawnp(&pid, args[0], &fa.actions, nullptr, args.data(), environ);
    if (rc != 0) {
        run.spawnError = rc;
        return run;
    }

    const auto deadline =
        std::chrono::steady_clock::now() + std::chrono::milliseconds(std::max(timeoutMs, 0));
    for (;;) {
        int status = 0;
        const pid_t done = waitpid(pid, &status, WNOHANG);
        if (done == pid) {
            run.finished = true;
            if (WIFEXITED(status)) {
                run.exitCode = WEXITSTATUS(status);
            } else if (WIFSIGNALED(status)) {
                run.signal = WTERMSIG(status);
            }
            break;
        }
        if (done < 0 && errno != EINTR) {
            run.finished = true;
            break;
        }
        if (std::chrono::steady_clock::now() >= deadline) {
            Detached().push_back(pid);
            break;
        }
        if (ui != nullptr) {
            ui->DoEvents();
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    run.output = output.Read();
    return run;
}

}  // namespace vesk
