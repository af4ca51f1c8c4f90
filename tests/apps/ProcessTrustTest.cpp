// What one run of the tool leaves behind is never taken for another's: a late reply on a
// serial line, the embedded simulator's state shared by runs at once.
#include <gtest/gtest.h>
#include <stdlib.h>

#include <filesystem>
#include <map>
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
};

#ifdef VESK_SIM_PATH

// The instrument answers a run's request after the run gave up; the next run on the line must
// get its own answer, not that one.
TEST(LateReply, IsNeverTakenByTheNextRunOnTheLine) {
    for (auto [fault, first, next] : std::vector<std::tuple<std::string, Args, Args>>{
             {"delay:800@id=32", {"get", "interval"}, {"get", "units"}},
             {"delay:800@id=169", {"set", "units", "F"}, {"get", "interval"}}}) {
        Scratch scratch;
        SimServer server(SimServer::Kind::Pty, scratch.Env(), {"--fault", fault});
        const Args on = {"--device", server.Device(), "--timeout", "200"};
        auto run = [&](Args args, size_t options) {
            args.insert(args.begin(), on.begin(), on.begin() + options);
            return scratch.Start(args).Finish(20s);
        };
        const RunResult expected = run(next, 2);  // before anything went wrong
        EXPECT_EQ(run(first, 4).status, 1) << fault;
        const RunResult r = run(next, 2);
        EXPECT_EQ(r.status, 0) << fault << r.err;
        EXPECT_EQ(r.out, expected.out) << fault;
    }
}

#endif

}  // namespace
}  // namespace vesk::test
