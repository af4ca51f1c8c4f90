#include "tests/apps/Processes.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <thread>

extern char** environ;

namespace vesk::test {

namespace {

using Clock = std::chrono::steady_clock;

std::vector<std::string> Environment(const std::map<std::string, std::string>& overrides) {
    std::vector<std::string> env;
    for (char** e = environ; *e != nullptr; ++e) {
        const std::string entry(*e);
        const std::string name = entry.substr(0, entry.find('='));
        if (overrides.count(name) == 0) {
            env.push_back(entry);
        }
    }
    for (const auto& [name, value] : overrides) {
        env.push_back(name + "=" + value);
    }
    return env;
}

std::vector<char*> Pointers(std::vector<std::string>& strings) {
    std::vector<char*> p;
    for (auto& s : strings) {
        p.push_back(s.data());
    }
    p.push_back(nullptr);
    return p;
}

}  // namespace

Child::Child(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env,
             const std::string& input) {
    // A child that exits before reading its input must not take the test down with it.
    ::signal(SIGPIPE, SIG_IGN);
    std::vector<std::string> args = argv;
    std::vector<std::string> envStrings = Environment(env);
    std::vector<char*> argp = Pointers(args);
    std::vector<char*> envp = Pointers(envStrings);

    int in[2];
    int out[2];
    int err[2];
    if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0 ||
        ::pipe2(err, O_CLOEXEC) != 0) {
        throw std::runtime_error("pipe failed");
    }
    pid_ = ::fork();
    if (pid_ < 0) {
        throw std::runtime_error("fork failed");
    }
    if (pid_ == 0) {
        // Only async-signal-safe calls between fork and exec.
        ::dup2(in[0], STDIN_FILENO);
        ::dup2(out[1], STDOUT_FILENO);
        ::dup2(err[1], STDERR_FILENO);
        ::execve(argp[0], argp.data(), envp.data());
        ::_exit(127);
    }
    ::close(in[0]);
    ::close(out[1]);
    ::close(err[1]);
    outFd_ = out[0];
    errFd_ = err[0];
    // Small inputs fit the pipe; the child reads them at its own pace.
    if (!input.empty()) {
        const ssize_t n = ::write(in[1], input.data(), input.size());
        (void)n;
    }
    ::close(in[1]);
}

Child::~Child() {
    if (!reaped_ && pid_ > 0) {
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
    }
    if (outFd_ >= 0) {
        ::close(outFd_);
    }
    if (errFd_ >= 0) {
        ::close(errFd_);
    }
}

// Reads what is ready within the timeout; false once both pipes are closed.
bool Child::Pump(std::chrono::milliseconds timeout) {
    pollfd fds[2] = {{outFd_, POLLIN, 0}, {errFd_, POLLIN, 0}};
    const nfds_t count = 2;
    if (outFd_ < 0 && errFd_ < 0) {
        return false;
    }
    const int ready = ::poll(fds, count, static_cast<int>(timeout.count()));
    if (ready <= 0) {
        return true;
    }
    char buffer[4096];
    int* fdOf[2] = {&outFd_, &errFd_};
    std::string* textOf[2] = {&out_, &err_};
    for (int i = 0; i < 2; ++i) {
        if (fds[i].fd < 0 || (fds[i].revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
            continue;
        }
        const ssize_t n = ::read(fds[i].fd, buffer, sizeof buffer);
        if (n > 0) {
            textOf[i]->append(buffer, static_cast<size_t>(n));
        } else if (n == 0 || errno != EINTR) {
            ::close(*fdOf[i]);
            *fdOf[i] = -1;
        }
    }
    return outFd_ >= 0 || errFd_ >= 0;
}

std::string Child::ReadLine(std::chrono::milliseconds timeout) {
    const auto deadline = Clock::now() + timeout;
    for (;;) {
        const size_t end = out_.find('\n', consumed_);
        if (end != std::string::npos) {
            std::string line = out_.substr(consumed_, end - consumed_);
            consumed_ = end + 1;
            return line;
        }
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0 || !Pump(left)) {
            return {};
        }
    }
}

void Child::Signal(int signal) const {
    if (!reaped_ && pid_ > 0) {
        ::kill(pid_, signal);
    }
}

RunResult Child::Finish(std::chrono::milliseconds timeout) {
    RunResult r;
    const auto deadline = Clock::now() + timeout;
    while (outFd_ >= 0 || errFd_ >= 0) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) {
            r.timedOut = true;
            ::kill(pid_, SIGKILL);
            break;
        }
        Pump(left);
    }
    if (!reaped_) {
        int status = 0;
        ::waitpid(pid_, &status, 0);
        reaped_ = true;
        status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    r.status = r.timedOut ? -1 : status_;
    r.out = out_.substr(consumed_);
    r.err = err_;
    return r;
}

ScratchFolder::ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "vesk-cli-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) {
        throw std::runtime_error("mkdtemp failed");
    }
    path_ = pattern;
}

ScratchFolder::~ScratchFolder() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

SimServer::SimServer(Kind kind, const std::map<std::string, std::string>& env,
                     const std::vector<std::string>& extra)
    : child_(
          [&] {
#ifdef VESK_SIM_PATH
              std::vector<std::string> argv = {VESK_SIM_PATH, "--memory"};
#else
              std::vector<std::string> argv = {"vesk4710-sim"};
#endif
              if (kind == Kind::Pty) {
                  argv.push_back("--pty");
              } else {
                  argv.insert(argv.end(), {"--tcp", "127.0.0.1:0"});
              }
              argv.insert(argv.end(), extra.begin(), extra.end());
              return argv;
          }(),
          env) {
    device_ = child_.ReadLine(std::chrono::seconds(5));
    if (device_.empty()) {
        throw std::runtime_error("vesk4710-sim did not say where it serves: " +
                                 child_.Finish(std::chrono::seconds(1)).err);
    }
}

SimServer::~SimServer() {
    Kill();
}

void SimServer::Kill() {
    child_.Signal(SIGTERM);
    const RunResult r = child_.Finish(std::chrono::seconds(5));
    (void)r;
}

}  // namespace vesk::test
