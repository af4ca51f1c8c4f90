#include "simulator/LineServers.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <vector>

#include "components/comm/DeviceAddress.h"
#include "components/comm/Protocol.h"
#include "components/comm/Text.h"

namespace vesk::sim {

// A pipe that wakes every wait of a server when it is stopped.
class StopSignal {
  public:
    StopSignal() {
        if (pipe2(fds_, O_CLOEXEC | O_NONBLOCK) != 0) {
            throw std::runtime_error(std::string("cannot make a pipe: ") + std::strerror(errno));
        }
    }
    ~StopSignal() {
        close(fds_[0]);
        close(fds_[1]);
    }
    void Raise() {
        stopped_ = true;
        [[maybe_unused]] ssize_t n = write(fds_[1], "x", 1);
    }
    bool Raised() const { return stopped_; }
    int Fd() const { return fds_[0]; }
    // Sleeps; true when stopped meanwhile.
    bool Sleep(std::chrono::milliseconds duration) const {
        pollfd p{fds_[0], POLLIN, 0};
        poll(&p, 1, static_cast<int>(duration.count()));
        return stopped_;
    }

  private:
    int fds_[2] = {-1, -1};
    std::atomic<bool> stopped_{false};
};

namespace {

using Clock = std::chrono::steady_clock;

// A client that takes no data for this long has gone away; the rest of its reply is dropped.
constexpr std::chrono::seconds kWriteLimit{5};

enum class Served { kMore, kDrop, kStop, kGone };

constexpr std::string_view kLineEnds = "\r\n";

bool WriteAll(int fd, const std::string& data, const StopSignal& stop, bool socket) {
    auto deadline = Clock::now() + kWriteLimit;
    size_t done = 0;
    while (done < data.size()) {
        ssize_t n = socket ? send(fd, data.data() + done, data.size() - done, MSG_NOSIGNAL)
                           : write(fd, data.data() + done, data.size() - done);
        if (n > 0) {
            done += static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            auto left =
                std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
            if (left.count() <= 0 || stop.Raised()) {
                return false;
            }
            pollfd p[2] = {{fd, POLLOUT, 0}, {stop.Fd(), POLLIN, 0}};
            poll(p, 2, static_cast<int>(left.count()));
            continue;
        }
        return false;
    }
    return true;
}

// Handles every complete line (CR or LF ends a line, as a terminal sends). A line longer than
// the protocol allows reaches the instrument cut short, and it refuses it.
Served ServeLines(Instrument& instrument, comm::LineBuffer& in, int fd, const StopSignal& stop,
                  bool socket) {
    while (true) {
        std::optional<std::string> taken = in.Take();
        if (!taken) {
            return Served::kMore;
        }
        const std::string& line = *taken;
        if (line.empty()) {
            continue;
        }
        Exchange exchange = instrument.Handle(line);
        if (exchange.delay.count() > 0 && stop.Sleep(exchange.delay)) {
            return Served::kStop;
        }
        std::string out;
        for (const std::string& reply : exchange.lines) {
            out += reply;
            out += '\n';
        }
        if (!out.empty() && !WriteAll(fd, out, stop, socket)) {
            return stop.Raised() ? Served::kStop : Served::kGone;
        }
        if (exchange.dropLink) {
            in.Clear();
            return Served::kDrop;
        }
    }
}

bool IsLoopback(const sockaddr* address) {
    if (address->sa_family == AF_INET) {
        auto* in = reinterpret_cast<const sockaddr_in*>(address);
        return (ntohl(in->sin_addr.s_addr) >> 24) == 127;
    }
    if (address->sa_family == AF_INET6) {
        auto* in6 = reinterpret_cast<const sockaddr_in6*>(address);
        return IN6_IS_ADDR_LOOPBACK(&in6->sin6_addr);
    }
    return false;
}

}  // namespace

std::pair<std::string, uint16_t> SplitHostPort(const std::string& text) {
    const size_t colon = text.rfind(':');
    if (colon == std::string::npos || colon == 0) {
        throw std::invalid_argument("expected HOST:PORT, got \"" + text + "\"");
    }
    const auto split = comm::SplitHostPort(text);
    const auto port = split ? comm::ParseWhole<uint16_t>(split->port) : std::nullopt;
    if (!port) {
        throw std::invalid_argument("bad port in \"" + text + "\"");
    }
    return {split->host, *port};
}

// ---- pseudo-terminal ----

PtyServer::PtyServer(std::shared_ptr<Instrument> instrument, std::string linkPath)
    : instrument_(std::move(instrument)),
      linkPath_(std::move(linkPath)),
      stop_(std::make_unique<StopSignal>()) {
    OpenTerminal();
    thread_ = std::thread([this] { Run(); });
}

PtyServer::~PtyServer() {
    Stop();
    std::lock_guard lock(mutex_);
    if (master_ >= 0) {
        close(master_);
    }
    if (keeper_ >= 0) {
        close(keeper_);
    }
    if (!linkPath_.empty()) {
        std::error_code ignored;
        std::filesystem::remove(linkPath_, ignored);
    }
}

void PtyServer::Stop() {
    stop_->Raise();
    if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) {
        thread_.join();
    }
}

