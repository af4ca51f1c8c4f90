#include "recorder/Endpoint.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

#include "components/comm/DeviceAddress.h"
#include "components/comm/Protocol.h"
#include "components/comm/Text.h"
#include "recorder/SharedLink.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::rec {

namespace {

constexpr const char* kSource = "vesk4710 recorder";
constexpr std::chrono::seconds kWriteLimit{5};

[[noreturn]] void Refuse(const std::string& address, const std::string& why) {
    throw AutomationError(kErrInvalidProcedureCall,
                          "Cannot serve the instrument on '" + address + "': " + why, kSource);
}

// Sends what it can without waiting; false when the peer is gone.
bool SendSome(int fd, std::string& out) {
    while (!out.empty()) {
        const ssize_t n = ::send(fd, out.data(), out.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            out.erase(0, static_cast<size_t>(n));
        } else if (n < 0 && errno == EINTR) {
            continue;
        } else {
            return n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
        }
    }
    return true;
}

// Sends all of it within the write limit; false when the peer is gone, stuck or stopping.
bool SendAll(int fd, std::string& out, int stopFd) {
    const auto deadline = std::chrono::steady_clock::now() + kWriteLimit;
    while (!out.empty()) {
        if (!SendSome(fd, out)) {
            return false;
        }
        if (out.empty()) {
            break;
        }
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(
            deadline - std::chrono::steady_clock::now());
        pollfd p[2] = {{fd, POLLOUT, 0}, {stopFd, POLLIN, 0}};
        if (left.count() <= 0 || ::poll(p, 2, static_cast<int>(left.count())) <= 0 ||
            (p[1].revents & POLLIN) != 0 || (p[0].revents & (POLLERR | POLLHUP)) != 0) {
            return false;
        }
    }
    return true;
}

}  // namespace

Endpoint::Endpoint(std::shared_ptr<SharedLink> link, const std::string& address)
    : link_(std::move(link)) {
    stopFd_ = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (address.rfind("unix:", 0) == 0) {
        unixPath_ = address.substr(5);
        sockaddr_un sa{};
        sa.sun_family = AF_UNIX;
        if (unixPath_.empty() || unixPath_.size() >= sizeof sa.sun_path) {
            Refuse(address, "the socket path is empty or too long");
        }
        struct stat st {};
        if (::lstat(unixPath_.c_str(), &st) == 0) {
            if (!S_ISSOCK(st.st_mode)) {
                Refuse(address, "a file that is no socket is in the way");
            }
            ::unlink(unixPath_.c_str());  // left by an earlier run
        }
        std::memcpy(sa.sun_path, unixPath_.c_str(), unixPath_.size());
        listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0) {
            Refuse(address, std::strerror(errno));
        }
        ::chmod(unixPath_.c_str(), 0660);
        address_ = "unix:" + unixPath_;
    } else {
        const auto split = comm::SplitHostPort(comm::TcpHostPort(address).value_or(address));
        const auto port = split ? comm::ParseWhole<uint16_t>(split->port) : std::nullopt;
        if (!port) {
            Refuse(address, "give tcp://127.0.0.1:PORT or unix:PATH");
        }
        std::string host = split->host;
        if (host == "localhost") {
            host = "127.0.0.1";
        }
        sockaddr_in sa{};
        sa.sin_family = AF_INET;
        sa.sin_port = htons(*port);
        if (::inet_pton(AF_INET, host.c_str(), &sa.sin_addr) != 1 ||
            (ntohl(sa.sin_addr.s_addr) >> 24) != 127) {
            Refuse(address, "the recorder serves loopback addresses (127.x.x.x) only");
        }
        listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
        const int one = 1;
        ::setsockopt(listener_, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        if (listener_ < 0 || ::bind(listener_, reinterpret_cast<sockaddr*>(&sa), sizeof sa) != 0) {
            const int err = errno;
            if (listener_ >= 0) {
                ::close(listener_);
            }
            ::close(stopFd_);
            Refuse(address, std::strerror(err));
        }
        socklen_t size = sizeof sa;
        ::getsockname(listener_, reinterpret_cast<sockaddr*>(&sa), &size);
        address_ = std::string(comm::kTcpPrefix) + host + ":" + std::to_string(ntohs(sa.sin_port));
    }
    if (::listen(listener_, 8) != 0) {
        const int err = errno;
        ::close(listener_);
        ::close(stopFd_);
        Refuse(address, std::strerror(err));
    }
    acceptor_ = std::thread([this] { AcceptLoop(); });
}

