#pragma once
// Text input read line by line with a bound on every line, so that endless or hostile input
// (/dev/zero, a runaway pipe, a binary file) cannot grow without limit. One home for every line
// the console programs read: answers, passcodes, script lines.
#include <array>
#include <cstddef>
#include <iosfwd>
#include <string>

namespace vesk {

class LineInput {
  public:
    enum class Status { kLine, kEnd, kTooLong, kFailed };

    // Reads the descriptor (not owned) with read(2), so that a read error is told apart from
    // the end of the input.
    LineInput(int fd, size_t maxLength);
    // Reads the stream; never asks it for more than it needs to end the current line.
    LineInput(std::istream& in, size_t maxLength);

    // The next line without its line end (LF or CR LF); a last line without one counts. Once
    // the input ended, failed or gave an overlong line, every further call says so again; an
    // overlong line leaves its first maxLength characters in line.
    Status Next(std::string& line);
    // The errno of a failed read.
    int Error() const { return error_; }
    size_t MaxLength() const { return max_; }

  private:
    bool Fill();
    Status Stop(Status status);

    int fd_ = -1;
    std::istream* in_ = nullptr;
    size_t max_;
    std::array<char, 4096> buffer_{};
    size_t begin_ = 0;
    size_t end_ = 0;
    Status stopped_ = Status::kLine;  // kLine while the input goes on
    int error_ = 0;
};

}  // namespace vesk
