#pragma once
// A link over a file descriptor (serial device or socket): lines end in LF, a CR before it
// is dropped; reads wait in poll() so that a time-out or a cancel ends them. Whatever waits on
// the line before the first request belongs to nobody and is drained; a line longer than
// kMaxLineLength comes back cut to kMaxLineLength + 1 bytes, the rest of it dropped, so that it
// is refused and the buffer stays bounded.
#include <sys/types.h>

#include <chrono>
#include <string>

#include "components/comm/ILink.h"
#include "components/comm/Protocol.h"

namespace vesk::comm {

class StreamLink : public ILink {
  public:
    StreamLink(int fd, std::string description);
    ~StreamLink() override;
    StreamLink(const StreamLink&) = delete;
    StreamLink& operator=(const StreamLink&) = delete;

    bool WriteLine(std::string_view line) override;
    ReadResult ReadLine(std::chrono::milliseconds timeout) override;
    void Cancel() override;
    std::string Describe() const override { return description_; }

  protected:
    // One write(2)-like call; sockets override it to avoid SIGPIPE.
    virtual ssize_t WriteSome(const char* data, size_t size);
    int Fd() const { return fd_; }

  private:
    // Sends bytes; false when the peer is gone.
    bool SendBytes(const char* data, size_t size);
    bool TakeLine(std::string& line);

    int fd_;
    int cancelFd_;
    std::string description_;
    // Reads and drops whatever is waiting, without waiting for more.
    void Drain();

    LineBuffer incoming_{"\n"};
    bool dropped_ = false;
    bool started_ = false;  // a line was sent: what arrived before it was drained
};

}  // namespace vesk::comm
