#pragma once
// One link to one instrument, shared by the recorder and the clients of its endpoint.
//
// Every request goes out under a tag of the shared link's own, and its reply goes back under
// the tag its sender chose: whatever tags two senders pick, their replies cannot cross, and a
// late reply to an abandoned request is dropped here. Requests take turns, first come first
// served; a log transfer keeps the link until its end marker. The recorder takes one turn for
// a whole round of readings, so nothing a client does lands between its requests.
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "components/comm/ILink.h"

namespace vesk::rec {

struct Origin {
    std::string who;      // "recorder", "client 127.0.0.1:40312"
    bool client = false;  // a client's writes make the recorder read its context again
};

class SharedPort;

class SharedLink : public std::enable_shared_from_this<SharedLink> {
  public:
    SharedLink(comm::LinkFactory open, comm::LinkRequest request);
    ~SharedLink();
    SharedLink(const SharedLink&) = delete;
    SharedLink& operator=(const SharedLink&) = delete;

    // A turn on the link; a thread that holds one may take it again (nested).
    class Turn {
      public:
        Turn(Turn&& other) noexcept;
        Turn& operator=(Turn&&) = delete;
        ~Turn();
        // How long it waited, and what held the link meanwhile (empty when nothing did).
        std::chrono::steady_clock::duration Waited() const { return waited_; }
        const std::string& HeldBy() const { return heldBy_; }

      private:
        friend class SharedLink;
        Turn(SharedLink* link, std::chrono::steady_clock::duration waited, std::string heldBy)
            : link_(link), waited_(waited), heldBy_(std::move(heldBy)) {}
        SharedLink* link_;
        std::chrono::steady_clock::duration waited_;
        std::string heldBy_;
    };
    Turn TakeTurn(const std::string& who);

    enum class Outcome : uint8_t { kDone, kTimeout, kDropped, kUnavailable, kCancelled };
    struct Result {
        Outcome outcome = Outcome::kDone;
        std::string error;  // why the link could not be opened
        std::string lastPayload;
    };
    // One request line (tagged or not) and every line of its reply, each handed to deliver
    // with the sender's tag. Takes a turn for its duration.
    Result Exchange(std::string_view line, const Origin& origin,
                    const std::function<void(const std::string&)>& deliver);

    // Acknowledged writes by clients so far: the recorder reads its context again when this
    // moves.
    uint64_t ClientWrites() const;
    // An ILink for a Communications of this process; its requests go through Exchange.
    // Replies to MEAS:* requests are kept for LastMeasurement (the text the instrument sent).
    std::shared_ptr<SharedPort> Port(Origin origin);
    // Drops the instrument link; the next request opens it again. Take a turn first: an
    // exchange in flight keeps using the link it has.
    void Close();
    // Ends a wait for a reply now (stopping).
    void Cancel();
    std::string Describe() const;
    std::chrono::milliseconds Timeout() const { return request_.timeout; }

  private:
    void EndTurn();
    std::shared_ptr<comm::ILink> EnsureLink();
    uint32_t NextTag();

    comm::LinkFactory open_;
    comm::LinkRequest request_;

    std::mutex turnMutex_;
    std::condition_variable turnChanged_;
    uint64_t nextTicket_ = 0;
    uint64_t serving_ = 0;
    std::optional<std::thread::id> owner_;
    int depth_ = 0;
    std::string holder_;

    mutable std::mutex linkMutex_;
    std::shared_ptr<comm::ILink> link_;
    uint32_t lastTag_;
    uint64_t clientWrites_ = 0;
};

// The port a Communications of this process talks through (SharedLink::Port), with the
// text of the last measurement reply.
class SharedPort : public comm::ILink {
  public:
    SharedPort(std::shared_ptr<SharedLink> link, Origin origin);
    bool WriteLine(std::string_view line) override;
    comm::ReadResult ReadLine(std::chrono::milliseconds timeout) override;
    void Cancel() override;
    std::string Describe() const override;

    // The payload of the last reply to MEAS:TEMP?, MEAS:RES? or MEAS:VOLT?, with its
    // mnemonic; cleared by ClearMeasurement.
    struct Measurement {
        std::string mnemonic;
        std::string payload;
    };
    std::optional<Measurement> LastMeasurement() const;
    void ClearMeasurement();
    // What went wrong with the link in the last exchange ("" when it went through).
    std::string LastFailure() const;

  private:
    std::shared_ptr<SharedLink> link_;
    Origin origin_;
    mutable std::mutex mutex_;
    std::deque<std::string> inbox_;
    SharedLink::Outcome outcome_ = SharedLink::Outcome::kDone;
    std::optional<Measurement> measurement_;
    std::string failure_;
};

}  // namespace vesk::rec
