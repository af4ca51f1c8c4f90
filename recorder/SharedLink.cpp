#include "recorder/SharedLink.h"

#include <random>

#include "components/comm/CommErrors.h"
#include "components/comm/Protocol.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::rec {

namespace {

using Clock = std::chrono::steady_clock;

// Disabling the instrument's serial interface would end recording for everyone.
constexpr int32_t kDisableInterface = 306;

bool IsMeasurement(std::string_view mnemonic) {
    return mnemonic == "MEAS:TEMP?" || mnemonic == "MEAS:RES?" || mnemonic == "MEAS:VOLT?";
}

// The line without its tag.
std::string_view Body(std::string_view line, bool tagged) {
    std::string_view rest = Trim(line);
    if (tagged) {
        rest = Trim(rest.substr(rest.find(' ') + 1));
    }
    return rest;
}

}  // namespace

SharedLink::SharedLink(comm::LinkFactory open, comm::LinkRequest request)
    : open_(std::move(open)), request_(std::move(request)) {
    // A fresh start for the tags, so that a reply left on the line by an earlier process is
    // not taken for one of ours.
    std::random_device seed;
    lastTag_ = std::uniform_int_distribution<uint32_t>(1, comm::kMaxTag)(seed);
}

SharedLink::~SharedLink() = default;

SharedLink::Turn::Turn(Turn&& other) noexcept
    : link_(other.link_), waited_(other.waited_), heldBy_(std::move(other.heldBy_)) {
    other.link_ = nullptr;
}

SharedLink::Turn::~Turn() {
    if (link_ != nullptr) {
        link_->EndTurn();
    }
}

SharedLink::Turn SharedLink::TakeTurn(const std::string& who) {
    std::unique_lock lock(turnMutex_);
    if (owner_ == std::this_thread::get_id()) {
        ++depth_;
        return Turn(this, {}, {});
    }
    const uint64_t ticket = nextTicket_++;
    const auto started = Clock::now();
    std::string heldBy;
    turnChanged_.wait(lock, [&] {
        if (serving_ != ticket && !holder_.empty() && heldBy.find(holder_) == std::string::npos) {
            heldBy += heldBy.empty() ? holder_ : ", " + holder_;
        }
        return serving_ == ticket;
    });
    owner_ = std::this_thread::get_id();
    depth_ = 1;
    holder_ = who;
    return Turn(this, Clock::now() - started, heldBy);
}

void SharedLink::EndTurn() {
    {
        std::lock_guard lock(turnMutex_);
        if (--depth_ > 0) {
            return;
        }
        owner_.reset();
        holder_.clear();
        ++serving_;
    }
    turnChanged_.notify_all();
}

uint32_t SharedLink::NextTag() {
    std::lock_guard lock(linkMutex_);
    lastTag_ = lastTag_ >= comm::kMaxTag ? 1 : lastTag_ + 1;
    return lastTag_;
}

std::shared_ptr<comm::ILink> SharedLink::EnsureLink() {
    std::lock_guard lock(linkMutex_);
    if (!link_) {
        link_ = open_(request_);
        if (!link_) {
            throw comm::CommError(comm::kCommLinkUnavailable,
                                  "No link could be opened to " + request_.device);
        }
    }
    return link_;
}

void SharedLink::Close() {
    std::lock_guard lock(linkMutex_);
    link_.reset();
}

void SharedLink::Cancel() {
    std::shared_ptr<comm::ILink> link;
    {
        std::lock_guard lock(linkMutex_);
        link = link_;
    }
    if (link) {
        link->Cancel();
    }
}

std::string SharedLink::Describe() const {
    std::lock_guard lock(linkMutex_);
    return link_ ? link_->Describe() : request_.device;
}

uint64_t SharedLink::ClientWrites() const {
    std::lock_guard lock(linkMutex_);
    return clientWrites_;
}

