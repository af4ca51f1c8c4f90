#pragma once
// The vesk4710 command-line tool: shared pieces of its commands. Every command works through
// the library's own operations on one CVesk4710 made on the default host.
#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "apps/vesk4710/Script.h"
#include "apps/vesk4710/Text.h"
#include "components/comm/Protocol.h"
#include "host/InstrumentRequests.h"
#include "host/InstrumentText.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/Variant.h"

namespace vesk::cli {

// Exit statuses.
inline constexpr int kExitOk = 0;
inline constexpr int kExitFailed = 1;  // instrument or communications error
inline constexpr int kExitUsage = 2;

// Channels an instrument can have: one per module.
inline constexpr int kMaxChannels = kMaxModules * CVesk4710Card::kChannelsPerModule;

struct GlobalOptions {
    std::string device = "sim";
    int32_t baud = 9600;
    std::string trace;
    int32_t timeoutMs = 2000;
    bool json = false;
    bool yes = false;
    bool no = false;
    std::vector<std::string> passcodes;
    std::string passcodeFile;
    bool passcodeStdin = false;  // the prompt reads standard input, even from a pipe
};

// The environment variable that can hold the passcode.
inline constexpr const char* kPasscodeVariable = "VESK4710_PASSCODE";
// Where the passcode comes from: --passcode, else --passcode-file (a file only its owner can
// read, /dev/fd/N, or - for standard input at the prompt), else the environment.
void ResolvePasscodes(GlobalOptions& options);

// A bad argument found after parsing (exit status 2).
class UsageError : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// An operation that reported its own failure to the user, or stopped on the user's word
// (exit status 1).
class Failed : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// stdout for results, stderr for notices and errors; JSON lines with --json.
class Output {
  public:
    explicit Output(bool json) : json_(json) {}
    bool Json() const { return json_; }
    void Line(std::string_view text) const;
    void Json(const nlohmann::json& value) const;
    void Notice(std::string_view text) const;
    void Error(int32_t number, const std::string& description, const std::string& source) const;

  private:
    bool json_;
};

// Dumps hostile bytes (invalid UTF-8 from the instrument) without throwing.
std::string JsonText(const nlohmann::json& value);

// "0x800407D3" for object errors, decimal for the classic run-time numbers.
std::string ErrorNumberText(int32_t number);
// A short explanation of a communications error number, empty for others.
std::string CommErrorHint(int32_t number);

class Session {
  public:
    explicit Session(const GlobalOptions& options);
    ~Session();
    Session(const Session&) = delete;
    Session& operator=(const Session&) = delete;

    const GlobalOptions& Options() const { return options_; }
    const Output& Out() const { return out_; }
    Host& GetHost() { return *host_; }
    CVesk4710& Instrument() { return *instrument_; }
    const std::shared_ptr<CVesk4710>& InstrumentPtr() const { return instrument_; }

    // Interface initialisation, identification and the model check.
    void Identify();
    // Identify, then the channel count, module list and module count: the tree that channel
    // numbers resolve against.
    void ReadTopology();
    // A channel by its instrument-wide number; a usage error outside 1 .. NumChannels.
    std::shared_ptr<CVesk4710Channel> Channel(int32_t number);

    // Runs a protected write of `what`; when the instrument asks for the passcode, prompts for
    // it (ValidatePasscode), presents it, writes again and locks the instrument afterwards.
    void WithUnlock(const std::string& what, const std::function<void()>& write);
    // Runs writes known to be protected: unlocked first unless the instrument already is, and
    // locked again afterwards. A missing passcode fails naming `what`.
    void Unlocked(const std::string& what, const std::function<void()>& write);
    // Runs an operation that reports a failure only as false (its message already shown);
    // fails with what went wrong on the line during it, the instrument's own reason.
    void Require(const std::function<bool()>& operation, const std::string& what);

  private:
    void Unlock(const std::string& what);
    void UnlockedWrite(const std::string& what, const std::function<void()>& write);
    void Relock();

    GlobalOptions options_;
    Output out_;
    std::shared_ptr<Host> host_;
    std::shared_ptr<CVesk4710> instrument_;
};

// Throws Failed(what) when a reporting operation returned false.
void Check(bool ok, const std::string& what);

// Text of values.
std::string NumberString(double v);  // shortest round-trip text, "." decimal
std::string UnitSymbol(int32_t units);
std::optional<bool> ParseBool(std::string_view text);
std::optional<int64_t> ParseInteger(std::string_view text);
std::optional<double> ParseNumber(std::string_view text);
// Checked text of arguments (UsageError when wrong).
Date ParseCalDate(const std::string& text);
void CheckLoggingLabel(const std::string& label, size_t maxLength);
// 1 to maxLength letters, digits or - _ / . (instrument and probe serial numbers).
bool ValidSerialText(const std::string& text, size_t maxLength);

// Late-bound values: literals of call arguments and script lines, and how results print.
Variant ParseLiteral(const std::string& token, bool quoted);
std::string VariantText(const Variant& value);
nlohmann::json VariantJson(const Variant& value);

// The probe's coefficients of a channel's conversion, by their instrument names.
struct Coefficient {
    std::string name;
    std::function<double()> get;
    std::function<void(double)> set;
    std::function<std::string()> format;  // how it is written
};
std::vector<Coefficient> Coefficients(CVesk4710Channel& channel);
// One channel as info and channel print it.
nlohmann::json ChannelJson(CVesk4710Channel& channel, bool full);
void PrintChannel(const Output& out, CVesk4710Channel& channel, bool full);

// A command: its subcommand and what it runs once the command line is parsed. Commands that
// need no instrument leave session null.
struct Command {
    CLI::App* app = nullptr;
    bool needsSession = true;
    std::function<void(Session*, const Output&)> run;
};
using Commands = std::vector<Command>;

void AddInfoCommand(CLI::App& app, Commands& commands);
void AddReadCommand(CLI::App& app, Commands& commands);
void AddSettingCommands(CLI::App& app, Commands& commands);
void AddChannelCommand(CLI::App& app, Commands& commands);
void AddLogCommands(CLI::App& app, Commands& commands);
void AddCalCommand(CLI::App& app, Commands& commands);
void AddLateBoundCommands(CLI::App& app, Commands& commands);
// record (and record status) and export: they make their own objects from the global options.
void AddRecordCommands(CLI::App& app, Commands& commands, const GlobalOptions& global);

}  // namespace vesk::cli
