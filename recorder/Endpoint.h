#pragma once
// Serves an instrument's shared link to other programs, in the instrument's own line protocol,
// on a loopback TCP port ("tcp://127.0.0.1:4711", port 0 picks one) or a Unix socket
// ("unix:/run/vesk4710/bath-1.sock"). Each client gets a thread; its requests take turns with
// the recorder's. A client that stops reading loses its connection, never anyone's turn.
#include <atomic>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

namespace vesk::rec {

class SharedLink;

class Endpoint {
  public:
    // Throws AutomationError when the address is no loopback or Unix address, or is taken.
    Endpoint(std::shared_ptr<SharedLink> link, const std::string& address);
    ~Endpoint();
    Endpoint(const Endpoint&) = delete;
    Endpoint& operator=(const Endpoint&) = delete;

    // What a client gives as its device: "tcp://127.0.0.1:4711" or "unix:/path".
    const std::string& Address() const { return address_; }
    // Closes the listener and every client connection; waits for their threads.
    void Stop();

    static constexpr size_t kMaxClients = 16;
    // Reply bytes kept for a client that reads slowly; past this it is disconnected.
    static constexpr size_t kMaxPending = 16u << 20;

  private:
    struct Client {
        int fd = -1;
        std::string peer;
        std::thread thread;
        std::atomic<bool> done{false};
    };
    void AcceptLoop();
    void Serve(Client& client);
    void Reap(bool all);

    std::shared_ptr<SharedLink> link_;
    std::string address_;
    std::string unixPath_;
    int listener_ = -1;
    int stopFd_ = -1;
    std::atomic<bool> stopping_{false};
    std::mutex clientsMutex_;
    std::list<Client> clients_;
    std::thread acceptor_;
};

}  // namespace vesk::rec
