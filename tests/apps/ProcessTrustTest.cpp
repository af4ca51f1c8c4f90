// What one run of the tool leaves behind is never taken for another's, nor lost by it: a late
// reply on a serial line, the embedded simulator's state shared by runs at once.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <tuple>
#include <vector>

#include "tests/apps/Processes.h"

namespace vesk::test {
namespace {

using namespace std::chrono_literals;
using Args = std::vector<std::string>;

// A folder of its own for the runs' state, settings and temporary files.
struct Scratch {
    std::string folder =
        ::mkdtemp((std::filesystem::temp_directory_path() / "vesk-XXXXXX").string().data());
    ~Scratch() {
        std::error_code ignored;
        std::filesystem::remove_all(folder, ignored);
    }
    std::map<std::string, std::string> Env() const {
        return {{"XDG_STATE_HOME", folder}, {"HOME", folder}, {"TMPDIR", folder}};
    }
    Child Start(Args args) const {
        args.insert(args.begin(), VESK_CLI_PATH);
        return Child(args, Env());
    }
    RunResult Run(Args options, const Args& command) const {
        options.insert(options.end(), command.begin(), command.end());
        return Start(options).Finish(20s);
    }
};

// Two runs at once on the embedded simulator's state each change one setting; neither change
// is lost, and neither run takes the other's saving for damage.
TEST(SharedState, TwoRunsAtOnceLoseNothing) {
    Scratch scratch;
    const std::string state = scratch.folder + "/vesk4710/sim-1.json";
    for (int round = 1; round <= 12; ++round) {
        const std::string units = round % 2 == 0 ? "F" : "K";
        Child a = scratch.Start({"set", "units", units});
        Child b = scratch.Start({"set", "scanseqdelay", std::to_string(round)});
        ASSERT_EQ(a.Finish(20s).status, 0);
        ASSERT_EQ(b.Finish(20s).status, 0);
        const auto saved = nlohmann::json::parse(std::ifstream(state));
        EXPECT_EQ(saved["units"], units) << "round " << round;
        EXPECT_EQ(saved["scanSeqDelay"], round) << "round " << round;
    }
    EXPECT_FALSE(std::filesystem::exists(state + ".bad"));
    // A change the state file cannot take fails the run that made it, and is not kept.
    const RunResult full = Child({"/bin/sh", "-c", "trap '' XFSZ; ulimit -f 0; exec \"$0\" \"$@\"",
                                  VESK_CLI_PATH, "set", "units", "C"},
                                 scratch.Env())
                               .Finish(20s);
    EXPECT_EQ(full.status, 1);
    EXPECT_NE(full.err.find("cannot store the state in " + state), std::string::npos) << full.err;
    EXPECT_EQ(nlohmann::json::parse(std::ifstream(state))["units"], "F");
}

#ifdef VESK_SIM_PATH

// The instrument answers a run's request after the run gave up; the next run on the line must
// get its own answer, not that one.
TEST(LateReply, IsNeverTakenByTheNextRunOnTheLine) {
    for (auto [fault, first, next] : std::vector<std::tuple<std::string, Args, Args>>{
             {"delay:800@id=32", {"get", "interval"}, {"get", "units"}},
             {"delay:800@id=169", {"set", "units", "F"}, {"get", "interval"}}}) {
        Scratch scratch;
        SimServer server(SimServer::Kind::Pty, scratch.Env(), {"--fault", fault});
        const Args on = {"--device", server.Device()};
        const RunResult expected = scratch.Run(on, next);  // before anything went wrong
        EXPECT_EQ(scratch.Run({"--device", server.Device(), "--timeout", "200"}, first).status, 1);
        const RunResult r = scratch.Run(on, next);
        EXPECT_EQ(r.status, 0) << fault << r.err;
        EXPECT_EQ(r.out, expected.out) << fault;
    }
}

// The link drops as the instrument is locked after a protected write: the lock is tried again
// on a new connection, and when that fails too the run fails saying the instrument may be left
// unlocked.
TEST(LostRelock, IsTriedOnANewConnectionAndElseSaid) {
    for (auto [faults, status, state] : std::vector<std::tuple<Args, int, std::string>>{
             {{"--fault", "drop@req=7"}, 0, "locked\n"},
             {{"--fault", "drop@req=7", "--fault", "drop@req=8"}, 1, "unlocked\n"}}) {
        Scratch scratch;
        faults.insert(faults.begin(), {"--link", scratch.folder + "/tty"});
        SimServer server(SimServer::Kind::Pty, scratch.Env(), faults);
        const Args on = {"--device", server.Device(), "--passcode", "1234"};
        const RunResult r = scratch.Run(on, {"set", "caldate", "2024-05-01"});
        EXPECT_EQ(r.status, status) << r.err;
        EXPECT_EQ(r.err.find("may be left unlocked") != std::string::npos, status == 1) << r.err;
        EXPECT_EQ(scratch.Run(on, {"get", "passcodestate"}).out, state);
    }
}

#endif

}  // namespace
}  // namespace vesk::test
