#pragma once
// A TCP connection to an instrument server ("HOST:PORT").
#include <chrono>
#include <memory>
#include <string>

#include "components/comm/StreamLink.h"

namespace vesk::comm {

class TcpLink : public StreamLink {
  public:
    // Throws AutomationError kCommLinkUnavailable when the connection cannot be made within
    // the time-out.
    static std::shared_ptr<TcpLink> Connect(const std::string& hostPort,
                                            std::chrono::milliseconds timeout);

  protected:
    ssize_t WriteSome(const char* data, size_t size) override;

  private:
    using StreamLink::StreamLink;
};

}  // namespace vesk::comm
