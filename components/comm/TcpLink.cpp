#include "components/comm/TcpLink.h"

#include <fcntl.h>
#include <netdb.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "components/comm/CommErrors.h"
#include "components/comm/DeviceAddress.h"

namespace vesk::comm {

namespace {

AutomationError Unavailable(const std::string& hostPort, const std::string& why) {
    return CommError(kCommLinkUnavailable, "Cannot connect to tcp://" + hostPort + ": " + why);
}

int ConnectOne(const addrinfo& ai, std::chrono::milliseconds timeout, std::string& why) {
    int fd = socket(ai.ai_family, ai.ai_socktype | SOCK_NONBLOCK | SOCK_CLOEXEC, ai.ai_protocol);
    if (fd < 0) {
        why = std::strerror(errno);
        return -1;
    }
    if (connect(fd, ai.ai_addr, ai.ai_addrlen) != 0 && errno != EINPROGRESS) {
        why = std::strerror(errno);
        close(fd);
        return -1;
    }
    pollfd p{fd, POLLOUT, 0};
    int ready = poll(&p, 1, static_cast<int>(timeout.count()));
    int error = 0;
    socklen_t len = sizeof error;
    if (ready <= 0) {
        why = "no answer within " + std::to_string(timeout.count()) + " ms";
        close(fd);
        return -1;
    }
    getsockopt(fd, SOL_SOCKET, SO_ERROR, &error, &len);
    if (error != 0) {
        why = std::strerror(error);
        close(fd);
        return -1;
    }
    int one = 1;
    setsockopt(fd, IPPROTO_TCP, TCP_NODELAY, &one, sizeof one);
    return fd;
}

}  // namespace

std::shared_ptr<TcpLink> TcpLink::Connect(const std::string& hostPort,
                                          std::chrono::milliseconds timeout) {
    const auto split = SplitHostPort(hostPort);
    if (!split) {
        throw Unavailable(hostPort, "expected HOST:PORT");
    }
    const std::string& host = split->host;
    const std::string& port = split->port;
    addrinfo hints{};
    hints.ai_family = AF_UNSPEC;
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (int rc = getaddrinfo(host.c_str(), port.c_str(), &hints, &found); rc != 0) {
        throw Unavailable(hostPort, gai_strerror(rc));
    }
    std::string why = "no address";
    int fd = -1;
    for (addrinfo* ai = found; ai != nullptr && fd < 0; ai = ai->ai_next) {
        fd = ConnectOne(*ai, timeout, why);
    }
    freeaddrinfo(found);
    if (fd < 0) {
        throw Unavailable(hostPort, why);
    }
    return std::shared_ptr<TcpLink>(new TcpLink(fd, "tcp://" + hostPort));
}

ssize_t TcpLink::WriteSome(const char* data, size_t size) {
    return send(Fd(), data, size, MSG_NOSIGNAL);
}

}  // namespace vesk::comm