Endpoint::~Endpoint() {
    Stop();
}

void Endpoint::Stop() {
    if (stopping_.exchange(true)) {
        return;
    }
    const uint64_t one = 1;
    [[maybe_unused]] ssize_t n = ::write(stopFd_, &one, sizeof one);
    if (acceptor_.joinable()) {
        acceptor_.join();
    }
    Reap(true);
    ::close(listener_);
    ::close(stopFd_);
    if (!unixPath_.empty()) {
        ::unlink(unixPath_.c_str());
    }
}

void Endpoint::Reap(bool all) {
    std::lock_guard lock(clientsMutex_);
    for (auto it = clients_.begin(); it != clients_.end();) {
        if (all || it->done) {
            if (all) {
                ::shutdown(it->fd, SHUT_RDWR);
            }
            it->thread.join();
            ::close(it->fd);
            it = clients_.erase(it);
        } else {
            ++it;
        }
    }
}

void Endpoint::AcceptLoop() {
    while (!stopping_) {
        pollfd p[2] = {{listener_, POLLIN, 0}, {stopFd_, POLLIN, 0}};
        if (::poll(p, 2, 1000) <= 0 || (p[1].revents & POLLIN) != 0) {
            Reap(false);
            continue;
        }
        sockaddr_storage peer{};
        socklen_t size = sizeof peer;
        const int fd =
            ::accept4(listener_, reinterpret_cast<sockaddr*>(&peer), &size, SOCK_CLOEXEC);
        if (fd < 0) {
            continue;
        }
        Reap(false);
        std::lock_guard lock(clientsMutex_);
        if (clients_.size() >= kMaxClients) {
            ::close(fd);  // the client sees its link dropped and may try again
            continue;
        }
        std::string name = "client";
        if (peer.ss_family == AF_INET) {
            const auto* in = reinterpret_cast<const sockaddr_in*>(&peer);
            char text[INET_ADDRSTRLEN] = {};
            ::inet_ntop(AF_INET, &in->sin_addr, text, sizeof text);
            name += " " + std::string(text) + ":" + std::to_string(ntohs(in->sin_port));
        } else {
            name += " " + std::to_string(fd) + " on " + unixPath_;
        }
        Client& client = clients_.emplace_back();
        client.fd = fd;
        client.peer = std::move(name);
        client.thread = std::thread([this, &client] { Serve(client); });
    }
}

void Endpoint::Serve(Client& client) {
    const Origin origin{client.peer, true};
    std::string in;
    std::string out;
    while (!stopping_) {
        const size_t end = in.find('\n');
        if (end == std::string::npos) {
            if (in.size() > comm::kMaxLineLength) {
                break;  // no instrument line is that long
            }
            pollfd p[2] = {{client.fd, POLLIN, 0}, {stopFd_, POLLIN, 0}};
            if (::poll(p, 2, -1) < 0 && errno != EINTR) {
                break;
            }
            if ((p[1].revents & POLLIN) != 0) {
                break;
            }
            if ((p[0].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
                char chunk[4096];
                const ssize_t n = ::recv(client.fd, chunk, sizeof chunk, MSG_DONTWAIT);
                if (n == 0 || (n < 0 && errno != EINTR && errno != EAGAIN)) {
                    break;
                }
                if (n > 0) {
                    in.append(chunk, static_cast<size_t>(n));
                }
            }
            continue;
        }
        std::string line = in.substr(0, end);
        in.erase(0, end + 1);
        while (!line.empty() && (line.back() == '\r' || line.back() == ' ')) {
            line.pop_back();
        }
        if (line.empty()) {
            continue;
        }
        bool gone = false;
        const SharedLink::Result result =
            link_->Exchange(line, origin, [&](const std::string& reply) {
                if (gone) {
                    return;  // the transfer still runs to its end, to keep the link in step
                }
                out += reply;
                out += '\n';
                gone = !SendSome(client.fd, out) || out.size() > kMaxPending;
            });
        if (gone || !SendAll(client.fd, out, stopFd_)) {
            break;
        }
        if (result.outcome == SharedLink::Outcome::kDropped ||
            result.outcome == SharedLink::Outcome::kUnavailable) {
            break;  // the client sees what the instrument link did
        }
    }
    ::shutdown(client.fd, SHUT_RDWR);
    client.done = true;
}

}  // namespace vesk::rec
