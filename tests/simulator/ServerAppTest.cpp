// vesk4710-sim as another process uses it: started, reached over its TCP port, stopped with a
// signal. Its terminal and planned faults are used by the command-line program's tests.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <string>
#include <tuple>
#include <vector>

#include "SimTestSupport.h"
#include "components/comm/Communications.h"
#include "tests/apps/Processes.h"
#include "vesk4710/platform/SettingIds.h"

namespace vesk::test {
namespace {

using namespace std::chrono_literals;

TEST(ServerApp, ServesOnLoopbackTcpKeepsItsStateAndRefusesOtherAddresses) {
    FakeFileSystem folder;
    const std::string state = folder.Root() + "/state.json";
    // Each run: an extra argument, the unit it finds, the unit it sets.
    for (const auto& [extra, found, set] :
         {std::tuple{"", "C", "F"}, {"", "F", ""}, {"--reset", "C", ""}}) {
        std::vector<std::string> args = {VESK_SIM_APP, "--tcp", "127.0.0.1:0", "--state", state};
        if (*extra != '\0') {
            args.push_back(extra);
        }
        Child server(args, {});
        comm::CommOptions options;
        options.device = server.ReadLine(5s);
        ASSERT_TRUE(options.device.starts_with("tcp://127.0.0.1:")) << options.device;
        options.timeoutMs = 1000;
        auto session = comm::Communications::Create(options);
        session->params().ClearAll();
        EXPECT_EQ(session->ReadSetting(SET_UNITS_READ, true, ""), found);
        if (*set != '\0') {
            session->params().Value(set);
            session->WriteSetting(SET_UNITS_WRITE);
        }
        server.Signal(SIGTERM);
        EXPECT_EQ(server.Finish(5s).status, 0);
    }
    Child open({VESK_SIM_APP, "--tcp", "0.0.0.0:0", "--memory"}, {});
    EXPECT_EQ(open.ReadLine(5s), "");
    EXPECT_EQ(open.Finish(5s).status, 1);
}

}  // namespace
}  // namespace vesk::test
