#pragma once
// Child processes for the command-line tests: the tool run to completion with a bound, and the
// simulator server kept running in the background.
#include <fcntl.h>
#include <netinet/in.h>
#include <poll.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <map>
#include <stdexcept>
#include <string>
#include <vector>

#include "vesk4710/platform/SettingIds.h"

namespace vesk::test {

// A fault plan for vesk4710-sim --fault: what it does at a setting's request, times times.
inline std::string FaultAt(const std::string& what, E4710Setting id, int times = 1) {
    return what + "@id=" + std::to_string(id) + (times > 1 ? "*" + std::to_string(times) : "");
}

// A loopback port free at the moment, for a server a test starts.
inline int FreePort() {
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in a{};
    a.sin_family = AF_INET;
    a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof a;
    ::bind(fd, reinterpret_cast<sockaddr*>(&a), size);
    ::getsockname(fd, reinterpret_cast<sockaddr*>(&a), &size);
    ::close(fd);
    return ntohs(a.sin_port);
}

struct RunResult {
    int status = -1;  // exit status; -1 when killed or timed out
    std::string out;
    std::string err;
    bool timedOut = false;
};

// A child whose stdout and stderr are read through pipes; killed if still running at the end.
class Child {
  public:
    Child(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env,
          const std::string& input = {}) {
        // A child that exits before reading its input must not take the test down with it.
        ::signal(SIGPIPE, SIG_IGN);
        // env(1) puts the variables over the inherited ones.
        std::vector<std::string> args = {"/usr/bin/env"};
        for (const auto& [name, value] : env) {
            args.push_back(name + "=" + value);
        }
        args.insert(args.end(), argv.begin(), argv.end());
        std::vector<char*> argp;
        for (auto& arg : args) {
            argp.push_back(arg.data());
        }
        argp.push_back(nullptr);

        int in[2];
        int out[2];
        int err[2];
        if (::pipe2(in, O_CLOEXEC) != 0 || ::pipe2(out, O_CLOEXEC) != 0 ||
            ::pipe2(err, O_CLOEXEC) != 0 || (pid_ = ::fork()) < 0) {
            throw std::runtime_error("pipe or fork failed");
        }
        if (pid_ == 0) {
            ::dup2(in[0], STDIN_FILENO);
            ::dup2(out[1], STDOUT_FILENO);
            ::dup2(err[1], STDERR_FILENO);
            ::execv(argp[0], argp.data());
            ::_exit(127);
        }
        ::close(in[0]);
        ::close(out[1]);
        ::close(err[1]);
        fds_[0] = out[0];
        fds_[1] = err[0];
        // Small inputs fit the pipe; the child reads them at its own pace.
        [[maybe_unused]] const ssize_t n = ::write(in[1], input.data(), input.size());
        ::close(in[1]);
    }
    ~Child() {
        Signal(SIGKILL);
        Finish(std::chrono::milliseconds(0));
    }
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // The next line of stdout, or empty when none came in time (or stdout ended).
    std::string ReadLine(std::chrono::milliseconds timeout) {
        const auto deadline = Clock::now() + timeout;
        for (;;) {
            const size_t end = text_[0].find('\n', consumed_);
            if (end != std::string::npos) {
                std::string line = text_[0].substr(consumed_, end - consumed_);
                consumed_ = end + 1;
                return line;
            }
            if (!Pump(deadline)) {
                return {};
            }
        }
    }

    void Signal(int signal) const {
        if (!reaped_) {
            ::kill(pid_, signal);
        }
    }

    // Reads everything until the child ends; kills it after the timeout.
    RunResult Finish(std::chrono::milliseconds timeout) {
        RunResult r;
        const auto deadline = Clock::now() + timeout;
        while (Pump(deadline)) {
        }
        for (int& fd : fds_) {
            if (fd >= 0) {
                r.timedOut = true;
                ::close(fd);
                fd = -1;
            }
        }
        if (r.timedOut) {
            Signal(SIGKILL);
        }
        if (!reaped_) {
            int status = 0;
            ::waitpid(pid_, &status, 0);
            reaped_ = true;
            status_ = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
        }
        r.status = r.timedOut ? -1 : status_;
        r.out = text_[0].substr(consumed_);
        r.err = text_[1];
        return r;
    }

  private:
    using Clock = std::chrono::steady_clock;

    // Reads what is ready before the deadline; false once both pipes are closed or time is up.
    bool Pump(Clock::time_point deadline) {
        const auto left =
            std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
        if ((fds_[0] < 0 && fds_[1] < 0) || left.count() <= 0) {
            return false;
        }
        pollfd polled[2] = {{fds_[0], POLLIN, 0}, {fds_[1], POLLIN, 0}};
        if (::poll(polled, 2, static_cast<int>(left.count())) <= 0) {
            return true;
        }
        char buffer[4096];
        for (int i = 0; i < 2; ++i) {
            if (polled[i].fd < 0 || (polled[i].revents & (POLLIN | POLLHUP | POLLERR)) == 0) {
                continue;
            }
            const ssize_t n = ::read(polled[i].fd, buffer, sizeof buffer);
            if (n > 0) {
                text_[i].append(buffer, static_cast<size_t>(n));
            } else if (n == 0 || errno != EINTR) {
                ::close(fds_[i]);
                fds_[i] = -1;
            }
        }
        return true;
    }

    pid_t pid_ = -1;
    int fds_[2] = {-1, -1};  // stdout, stderr
    std::string text_[2];
    size_t consumed_ = 0;  // stdout bytes handed out by ReadLine
    bool reaped_ = false;
    int status_ = -1;
};

// vesk4710-sim serving one simulated instrument on a pseudo-terminal or a loopback TCP port.
class SimServer {
  public:
    enum class Kind { Pty, Tcp };
    SimServer(Kind kind, const std::map<std::string, std::string>& env,
              const std::vector<std::string>& extra = {})
        : child_(Argv(kind, extra), env) {
        device_ = child_.ReadLine(std::chrono::seconds(5));
        if (device_.empty()) {
            throw std::runtime_error("vesk4710-sim did not say where it serves: " +
                                     child_.Finish(std::chrono::seconds(1)).err);
        }
    }
    ~SimServer() {
        child_.Signal(SIGTERM);
        child_.Finish(std::chrono::seconds(5));
    }
    // What --device takes: the terminal's path or tcp://HOST:PORT.
    const std::string& Device() const { return device_; }

  private:
    static std::vector<std::string> Argv(Kind kind, const std::vector<std::string>& extra) {
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
    }

    Child child_;
    std::string device_;
};

}  // namespace vesk::test
