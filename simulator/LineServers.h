#pragma once
// Serving a simulated instrument to other programs: on a pseudo-terminal (as if it sat on a
// serial port) or on a loopback TCP port. Each server runs on a thread of its own until
// stopped or destroyed; requests are answered one at a time, as the instrument would.
#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

#include "simulator/Instrument.h"

namespace vesk::sim {

class StopSignal;

class PtyServer {
  public:
    // With a link path, a symbolic link there always names the current terminal: a dropped
    // link (a planned fault) closes the terminal and opens a new one behind the same name.
    // Throws std::runtime_error when no terminal can be made.
    explicit PtyServer(std::shared_ptr<Instrument> instrument, std::string linkPath = {});
    ~PtyServer();
    PtyServer(const PtyServer&) = delete;
    PtyServer& operator=(const PtyServer&) = delete;

    // The link path when given, else the terminal's own path.
    std::string Path() const;
    std::string TerminalPath() const;
    void Stop();

  private:
    void OpenTerminal();
    void Run();

    std::shared_ptr<Instrument> instrument_;
    std::string linkPath_;
    std::unique_ptr<StopSignal> stop_;
    mutable std::mutex mutex_;
    std::string terminalPath_;
    int master_ = -1;
    int keeper_ = -1;  // our own handle on the terminal, so no client means no hang-up
    std::thread thread_;
};

class TcpServer {
  public:
    // Listens on a loopback address only; port 0 picks a free port. Throws
    // std::runtime_error when the address is not loopback or cannot be bound.
    TcpServer(std::shared_ptr<Instrument> instrument, const std::string& host = "127.0.0.1",
              uint16_t port = 0);
    ~TcpServer();
    TcpServer(const TcpServer&) = delete;
    TcpServer& operator=(const TcpServer&) = delete;

    uint16_t Port() const { return port_; }
    // "127.0.0.1:4711", as a device "tcp://" + Address() reaches it.
    std::string Address() const;
    void Stop();

  private:
    void Run();

    std::shared_ptr<Instrument> instrument_;
    std::unique_ptr<StopSignal> stop_;
    std::string host_;
    uint16_t port_ = 0;
    int listener_ = -1;
    std::thread thread_;
};

// "HOST:PORT" -> host and port; throws std::invalid_argument.
std::pair<std::string, uint16_t> SplitHostPort(const std::string& text);

}  // namespace vesk::sim
