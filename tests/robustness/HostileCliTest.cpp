// Hostile input to the vesk4710 tool: endless or huge scripts, passcodes and arguments end
// quickly with a failure status and messages that repeat a short excerpt at most.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "tests/apps/Processes.h"

namespace vesk::test {
namespace {

using namespace std::chrono_literals;

TEST(HostileCli, EndlessOrHugeInputEndsWithAShortMessage) {
    char pattern[] = "/tmp/vesk-hostile-cli-XXXXXX";
    const std::string folder = ::mkdtemp(pattern);
    const std::map<std::string, std::string> env = {
        {"XDG_STATE_HOME", folder}, {"XDG_CONFIG_HOME", folder}, {"HOME", folder}};
    const std::string huge(5 << 20, 'M');
    const std::string script = folder + "/huge.script";
    const std::string passcode = folder + "/passcode";
    std::ofstream(script) << "get Model\nget " << huge << "\n";
    std::ofstream(passcode) << huge << "\n";
    std::filesystem::permissions(passcode, std::filesystem::perms::owner_read);
    const struct {
        std::vector<std::string> args;
        std::string input;
        int status;
    } cases[] = {
        {{"script", "/dev/zero"}, "", 1},
        {{"script", script}, "", 1},
        {{"--json", "script"}, "get " + std::string(4000, 'M') + "-\nget \x1b[2J\n", 1},
        {{"--passcode-file", passcode, "set", "serial", "X1"}, "", 1},
        {{"--passcode-file", "-", "set", "serial", "X1"}, huge, 1},
        {{"get", huge.substr(0, 100000)}, "", 2},
    };
    for (const auto& c : cases) {
        std::vector<std::string> argv = {VESK_CLI_PATH};
        argv.insert(argv.end(), c.args.begin(), c.args.end());
        const RunResult r = Child(argv, env, c.input).Finish(20s);
        EXPECT_FALSE(r.timedOut) << argv[1];
        EXPECT_EQ(r.status, c.status) << argv[1];
        EXPECT_LT(r.out.size() + r.err.size(), 800u) << argv[1] << r.out << r.err.substr(0, 800);
    }
    std::filesystem::remove_all(folder);
}

}  // namespace
}  // namespace vesk::test
