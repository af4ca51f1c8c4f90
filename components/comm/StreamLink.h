#pragma once
// A link over a file descriptor (serial device or socket): lines end in LF, a CR before it
// is dropped; reads wait in poll() so that a time-out or a cancel ends them.
#include <sys/types.h>

#include <chrono>
#include <string>

#include "components/comm/ILink.h"

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
    std::string buffer_;
    bool dropped_ = false;
};

}  // namespace vesk::comm
