#include "components/comm/StreamLink.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>

#include "components/comm/Protocol.h"

namespace vesk::comm {

namespace {

using Clock = std::chrono::steady_clock;

int RemainingMs(Clock::time_point deadline) {
    auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - Clock::now());
    return left.count() < 0 ? 0 : static_cast<int>(left.count());
}

// Writes may block briefly; a peer that takes no data this long is gone.
constexpr std::chrono::seconds kWriteLimit{5};

}  // namespace

StreamLink::StreamLink(int fd, std::string description)
    : fd_(fd),
      cancelFd_(eventfd(0, EFD_NONBLOCK | EFD_CLOEXEC)),
      description_(std::move(description)) {}

StreamLink::~StreamLink() {
    if (fd_ >= 0) {
        close(fd_);
    }
    if (cancelFd_ >= 0) {
        close(cancelFd_);
    }
}

ssize_t StreamLink::WriteSome(const char* data, size_t size) {
    return write(fd_, data, size);
}

bool StreamLink::SendBytes(const char* data, size_t size) {
    auto deadline = Clock::now() + kWriteLimit;
    while (size > 0) {
        ssize_t n = WriteSome(data, size);
        if (n > 0) {
            data += n;
            size -= static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            pollfd p{fd_, POLLOUT, 0};
            if (poll(&p, 1, RemainingMs(deadline)) <= 0 || (p.revents & (POLLERR | POLLHUP))) {
                return false;
            }
            continue;
        }
        return false;
    }
    return true;
}

bool StreamLink::WriteLine(std::string_view line) {
    if (dropped_) {
        return false;
    }
    if (!started_) {
        started_ = true;
        Drain();
    }
    std::string out(line);
    out += '\n';
    if (!SendBytes(out.data(), out.size())) {
        dropped_ = true;
        return false;
    }
    return true;
}

bool StreamLink::TakeLine(std::string& line) {
    auto taken = incoming_.Take();
    if (!taken) {
        return false;
    }
    line = std::move(*taken);
    return true;
}

void StreamLink::Drain() {
    incoming_.Clear();
    char chunk[4096];
    pollfd p{fd_, POLLIN, 0};
    // Bounded: a line that never falls quiet is left to the tags.
    for (int i = 0; i < 16 && poll(&p, 1, 0) > 0 && (p.revents & POLLIN) != 0; ++i) {
        if (read(fd_, chunk, sizeof chunk) <= 0) {
            break;
        }
    }
}

ReadResult StreamLink::ReadLine(std::chrono::milliseconds timeout) {
    ReadResult result;
    auto deadline = Clock::now() + timeout;
    while (true) {
        if (TakeLine(result.line)) {
            result.status = ReadStatus::kLine;
            return result;
        }
        if (dropped_) {
            result.status = ReadStatus::kDropped;
            return result;
        }
        pollfd p[2] = {{fd_, POLLIN, 0}, {cancelFd_, POLLIN, 0}};
        int ready = poll(p, 2, RemainingMs(deadline));
        if (ready < 0 && errno == EINTR) {
            continue;
        }
        if (ready == 0) {
            result.status = ReadStatus::kTimeout;
            return result;
        }
        if (ready < 0) {
            dropped_ = true;
            continue;
        }
        if (p[1].revents & POLLIN) {
            uint64_t count = 0;
            [[maybe_unused]] ssize_t n = read(cancelFd_, &count, sizeof count);
            result.status = ReadStatus::kCancelled;
            return result;
        }
        if (p[0].revents & (POLLIN | POLLHUP | POLLERR)) {
            char chunk[4096];
            ssize_t n = read(fd_, chunk, sizeof chunk);
            if (n > 0) {
                incoming_.Append({chunk, static_cast<size_t>(n)});
            } else if (n == 0 || (errno != EINTR && errno != EAGAIN && errno != EWOULDBLOCK)) {
                dropped_ = true;  // end of file, or EIO from a hung-up terminal
            }
        }
    }
}

void StreamLink::Cancel() {
    uint64_t one = 1;
    [[maybe_unused]] ssize_t n = write(cancelFd_, &one, sizeof one);
}

}  // namespace vesk::comm
