#include "ui/console/LineInput.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <istream>

namespace vesk {

LineInput::LineInput(int fd, size_t maxLength) : fd_(fd), max_(maxLength) {}

LineInput::LineInput(std::istream& in, size_t maxLength) : in_(&in), max_(maxLength) {}

LineInput::Status LineInput::Stop(Status status) {
    stopped_ = status;
    return status;
}

// False at the end of the input or on a failed read (stopped_ says which).
bool LineInput::Fill() {
    begin_ = 0;
    end_ = 0;
    if (in_ != nullptr) {
        try {
            std::streambuf* buf = in_->rdbuf();
            const std::streamsize ready = buf == nullptr ? 0 : buf->in_avail();
            if (ready > 0) {
                end_ = static_cast<size_t>(buf->sgetn(
                    buffer_.data(), std::min<std::streamsize>(
                                        ready, static_cast<std::streamsize>(buffer_.size()))));
            } else if (buf != nullptr) {
                // Nothing buffered: one character, so that a terminal is not asked for more.
                const auto c = buf->sbumpc();
                if (c != std::char_traits<char>::eof()) {
                    buffer_[0] = std::char_traits<char>::to_char_type(c);
                    end_ = 1;
                }
            }
        } catch (...) {
            error_ = EIO;
            Stop(Status::kFailed);
            return false;
        }
        if (end_ == 0) {
            Stop(Status::kEnd);
        }
        return end_ > 0;
    }
    const ssize_t n = ::read(fd_, buffer_.data(), buffer_.size());
    if (n > 0) {
        end_ = static_cast<size_t>(n);
        return true;
    }
    if (n < 0) {
        // An interrupted read is the user's Ctrl-C: it ends the input too.
        error_ = errno;
        Stop(Status::kFailed);
    } else {
        Stop(Status::kEnd);
    }
    return false;
}

LineInput::Status LineInput::Next(std::string& line) {
    line.clear();
    if (stopped_ != Status::kLine) {
        return stopped_;
    }
    // A whole line: without the CR of a CR LF, and refused when it is too long.
    const auto finish = [&] {
        if (!line.empty() && line.back() == '\r') {
            line.pop_back();
        }
        if (line.size() > max_) {
            line.resize(max_);
            return Stop(Status::kTooLong);
        }
        return Status::kLine;
    };
    for (;;) {
        if (begin_ == end_ && !Fill()) {
            // A last line without its line end still counts; a failed read loses the part line.
            return stopped_ == Status::kEnd && !line.empty() ? finish() : stopped_;
        }
        const char* from = buffer_.data() + begin_;
        const char* to = buffer_.data() + end_;
        const char* newline = std::find(from, to, '\n');
        line.append(from, newline);
        begin_ = static_cast<size_t>(newline - buffer_.data());
        if (newline != to) {
            ++begin_;
            return finish();
        }
        // One more character may be the CR of a CR LF.
        if (line.size() > max_ + 1) {
            line.resize(max_);
            return Stop(Status::kTooLong);
        }
    }
}

}  // namespace vesk
