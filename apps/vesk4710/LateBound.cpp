// members, call and script: the late-bound interface by member name, as automation clients
// use it.
#include <fmt/format.h>

#include "apps/vesk4710/Cli.h"
#include "ui/console/ConsoleUi.h"
#include "vesk4710/modules/CVesk4710Card.h"

namespace vesk::cli {

namespace {

const char* KindName(MemberKind kind) {
    switch (kind) {
        case MemberKind::Method:
            return "method";
        case MemberKind::Get:
            return "get";
        case MemberKind::Let:
            return "let";
        case MemberKind::Set:
            return "set";
    }
    return "";
}

const std::vector<MemberInfo>& TableOf(const std::string& name, std::string& className) {
    const std::string n = Lower(name);
    if (n == "cvesk4710" || n == "instrument") {
        className = "CVesk4710";
        return CVesk4710::MemberTable();
    }
    if (n == "cvesk4710card" || n == "module" || n == "card") {
        className = "CVesk4710Card";
        return CVesk4710Card::MemberTable();
    }
    if (n == "cvesk4710channel" || n == "channel") {
        className = "CVesk4710Channel";
        return CVesk4710Channel::MemberTable();
    }
    throw UsageError("unknown class \"" + comm::Printable(name, 60) +
                     "\"; classes: CVesk4710, CVesk4710Card, CVesk4710Channel");
}

void RunMembers(const Output& out, const std::string& cls) {
    std::string className;
    const auto& table = TableOf(cls, className);
    if (out.Json()) {
        nlohmann::json members = nlohmann::json::array();
        for (const auto& m : table) {
            members.push_back({{"id", m.dispid}, {"name", m.name}, {"kind", KindName(m.kind)}});
        }
        out.Json({{"class", className}, {"members", members}});
        return;
    }
    for (const auto& m : table) {
        out.Line(fmt::format("{} {} {}", m.dispid, m.name, KindName(m.kind)));
    }
}

// The accessor a verb means: get reads; set writes (let, else set); call runs a method, else
// reads a property with arguments.
MemberKind KindFor(const IDispatchable& target, const std::string& verb,
                   const std::string& member) {
    const auto& table = target.Members();
    auto has = [&](MemberKind k) { return FindMember(table, member, k) != nullptr; };
    if (verb == "get") {
        return MemberKind::Get;
    }
    if (verb == "set") {
        return has(MemberKind::Let) || !has(MemberKind::Set) ? MemberKind::Let : MemberKind::Set;
    }
    for (MemberKind k : {MemberKind::Method, MemberKind::Get, MemberKind::Let, MemberKind::Set}) {
        if (has(k)) {
            return k;
        }
    }
    return MemberKind::Method;
}

// A shell word: quoted only when it carries its own double quotes.
Token ShellToken(const std::string& word) {
    if (word.size() >= 2 && word.front() == '"' && word.back() == '"') {
        return {word.substr(1, word.size() - 2), true};
    }
    return {word, false};
}

std::shared_ptr<IDispatchable> Navigate(CVesk4710& inst, const std::string& what,
                                        const Token& index) {
    const Variant v = ParseLiteral(index.text, index.quoted);
    if (v.Type() != VariantType::Integer) {
        throw UsageError(what + " takes a number, not \"" + comm::Printable(index.text, 60) + "\"");
    }
    std::vector<Variant> args{v};
    const Variant object = what == "channel"
                               ? inst.Invoke("GetChannelReference", MemberKind::Method, args)
                               : inst.Invoke("Modules", MemberKind::Get, args);
    auto target = object.AsObject();
    if (!target) {
        throw AutomationError(
            kErrObjectRequired,
            "Object required: there is no " + what + " " + comm::Printable(index.text, 60),
            "vesk4710 " + what);
    }
    return target;
}

struct Outcome {
    Variant value;
    std::vector<Variant> args;
    bool argsChanged = false;
};

Outcome Call(IDispatchable& target, const std::string& verb, const std::string& member,
             const std::vector<Token>& argTokens) {
    Outcome o;
    for (const auto& t : argTokens) {
        o.args.push_back(ParseLiteral(t.text, t.quoted));
    }
    if (verb == "set" && o.args.empty()) {
        throw UsageError("set takes a member and a value");
    }
    const std::vector<Variant> before = o.args;
    o.value = target.Invoke(member, KindFor(target, verb, member), o.args);
    for (size_t i = 0; i < o.args.size(); ++i) {
        o.argsChanged = o.argsChanged || !o.args[i].Identical(before[i]);
    }
    return o;
}

nlohmann::json OutcomeJson(const Outcome& o) {
    nlohmann::json j = {{"value", VariantJson(o.value)}};
    if (o.argsChanged) {
        j["args"] = nlohmann::json::array();
        for (const auto& a : o.args) {
            j["args"].push_back(VariantJson(a));
        }
    }
    return j;
}

void PrintOutcome(const Output& out, const Outcome& o) {
    if (out.Json()) {
        out.Json(OutcomeJson(o));
        return;
    }
    if (!o.value.IsEmpty()) {
        out.Line(VariantText(o.value));
    }
    if (o.argsChanged) {
        for (size_t i = 0; i < o.args.size(); ++i) {
            out.Line(fmt::format("  arg {}: {}", i + 1, VariantText(o.args[i])));
        }
    }
}

struct CallOptions {
    int32_t channel = 0;
    int32_t module = -1;
    std::string member;
    std::vector<std::string> args;
};

void RunCall(Session& s, const Output& out, const CallOptions& o) {
    if (o.channel != 0 && o.module != -1) {
        throw UsageError("--channel and --module exclude each other");
    }
    if (!IsMemberName(o.member)) {
        throw UsageError("\"" + comm::Printable(o.member, 60) + "\" is not a member name");
    }
    s.ReadTopology();
    std::shared_ptr<IDispatchable> target = s.InstrumentPtr();
    if (o.channel != 0) {
        target = Navigate(s.Instrument(), "channel", {std::to_string(o.channel), false});
    } else if (o.module != -1) {
        target = Navigate(s.Instrument(), "module", {std::to_string(o.module), false});
    }
    std::vector<Token> tokens;
    for (const auto& a : o.args) {
        tokens.push_back(ShellToken(a));
    }
    PrintOutcome(out, Call(*target, "call", o.member, tokens));
}

struct ScriptOptions {
    std::string file;
    bool stopOnError = false;
};

// In JSON the error takes its place among the results on stdout, so that each line's outcome
// stays in order.
void ReportLineError(const Output& out, int64_t lineNumber, int32_t number,
                     const std::string& description, const std::string& source) {
    if (out.Json()) {
        out.Json({{"error",
                   {{"number", number},
                    {"description", description},
                    {"source", source},
                    {"line", lineNumber}}}});
    } else {
        out.Error(number, fmt::format("line {}: {}", lineNumber, description), source);
    }
}

// One script line; false when it failed (the error is printed).
bool RunLine(Session& s, const Output& out, const std::string& text, int64_t lineNumber) {
    try {
        const std::optional<ScriptLine> line = ParseScriptLine(text);
        if (!line) {
            return true;
        }
        std::shared_ptr<IDispatchable> target = s.InstrumentPtr();
        if (!line->object.empty()) {
            target = Navigate(s.Instrument(), line->object, line->index);
        }
        PrintOutcome(out, Call(*target, line->verb, line->member, line->args));
        return true;
    } catch (const UsageError& e) {
        ReportLineError(out, lineNumber, kErrInvalidProcedureCall, e.what(), "vesk4710 script");
    } catch (const AutomationError& e) {
        ReportLineError(out, lineNumber, e.Number(), e.Description(), e.Source());
    }
    return false;
}

void RunScript(Session& s, const Output& out, const ScriptOptions& o) {
    const bool fromStdin = o.file.empty() || o.file == "-";
    if (fromStdin && s.Options().passcodeStdin) {
        throw UsageError("the script and the passcode cannot both come from standard input");
    }
    ScriptReader script(o.file);
    s.ReadTopology();
    const uint32_t interrupts = ConsoleUi::InterruptCount();
    std::string line;
    int64_t failures = 0;
    while (script.Next(line)) {
        if (!RunLine(s, out, line, script.LineNumber())) {
            ++failures;
            if (o.stopOnError) {
                break;
            }
        }
        if (ConsoleUi::InterruptCount() != interrupts) {
            throw Failed(
                fmt::format("interrupted after line {} of the script", script.LineNumber()));
        }
    }
    if (failures > 0) {
        throw Failed(fmt::format("{} script line{} failed", failures, failures == 1 ? "" : "s"));
    }
}

}  // namespace

void AddLateBoundCommands(CLI::App& app, Commands& commands) {
    auto cls = std::make_shared<std::string>("CVesk4710");
    auto* members = app.add_subcommand(
        "members", "List a class's members in interface order: number, name, kind");
    members->add_option("CLASS", *cls, "CVesk4710, CVesk4710Card or CVesk4710Channel")
        ->capture_default_str();
    commands.push_back(
        {members, false, [cls](Session*, const Output& out) { RunMembers(out, *cls); }});

    auto o = std::make_shared<CallOptions>();
    auto* call = app.add_subcommand(
        "call",
        "Call a member by name (late-bound); arguments are integers, decimals, true/false, "
        "\"texts\", YYYY-MM-DD dates or nothing");
    call->add_option("--channel", o->channel, "Call it on this channel (GetChannelReference)")
        ->check(CLI::PositiveNumber);
    call->add_option("--module", o->module, "Call it on this module index (Modules)")
        ->check(CLI::NonNegativeNumber);
    call->add_option("MEMBER", o->member, "Member name")->required();
    call->add_option("ARGS", o->args, "Arguments");
    call->positionals_at_end();
    commands.push_back({call, true, [o](Session* s, const Output& out) { RunCall(*s, out, *o); }});

    auto so = std::make_shared<ScriptOptions>();
    auto* script = app.add_subcommand(
        "script",
        "Run late-bound lines from FILE (or stdin): [channel N|module I] get|set|call MEMBER "
        "[ARGS...]; # starts a comment");
    script->add_option("FILE", so->file,
                       "Script file; - or none reads stdin. Lines of " +
                           std::to_string(kMaxScriptLine) + " characters at most");
    script->add_flag("--stop-on-error", so->stopOnError, "Stop at the first failing line");
    commands.push_back(
        {script, true, [so](Session* s, const Output& out) { RunScript(*s, out, *so); }});
}

}  // namespace vesk::cli
