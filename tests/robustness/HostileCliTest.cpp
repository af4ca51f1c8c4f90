// Unreadable, endless or huge scripts, passcodes and arguments to the vesk4710 tool end quickly
// with a failure status and a short message that says why.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/apps/Processes.h"
#include "tests/testsupport/FakeFileSystem.h"

namespace vesk::test {
namespace {

using namespace std::chrono_literals;

TEST(HostileCli, EndlessOrHugeInputEndsWithAShortMessage) {
    FakeFileSystem scratch;
    const std::string& folder = scratch.Root();
    const std::map<std::string, std::string> env = {
        {"XDG_STATE_HOME", folder}, {"XDG_CONFIG_HOME", folder}, {"HOME", folder}};
    const std::string huge(5 << 20, 'M');
    const std::string script = folder + "/huge.script";
    const std::string passcode = folder + "/passcode";
    std::ofstream(script) << "get Model\nget " << huge << "\n";
    std::ofstream(passcode) << huge << "\n";
    std::filesystem::permissions(passcode, std::filesystem::perms::owner_read);
    const std::tuple<std::vector<std::string>, std::string, int, std::string> cases[] = {
        // arguments, standard input, exit status, what the message says
        {{"script", folder}, "", 1, "Is a directory"},
        {{"script", folder + "/missing"}, "", 1, "No such file"},
        {{"script", "/dev/zero"}, "", 1, "longer than 4096"},
        {{"script", script}, "", 1, "line 2 of the script"},
        {{"--json", "script"}, "get " + std::string(4000, 'M') + "-\nget \x1b[2J\n", 1, "\\x1B"},
        {{"--passcode-file", passcode, "set", "serial", "X1"}, "", 1, "longer than 256"},
        {{"--passcode-file", "-", "set", "serial", "X1"}, huge, 1, "longer than 256"},
        {{"get", huge.substr(0, 100000)}, "", 2, "unknown setting"},
    };
    for (const auto& [args, input, status, why] : cases) {
        std::vector<std::string> argv = {VESK_CLI_PATH};
        argv.insert(argv.end(), args.begin(), args.end());
        const RunResult r = Child(argv, env, input).Finish(20s);
        EXPECT_EQ(r.status, status) << argv[1] << (r.timedOut ? " did not end" : "");
        EXPECT_NE((r.out + r.err).find(why), std::string::npos) << argv[1] << ": " << r.err;
        EXPECT_LT(r.out.size() + r.err.size(), 800u) << argv[1] << r.out << r.err.substr(0, 800);
    }
}

}  // namespace
}  // namespace vesk::test