SharedLink::Result SharedLink::Exchange(std::string_view line, const Origin& origin,
                                        const std::function<void(const std::string&)>& deliver) {
    Result result;
    std::string parseError;
    const auto command = comm::ParseCommandLine(line, &parseError);
    if (!command) {
        // Answered here, as the instrument would: nothing of it is worth the link's time.
        deliver(comm::Tagged(comm::LeadingTag(line),
                             comm::FormatErrorReply(1, "cannot read the command: " + parseError)));
        return result;
    }
    const comm::SettingCommand* setting = comm::FindMnemonic(command->mnemonic);
    if (origin.client && setting != nullptr && setting->id == kDisableInterface) {
        deliver(comm::Tagged(
            command->tag, comm::FormatErrorReply(5, "not while the recorder uses the interface")));
        return result;
    }
    const bool transfer = setting != nullptr && setting->access == comm::Access::kTransfer;

    Turn turn = TakeTurn(origin.who + " (" + command->mnemonic + ")");
    std::shared_ptr<comm::ILink> link;
    try {
        link = EnsureLink();
    } catch (const AutomationError& e) {
        result.outcome = Outcome::kUnavailable;
        result.error = e.Description();
        return result;
    }
    const uint32_t tag = NextTag();
    if (!link->WriteLine(std::to_string(tag) + " " +
                         std::string(Body(line, command->tag.has_value())))) {
        Close();
        result.outcome = Outcome::kDropped;
        return result;
    }
    bool begun = false;
    while (true) {
        const comm::ReadResult r = link->ReadLine(request_.timeout);
        if (r.status == comm::ReadStatus::kTimeout) {
            result.outcome = Outcome::kTimeout;
            return result;
        }
        if (r.status == comm::ReadStatus::kDropped) {
            Close();
            result.outcome = Outcome::kDropped;
            return result;
        }
        if (r.status == comm::ReadStatus::kCancelled) {
            result.outcome = Outcome::kCancelled;
            return result;
        }
        if (comm::LeadingTag(r.line) != tag) {
            continue;  // a late reply to an abandoned request, or line noise
        }
        const size_t space = r.line.find(' ');
        std::string payload = space == std::string::npos ? std::string() : r.line.substr(space + 1);
        deliver(comm::Tagged(command->tag, payload));
        const bool more = transfer && (begun ? !(payload.rfind(comm::kEndMarker, 0) == 0 ||
                                                 payload.rfind(comm::kAbortMarker, 0) == 0 ||
                                                 payload.rfind(comm::kErrorPrefix, 0) == 0)
                                             : payload.rfind(comm::kBeginMarker, 0) == 0);
        begun = true;
        if (!more) {
            if (origin.client && setting != nullptr && setting->access == comm::Access::kWrite &&
                payload == comm::kReplyOk) {
                std::lock_guard lock(linkMutex_);
                ++clientWrites_;
            }
            result.lastPayload = std::move(payload);
            return result;
        }
    }
}

std::shared_ptr<SharedPort> SharedLink::Port(Origin origin) {
    return std::make_shared<SharedPort>(shared_from_this(), std::move(origin));
}

SharedPort::SharedPort(std::shared_ptr<SharedLink> link, Origin origin)
    : link_(std::move(link)), origin_(std::move(origin)) {}

bool SharedPort::WriteLine(std::string_view line) {
    std::deque<std::string> replies;
    const SharedLink::Result result =
        link_->Exchange(line, origin_, [&](const std::string& reply) { replies.push_back(reply); });
    std::lock_guard lock(mutex_);
    const auto command = comm::ParseCommandLine(line);
    const std::string what = command ? command->mnemonic : std::string("a request");
    switch (result.outcome) {
        case SharedLink::Outcome::kUnavailable:
            failure_ = "the link cannot be opened: " + result.error;
            throw comm::CommError(comm::kCommLinkUnavailable, result.error);
        case SharedLink::Outcome::kDropped:
            failure_ = "the link to " + link_->Describe() + " dropped (at " + what + ")";
            break;
        case SharedLink::Outcome::kTimeout:
            failure_ = "no reply to " + what + " within " +
                       std::to_string(link_->Timeout().count()) + " ms";
            break;
        case SharedLink::Outcome::kCancelled:
            failure_ = "cancelled";
            break;
        case SharedLink::Outcome::kDone:
            // A refusal says why better than the library's summary of it ("channel off").
            failure_ = result.lastPayload.rfind(comm::kErrorPrefix, 0) == 0
                           ? "the instrument refused " + what + ": " + result.lastPayload
                           : std::string();
    }
    inbox_ = std::move(replies);
    outcome_ = result.outcome;
    if (result.outcome == SharedLink::Outcome::kDone) {
        if (auto command = comm::ParseCommandLine(line);
            command && IsMeasurement(command->mnemonic)) {
            measurement_ = Measurement{command->mnemonic, result.lastPayload};
        }
    }
    return result.outcome != SharedLink::Outcome::kDropped;
}

comm::ReadResult SharedPort::ReadLine(std::chrono::milliseconds /*timeout*/) {
    // The exchange already waited its time-out: what is not here will not come.
    std::lock_guard lock(mutex_);
    comm::ReadResult r;
    if (!inbox_.empty()) {
        r.status = comm::ReadStatus::kLine;
        r.line = std::move(inbox_.front());
        inbox_.pop_front();
        return r;
    }
    switch (outcome_) {
        case SharedLink::Outcome::kDropped:
        case SharedLink::Outcome::kUnavailable:
            r.status = comm::ReadStatus::kDropped;
            break;
        case SharedLink::Outcome::kCancelled:
            r.status = comm::ReadStatus::kCancelled;
            outcome_ = SharedLink::Outcome::kTimeout;  // said once
            break;
        default:
            r.status = comm::ReadStatus::kTimeout;
    }
    return r;
}

void SharedPort::Cancel() {
    link_->Cancel();
}

std::string SharedPort::Describe() const {
    return link_->Describe();
}

std::optional<SharedPort::Measurement> SharedPort::LastMeasurement() const {
    std::lock_guard lock(mutex_);
    return measurement_;
}

std::string SharedPort::LastFailure() const {
    std::lock_guard lock(mutex_);
    return failure_;
}

void SharedPort::ClearMeasurement() {
    std::lock_guard lock(mutex_);
    measurement_.reset();
}

}  // namespace vesk::rec
