// Runs of the tool misled by what another left (a late reply, a shared state) or misleading
// (an instrument left unlocked without a word, a failure that hides its cause or its member).
#include <gtest/gtest.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <tuple>

#include "tests/apps/Processes.h"
#include "tests/testsupport/FakeFileSystem.h"

namespace vesk::test {
namespace {

using namespace std::chrono_literals;
using Args = std::vector<std::string>;

// The tool (or program), with its state, settings and temporary files in folder.
Child Start(const FakeFileSystem& folder, Args args, const char* program = VESK_CLI_PATH) {
    args.insert(args.begin(), program);
    const std::string& f = folder.Root();
    return Child(args, {{"XDG_STATE_HOME", f}, {"HOME", f}, {"TMPDIR", f}});
}

TEST(SharedState, TwoRunsAtOnceLoseNothing) {
    FakeFileSystem folder;
    const std::string state = folder.Root() + "/vesk4710/sim-1.json";
    for (int round = 1; round <= 12; ++round) {
        const std::string units = round % 2 == 0 ? "F" : "K";
        Child a = Start(folder, {"set", "units", units});
        Child b = Start(folder, {"set", "scanseqdelay", std::to_string(round)});
        ASSERT_EQ(a.Finish(20s).status + b.Finish(20s).status, 0);
        const auto saved = nlohmann::json::parse(std::ifstream(state));
        EXPECT_EQ(saved["units"], units) << round;
        EXPECT_EQ(saved["scanSeqDelay"], round) << round;
    }
    EXPECT_FALSE(folder.FileExists(state + ".bad")) << "one run's saving taken for damage";
    // A change the state file cannot take fails the run that made it, and is not kept.
    const RunResult full = Start(folder,
                                 {"-c", "trap '' XFSZ; ulimit -f 0; exec \"$@\"", "sh",
                                  VESK_CLI_PATH, "set", "units", "C"},
                                 "/bin/sh")
                               .Finish(20s);
    EXPECT_EQ(full.status, 1);
    EXPECT_NE(full.err.find("cannot store the state in " + state), std::string::npos) << full.err;
    EXPECT_EQ(nlohmann::json::parse(std::ifstream(state))["units"], "F");
}

#ifdef VESK_SIM_PATH

TEST(OnASerialLine, NoRunIsMisledOrMisleads) {
    const auto write = [](Args more) {
        more.insert(more.begin(), {"--timeout", "200", "--passcode", "1234"});
        return more;
    };
    const Args minop = write({"channel", "1", "set", "minop", "5"});
    const std::string writing = "writing the MINOP of channel 1 failed: The instrument ";
    const std::string parameter = std::to_string(SET_PARAMETER_WRITE);
    const std::string counts = "\" is not two counts";
    // Server options, then runs: arguments, status, and stdout (status 0) or a part of stderr.
    using Steps = std::vector<std::tuple<Args, int, std::string>>;
    const std::vector<std::pair<Args, Steps>> cases = {
        // A reply that comes after its run gave up is not the next run's answer.
        {{"--fault", FaultAt("delay:800", SET_UNITS_WRITE)},
         {{write({"set", "units", "F"}), 1, ""}, {{"get", "interval"}, 0, "auto\n"}}},
        // A lock lost with the link is tried on a new one; failing that, the run says so.
        {{"--fault", "drop@req=7"},
         {{write({"set", "caldate", "2024-05-01"}), 0, "2024-05-01\n"},
          {{"get", "passcodestate"}, 0, "locked\n"}}},
        {{"--fault", "drop@req=7", "--fault", "drop@req=8"},
         {{write({"set", "caldate", "2024-05-01"}), 1, "may be left unlocked"},
          {{"get", "passcodestate"}, 0, "unlocked\n"}}},
        // A failed channel write names the instrument's reason, not only the setting.
        {{"--fault", FaultAt("error:3", SET_PARAMETER_WRITE)},
         {{minop, 1, writing + "refused setting " + parameter + " (PROB:PAR)"}}},
        {{"--fault", FaultAt("noreply", SET_PARAMETER_WRITE)},
         {{minop, 1, writing + "did not reply to setting " + parameter}}},
        // A garbled channel state or log status is no "off" and no empty log.
        {{"--fault", FaultAt("reply:1x", SET_CHANNEL_STATE, 9)},
         {{{"info"}, 1, "\"1x\" is not a whole number"}}},
        {{"--fault", FaultAt("reply:9", SET_AUTO_LOG_STATUS)},
         {{{"download", "--log", "auto"}, 1, "\"9" + counts}}},
        {{"--fault", FaultAt("reply:700,abc", SET_DEMAND_LOG_STATUS, 2)},
         {{{"download"}, 1, "\"700,abc" + counts}, {{"log", "status"}, 1, "\"700,abc" + counts}}},
        // A dropped link or a missing reply says so, naming the member.
        {{"--fault", FaultAt("drop", SET_TEMPERATURE)},
         {{{"read", "1"}, 1, "the link to the instrument was dropped"}}},
        {{"--fault", FaultAt("noreply", SET_IDENTIFICATION)},
         {{{"--timeout", "200", "--json", "info"}, 1, "\"source\":\"CVesk4710 - QueryInfo\""}}},
    };
    for (auto [options, steps] : cases) {
        FakeFileSystem folder;
        options.insert(options.end(), {"--link", folder.Root() + "/tty"});
        SimServer sim(SimServer::Kind::Pty, {}, options);
        for (auto [args, status, says] : steps) {
            args.insert(args.begin(), {"--device", sim.Device()});
            const RunResult r = Start(folder, args).Finish(20s);
            EXPECT_EQ(r.status, status) << options[1] << r.err;
            EXPECT_TRUE(status == 0 ? r.out == says : r.err.find(says) != std::string::npos)
                << options[1] << ": " << r.out << r.err;
        }
    }
}

#endif

}  // namespace
}  // namespace vesk::test
