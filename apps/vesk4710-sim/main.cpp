// vesk4710-sim: serves a simulated 4710 to other programs on a pseudo-terminal or a loopback
// TCP port until it is stopped (Ctrl-C or SIGTERM). The first line of output names where it
// can be reached.
#include <signal.h>

#include <cstdio>
#include <iostream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "simulator/Faults.h"
#include "simulator/Instrument.h"
#include "simulator/LineServers.h"
#include "vesk4710/support/Version.h"

int main(int argc, char** argv) {
    CLI::App app{"Serves a simulated Vesk Scientific 4710 on a pseudo-terminal or TCP port.",
                 "vesk4710-sim"};
    app.set_version_flag("--version", "vesk4710-sim " + vesk::LibraryVersion());
    app.footer(
        "Exit status:\n"
        "  0  stopped by Ctrl-C, SIGTERM or SIGHUP\n"
        "  1  it could not serve (terminal, port, state or data file)\n"
        "  2  usage: an unknown option or a bad value");
    bool pty = false;
    std::string tcp;
    std::string link;
    vesk::sim::SimOptions options;
    std::vector<std::string> faults;
    bool memory = false;
    app.add_flag("--pty", pty, "serve on a new pseudo-terminal; prints its path first");
    app.add_option("--tcp", tcp, "serve on HOST:PORT (loopback only; port 0 picks one)");
    app.add_option("--link", link,
                   "with --pty: keep a symbolic link here naming the terminal (it survives a "
                   "simulated dropped link)");
    app.add_option("--port", options.port, "the instrument's port number (names its state file)")
        ->check(CLI::PositiveNumber);
    app.add_flag("--reset", options.reset, "start from the data file, forgetting the saved state");
    app.add_option("--state", options.statePath, "state file (default: the user's state folder)");
    app.add_option("--data", options.dataPath, "initial data file (default: built in)");
    app.add_option("--seed", options.seed, "seed of the simulated noise");
    app.add_flag("--memory", memory, "keep the state in memory only");
    app.add_option("--fault", faults,
                   "plan a fault, e.g. delay:3000@id=12, drop@req=5, early:10@id=278, "
                   "garbage@id=168*2, noreply@id=3, error:4@id=23");
    auto* mode = app.add_option_group("mode");
    mode->add_option(app.get_option("--pty"));
    mode->add_option(app.get_option("--tcp"));
    mode->require_option(1);
    try {
        app.parse(argc, argv);
    } catch (const CLI::ParseError& e) {
        return app.exit(e) == 0 ? 0 : 2;
    }
    options.persist = !memory;

    // Signals are taken synchronously below, never in a handler.
    sigset_t stopSignals;
    sigemptyset(&stopSignals);
    sigaddset(&stopSignals, SIGINT);
    sigaddset(&stopSignals, SIGTERM);
    sigaddset(&stopSignals, SIGHUP);
    pthread_sigmask(SIG_BLOCK, &stopSignals, nullptr);
    signal(SIGPIPE, SIG_IGN);

    try {
        auto instrument = vesk::sim::Instrument::ForPort(options);
        for (const std::string& plan : faults) {
            instrument->InjectFault(vesk::sim::ParseFault(plan));
        }
        std::unique_ptr<vesk::sim::PtyServer> ptyServer;
        std::unique_ptr<vesk::sim::TcpServer> tcpServer;
        if (pty) {
            ptyServer = std::make_unique<vesk::sim::PtyServer>(instrument, link);
            std::cout << ptyServer->Path() << std::endl;
        } else {
            auto [host, port] = vesk::sim::SplitHostPort(tcp);
            tcpServer = std::make_unique<vesk::sim::TcpServer>(instrument, host, port);
            std::cout << "tcp://" << tcpServer->Address() << std::endl;
        }
        std::cerr << "vesk4710-sim: instrument on port " << options.port << ", state "
                  << (options.persist ? instrument->StatePath() : std::string("in memory"))
                  << "; stop with Ctrl-C" << std::endl;
        int received = 0;
        sigwait(&stopSignals, &received);
        ptyServer.reset();
        tcpServer.reset();
        vesk::sim::Instrument::ReleaseAll();
    } catch (const std::exception& e) {
        std::cerr << "vesk4710-sim: " << e.what() << std::endl;
        return 1;
    }
    return 0;
}
