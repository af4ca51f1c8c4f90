#pragma once
// The script command's text: its lines, read with a bound, their words, and what a line asks
// for. Apart from the rest of the tool, so that the fuzz target runs the code the tool runs.
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vesk {
class LineInput;
}

namespace vesk::cli {

// The longest script line; a longer one stops the script.
inline constexpr size_t kMaxScriptLine = 4096;

struct Token {
    std::string text;
    bool quoted = false;
};

// Blank-separated words; "double quotes" keep blanks and take \" and \\; # starts a comment.
// An open quote or a control character is an AutomationError (invalid procedure call).
std::vector<Token> Tokenize(std::string_view line);

// A name as the member tables hold them: a letter, then letters, digits or _ (64 at most).
bool IsMemberName(std::string_view name);

// [channel N | module I] get|set|call MEMBER [ARGS...]
struct ScriptLine {
    std::string object;  // "", "channel" or "module"
    Token index;         // the channel number or module index
    std::string verb;    // get, set or call
    std::string member;
    std::vector<Token> args;
};
// Nothing for a blank or comment line. A line that asks for nothing sensible is an
// AutomationError (invalid procedure call) that quotes at most a short excerpt of it.
std::optional<ScriptLine> ParseScriptLine(std::string_view line);

// The lines of a script, numbered from 1.
class ScriptReader {
  public:
    // The file, or standard input for "" and "-"; an AutomationError when it cannot be opened.
    explicit ScriptReader(const std::string& path);
    // The lines of a stream; name is what messages call it.
    ScriptReader(std::istream& in, std::string name);
    ~ScriptReader();
    ScriptReader(const ScriptReader&) = delete;
    ScriptReader& operator=(const ScriptReader&) = delete;

    // The next line; false at the end. A read error or an overlong line is an AutomationError
    // naming the line and the script: the script stops there.
    bool Next(std::string& line);
    int64_t LineNumber() const { return number_; }

  private:
    std::string name_;
    int fd_ = -1;  // owned when a file was opened
    std::unique_ptr<LineInput> input_;
    int64_t number_ = 0;
};

}  // namespace vesk::cli
