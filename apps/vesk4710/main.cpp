// vesk4710: the command-line tool for the 4710 readout.
#include <csignal>
#include <exception>
#include <iostream>
#include <memory>

#include "apps/vesk4710/Cli.h"
#include "ui/console/ConsoleUi.h"
#include "vesk4710/support/Version.h"

using namespace vesk::cli;

namespace {

void AddGlobalOptions(CLI::App& app, GlobalOptions& g) {
    app.add_option("--device", g.device,
                   "Instrument link: sim (the embedded simulator), a serial device path, or "
                   "tcp://HOST:PORT")
        ->capture_default_str()
        ->check([](const std::string& v) {
            return v.empty() ? std::string("the device must not be empty") : std::string();
        });
    app.add_option("--baud", g.baud, "Baud rate of a serial device")
        ->capture_default_str()
        ->check(CLI::IsMember({300, 600, 1200, 2400, 4800, 9600, 19200, 38400, 57600, 115200}));
    app.add_option("--trace", g.trace, "Write an I/O trace of every command and reply to FILE");
    app.add_option("--timeout", g.timeoutMs, "Reply time-out in milliseconds")
        ->capture_default_str()
        ->check(CLI::Range(1, 600000));
    app.add_flag("--json", g.json, "Machine-readable output: JSON on stdout, JSON lines on stderr");
    auto* yes = app.add_flag("--yes,-y", g.yes, "Answer every question with yes");
    auto* no = app.add_flag("--no", g.no, "Answer every question with no");
    yes->excludes(no);
    auto* passcode =
        app.add_option("--passcode", g.passcodes,
                       "Passcode to give when the instrument asks; repeat for further attempts. "
                       "Any user of this machine can see it (ps): prefer --passcode-file or the "
                       "variable VESK4710_PASSCODE, used when neither option is given")
            ->allow_extra_args(false);
    app.add_option("--passcode-file", g.passcodeFile,
                   "Read the passcode from the first line of FILE, which only you may read, or of "
                   "/dev/fd/N; - reads standard input at the prompt, one line per attempt")
        ->type_name("FILE")
        ->excludes(passcode);
}

// A command that failed after a signal says so and exits as the signal asked (130, 143).
int Fail(const Output& out, int32_t number, const std::string& description,
         const std::string& source, int status) {
    const int signal = vesk::ConsoleUi::InterruptSignal();
    if (signal != 0) {
        const char* name = signal == SIGINT ? "SIGINT" : "SIGTERM";
        out.Error(number, std::string("interrupted (") + name + "): " + description, source);
        return 128 + signal;
    }
    out.Error(number, description, source);
    return status;
}

}  // namespace

int main(int argc, char** argv) {
    CLI::App app{"Command-line tool for the Vesk Scientific 4710 thermometer readout", "vesk4710"};
    app.fallthrough();
    app.require_subcommand(1);
    app.set_version_flag("--version", "vesk4710 " + vesk::LibraryVersion());
    app.footer(
        "Exit status: 0 done; 1 failed, with a message on stderr saying what failed; 2 a usage "
        "error; 130 or 143 interrupted by Ctrl-C or SIGTERM.");
    GlobalOptions global;
    AddGlobalOptions(app, global);

    Commands commands;
    AddInfoCommand(app, commands);
    AddReadCommand(app, commands);
    AddSettingCommands(app, commands);
    AddChannelCommand(app, commands);
    AddLogCommands(app, commands);
    AddCalCommand(app, commands);
    AddLateBoundCommands(app, commands);
    AddRecordCommands(app, commands, global);
    // Set after the commands, which would inherit it.
    app.footer(
        "Exit status:\n"
        "  0    the command did its job\n"
        "  1    it failed: the instrument, the link or a file (the message says which)\n"
        "  2    usage: an unknown command, option, setting or value\n"
        "  130  interrupted by Ctrl-C (SIGINT); 143 stopped by SIGTERM");

    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        const int rc = app.exit(e);
        return rc == 0 ? kExitOk : kExitUsage;
    }

    // Parents come before their subcommands: the last parsed command is the one asked for.
    const Command* chosen = nullptr;
    for (const auto& c : commands) {
        if (c.app->parsed()) {
            chosen = &c;
        }
    }
    const Output out(global.json);
    if (chosen == nullptr) {
        std::cerr << app.help();
        return kExitUsage;
    }

    vesk::ConsoleUi::InstallInterruptHandler();
    try {
        std::unique_ptr<Session> session;
        if (chosen->needsSession) {
            ResolvePasscodes(global);
            session = std::make_unique<Session>(global);
        }
        chosen->run(session.get(), out);
        return kExitOk;
    } catch (const UsageError& e) {
        return Fail(out, 0, std::string(e.what()) + " (see --help)", "usage", kExitUsage);
    } catch (const Failed& e) {
        return Fail(out, 0, e.what(), "vesk4710", kExitFailed);
    } catch (const vesk::AutomationError& e) {
        return Fail(out, e.Number(), e.Description(), e.Source(), kExitFailed);
    } catch (const std::exception& e) {
        return Fail(out, vesk::kErrGeneric, e.what(), "vesk4710", kExitFailed);
    }
}
