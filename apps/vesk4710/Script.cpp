#include "apps/vesk4710/Script.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

#include "apps/vesk4710/Text.h"
#include "components/comm/Protocol.h"
#include "components/registry/SystemError.h"
#include "ui/console/LineInput.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::cli {

namespace {

constexpr const char* kSource = "vesk4710 script";

[[noreturn]] void Refuse(const std::string& description) {
    throw AutomationError(kErrInvalidProcedureCall, description, kSource);
}

// What a message repeats of the script: a short, printable excerpt in quotes.
std::string Quoted(std::string_view text) {
    return "\"" + comm::Printable(text, 60) + "\"";
}

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r';
}

}  // namespace

std::vector<Token> Tokenize(std::string_view line) {
    for (char c : line) {
        const auto u = static_cast<unsigned char>(c);
        if ((u < 0x20 && !IsBlank(c)) || u == 0x7f) {
            Refuse("the line holds the control character " + comm::Printable({&c, 1}));
        }
    }
    std::vector<Token> tokens;
    size_t i = 0;
    while (i < line.size()) {
        const char c = line[i];
        if (IsBlank(c)) {
            ++i;
            continue;
        }
        if (c == '#') {
            break;
        }
        Token t;
        if (c == '"') {
            t.quoted = true;
            ++i;
            bool closed = false;
            while (i < line.size()) {
                if (line[i] == '\\' && i + 1 < line.size() &&
                    (line[i + 1] == '"' || line[i + 1] == '\\')) {
                    t.text.push_back(line[i + 1]);
                    i += 2;
                } else if (line[i] == '"') {
                    closed = true;
                    ++i;
                    break;
                } else {
                    t.text.push_back(line[i++]);
                }
            }
            if (!closed) {
                Refuse("a quoted text is not closed");
            }
        } else {
            while (i < line.size() && !IsBlank(line[i])) {
                t.text.push_back(line[i++]);
            }
        }
        tokens.push_back(std::move(t));
    }
    return tokens;
}

bool IsMemberName(std::string_view name) {
    const auto letter = [](char c) { return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z'); };
    if (name.empty() || name.size() > 64 || !letter(name.front())) {
        return false;
    }
    for (char c : name) {
        if (!letter(c) && !(c >= '0' && c <= '9') && c != '_') {
            return false;
        }
    }
    return true;
}

std::optional<ScriptLine> ParseScriptLine(std::string_view text) {
    std::vector<Token> tokens = Tokenize(text);
    if (tokens.empty()) {
        return std::nullopt;
    }
    ScriptLine line;
    size_t i = 0;
    const std::string first = Lower(tokens[0].text);
    if (!tokens[0].quoted && (first == "channel" || first == "module")) {
        if (tokens.size() < 2) {
            Refuse(first + " needs a number");
        }
        line.object = first;
        line.index = tokens[1];
        i = 2;
    }
    if (i >= tokens.size()) {
        Refuse("get, set or call is missing");
    }
    line.verb = Lower(tokens[i].text);
    if (tokens[i].quoted || (line.verb != "get" && line.verb != "set" && line.verb != "call")) {
        Refuse(Quoted(tokens[i].text) + " is not get, set or call");
    }
    if (i + 1 >= tokens.size() || tokens[i + 1].quoted) {
        Refuse(line.verb + " needs a member name");
    }
    line.member = tokens[i + 1].text;
    if (!IsMemberName(line.member)) {
        Refuse(Quoted(line.member) + " is not a member name");
    }
    line.args.assign(tokens.begin() + static_cast<std::ptrdiff_t>(i + 2), tokens.end());
    return line;
}

ScriptReader::ScriptReader(const std::string& path) {
    if (path.empty() || path == "-") {
        name_ = "(standard input)";
        input_ = std::make_unique<LineInput>(STDIN_FILENO, kMaxScriptLine);
        return;
    }
    name_ = path;
    fd_ = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY);
    if (fd_ < 0) {
        RaiseErrno(errno, "cannot open the script", path, kSource);
    }
    input_ = std::make_unique<LineInput>(fd_, kMaxScriptLine);
}

ScriptReader::ScriptReader(std::istream& in, std::string name)
    : name_(std::move(name)), input_(std::make_unique<LineInput>(in, kMaxScriptLine)) {}

ScriptReader::~ScriptReader() {
    if (fd_ >= 0) {
        ::close(fd_);
    }
}

bool ScriptReader::Next(std::string& line) {
    const std::string next = std::to_string(number_ + 1);
    switch (input_->Next(line)) {
        case LineInput::Status::kLine:
            ++number_;
            return true;
        case LineInput::Status::kEnd:
            return false;
        case LineInput::Status::kTooLong:
            Refuse("line " + next + " of the script " + Quoted(name_) + " is longer than " +
                   std::to_string(kMaxScriptLine) + " characters (it begins " + Quoted(line) +
                   "); the script stops there");
        case LineInput::Status::kFailed:
            break;
    }
    RaiseErrno(input_->Error(), "cannot read line " + next + " of the script", name_, kSource);
}

}  // namespace vesk::cli