std::string PtyServer::Path() const {
    return linkPath_.empty() ? TerminalPath() : linkPath_;
}

std::string PtyServer::TerminalPath() const {
    std::lock_guard lock(mutex_);
    return terminalPath_;
}

void PtyServer::OpenTerminal() {
    int master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (master < 0 || grantpt(master) != 0 || unlockpt(master) != 0) {
        int error = errno;
        if (master >= 0) {
            close(master);
        }
        throw std::runtime_error(std::string("cannot make a pseudo-terminal: ") +
                                 std::strerror(error));
    }
    char name[128] = {};
    ptsname_r(master, name, sizeof name);
    int keeper = open(name, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (keeper < 0) {
        int error = errno;
        close(master);
        throw std::runtime_error(std::string("cannot open ") + name + ": " + std::strerror(error));
    }
    // Raw from the start: no echo, no line editing, whatever the client does.
    termios tio{};
    tcgetattr(keeper, &tio);
    cfmakeraw(&tio);
    tcsetattr(keeper, TCSANOW, &tio);
    if (!linkPath_.empty()) {
        // Replace the link in one step, so a client never finds it missing.
        std::string temp = linkPath_ + ".new";
        std::error_code ignored;
        std::filesystem::remove(temp, ignored);
        std::filesystem::create_symlink(name, temp);
        std::filesystem::rename(temp, linkPath_);
    }
    int oldMaster = -1;
    int oldKeeper = -1;
    {
        std::lock_guard lock(mutex_);
        oldMaster = master_;
        oldKeeper = keeper_;
        master_ = master;
        keeper_ = keeper;
        terminalPath_ = name;
    }
    // Closing the old terminal is the hang-up its client sees.
    if (oldKeeper >= 0) {
        close(oldKeeper);
    }
    if (oldMaster >= 0) {
        close(oldMaster);
    }
}

void PtyServer::Run() {
    comm::LineBuffer in(kLineEnds);
    while (!stop_->Raised()) {
        int master = 0;
        {
            std::lock_guard lock(mutex_);
            master = master_;
        }
        pollfd p[2] = {{master, POLLIN, 0}, {stop_->Fd(), POLLIN, 0}};
        if (poll(p, 2, -1) < 0 && errno != EINTR) {
            return;
        }
        if (stop_->Raised()) {
            return;
        }
        if (!(p[0].revents & POLLIN)) {
            continue;
        }
        char chunk[4096];
        ssize_t n = read(master, chunk, sizeof chunk);
        if (n <= 0) {
            continue;
        }
        in.Append({chunk, static_cast<size_t>(n)});
        Served served = ServeLines(*instrument_, in, master, *stop_, false);
        if (served == Served::kStop) {
            return;
        }
        if (served == Served::kDrop) {
            try {
                OpenTerminal();
            } catch (const std::exception&) {
                return;  // no terminal left to serve on
            }
        }
    }
}

// ---- TCP ----

TcpServer::TcpServer(std::shared_ptr<Instrument> instrument, const std::string& host, uint16_t port)
    : instrument_(std::move(instrument)), stop_(std::make_unique<StopSignal>()), host_(host) {
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    hints.ai_flags = AI_NUMERICSERV;
    addrinfo* found = nullptr;
    std::string service = std::to_string(port);
    if (int rc = getaddrinfo(host.c_str(), service.c_str(), &hints, &found); rc != 0) {
        throw std::runtime_error("cannot resolve " + host + ": " + gai_strerror(rc));
    }
    std::string why = "no address";
    for (addrinfo* ai = found; ai != nullptr && listener_ < 0; ai = ai->ai_next) {
        if (!IsLoopback(ai->ai_addr)) {
            why = host + " is not a loopback address";
            continue;
        }
        int fd =
            socket(ai->ai_family, ai->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, ai->ai_protocol);
        int one = 1;
        if (fd >= 0) {
            setsockopt(fd, SOL_SOCKET, SO_REUSEADDR, &one, sizeof one);
        }
        if (fd < 0 || bind(fd, ai->ai_addr, ai->ai_addrlen) != 0 || listen(fd, 8) != 0) {
            why = std::strerror(errno);
            if (fd >= 0) {
                close(fd);
            }
            continue;
        }
        listener_ = fd;
        sockaddr_storage bound{};
        socklen_t len = sizeof bound;
        getsockname(fd, reinterpret_cast<sockaddr*>(&bound), &len);
        port_ =
            ntohs(bound.ss_family == AF_INET ? reinterpret_cast<sockaddr_in*>(&bound)->sin_port
                                             : reinterpret_cast<sockaddr_in6*>(&bound)->sin6_port);
    }
    freeaddrinfo(found);
    if (listener_ < 0) {
        throw std::runtime_error("cannot listen on " + host + ":" + service + ": " + why);
    }
    thread_ = std::thread([this] { Run(); });
}

TcpServer::~TcpServer() {
    Stop();
    if (listener_ >= 0) {
        close(listener_);
    }
}

void TcpServer::Stop() {
    stop_->Raise();
    if (thread_.joinable() && thread_.get_id() != std::this_thread::get_id()) {
        thread_.join();
    }
}

std::string TcpServer::Address() const {
    bool v6 = host_.find(':') != std::string::npos;
    return (v6 ? "[" + host_ + "]" : host_) + ":" + std::to_string(port_);
}

void TcpServer::Run() {
    struct Client {
        int fd;
        comm::LineBuffer in{kLineEnds};
    };
    std::vector<Client> clients;
    auto closeAll = [&] {
        for (Client& c : clients) {
            close(c.fd);
        }
    };
    while (!stop_->Raised()) {
        std::vector<pollfd> polls = {{stop_->Fd(), POLLIN, 0}, {listener_, POLLIN, 0}};
        for (const Client& c : clients) {
            polls.push_back({c.fd, POLLIN, 0});
        }
        if (poll(polls.data(), polls.size(), -1) < 0 && errno != EINTR) {
            break;
        }
        if (stop_->Raised()) {
            break;
        }
        if (polls[1].revents & POLLIN) {
            int fd = accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
            if (fd >= 0) {
                int one = 1;
                setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
                clients.push_back({fd, comm::LineBuffer(kLineEnds)});
            }
        }
        for (size_t i = 2; i < polls.size(); ++i) {
            if (!(polls[i].revents & (POLLIN | POLLHUP | POLLERR))) {
                continue;
            }
            Client& client = clients[i - 2];
            char chunk[4096];
            ssize_t n = recv(client.fd, chunk, sizeof chunk, 0);
            Served served = Served::kGone;
            if (n > 0) {
                client.in.Append({chunk, static_cast<size_t>(n)});
                served = ServeLines(*instrument_, client.in, client.fd, *stop_, true);
            } else if (n < 0 && (errno == EAGAIN || errno == EINTR)) {
                served = Served::kMore;
            }
            if (served == Served::kStop) {
                closeAll();
                return;
            }
            if (served != Served::kMore) {
                close(client.fd);
                client.fd = -1;
            }
        }
        std::erase_if(clients, [](const Client& c) { return c.fd < 0; });
    }
    closeAll();
}

}  // namespace vesk::sim
