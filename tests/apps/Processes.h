#pragma once
// Child processes for the command-line tests: the tool run to completion with a bound, the
// simulator server kept running in the background, and a scratch folder for their state.
#include <sys/types.h>

#include <chrono>
#include <map>
#include <string>
#include <vector>

namespace vesk::test {

struct RunResult {
    int status = -1;  // exit status; -1 when killed or timed out
    std::string out;
    std::string err;
    bool timedOut = false;
};

// A child whose stdout and stderr are read through pipes.
class Child {
  public:
    Child(const std::vector<std::string>& argv, const std::map<std::string, std::string>& env,
          const std::string& input = {});
    ~Child();
    Child(const Child&) = delete;
    Child& operator=(const Child&) = delete;

    // The next line of stdout, or empty when none came in time (or stdout ended).
    std::string ReadLine(std::chrono::milliseconds timeout);
    void Signal(int signal) const;
    // Reads everything until the child ends; kills it after the timeout.
    RunResult Finish(std::chrono::milliseconds timeout);
    pid_t Pid() const { return pid_; }

  private:
    bool Pump(std::chrono::milliseconds timeout);

    pid_t pid_ = -1;
    int outFd_ = -1;
    int errFd_ = -1;
    std::string out_;
    std::string err_;
    size_t consumed_ = 0;  // stdout bytes handed out by ReadLine
    bool reaped_ = false;
    int status_ = -1;
};

// A fresh folder, removed with everything in it.
class ScratchFolder {
  public:
    ScratchFolder();
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    const std::string& Path() const { return path_; }

  private:
    std::string path_;
};

// vesk4710-sim serving one simulated instrument on a pseudo-terminal or a loopback TCP port.
class SimServer {
  public:
    enum class Kind { Pty, Tcp };
    SimServer(Kind kind, const std::map<std::string, std::string>& env,
              const std::vector<std::string>& extra = {});
    ~SimServer();
    // What --device takes: the terminal's path or tcp://HOST:PORT.
    const std::string& Device() const { return device_; }
    void Kill();

  private:
    Child child_;
    std::string device_;
};

}  // namespace vesk::test
