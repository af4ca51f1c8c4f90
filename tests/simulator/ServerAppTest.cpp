// vesk4710-sim as another process uses it: started, reached over its TCP port, stopped with a
// signal. Its terminal and planned faults are used by the command-line program's tests.
#include <gtest/gtest.h>
#include <signal.h>

#include <chrono>
#include <string>
#include <vector>

#include "SimTestSupport.h"
#include "components/comm/Communications.h"
#include "tests/apps/Processes.h"

namespace vesk::test {
namespace {

using namespace std::chrono_literals;

// The server with its arguments; its first line is the address it serves.
class ServerProcess : public Child {
  public:
    explicit ServerProcess(std::vector<std::string> args)
        : Child(WithProgram(std::move(args)), {}) {}
    std::string FirstLine() { return ReadLine(5s); }
    // Sends SIGTERM and returns the exit status (-1 when it had to be killed).
    int Stop() {
        Signal(SIGTERM);
        return Finish(5s).status;
    }

  private:
    static std::vector<std::string> WithProgram(std::vector<std::string> args) {
        args.insert(args.begin(), VESK_SIM_APP);
        return args;
    }
};

std::shared_ptr<comm::Communications> Session(const std::string& device) {
    comm::CommOptions options;
    options.device = device;
    options.timeoutMs = 1000;
    return comm::Communications::Create(options);
}

std::string Read(comm::Communications& session, int32_t id) {
    session.params().ClearAll();
    return session.ReadSetting(id, true, "");
}

TEST(ServerApp, ServesOnLoopbackTcpAndKeepsItsState) {
    FakeFileSystem folder;
    std::string state = folder.Root() + "/state.json";
    {
        ServerProcess server({"--tcp", "127.0.0.1:0", "--state", state});
        std::string address = server.FirstLine();
        ASSERT_EQ(address.rfind("tcp://127.0.0.1:", 0), 0u) << address;
        auto session = Session(address);
        session->params().ClearAll();
        session->params().Value("F");
        session->WriteSetting(169);
        EXPECT_EQ(server.Stop(), 0);
    }
    {
        ServerProcess server({"--tcp", "127.0.0.1:0", "--state", state});
        auto session = Session(server.FirstLine());
        EXPECT_EQ(Read(*session, 168), "F");
    }
    {
        ServerProcess server({"--tcp", "127.0.0.1:0", "--state", state, "--reset"});
        auto session = Session(server.FirstLine());
        EXPECT_EQ(Read(*session, 168), "C");
    }
}

TEST(ServerApp, RefusesToListenBeyondLoopback) {
    ServerProcess server({"--tcp", "0.0.0.0:0", "--memory"});
    EXPECT_EQ(server.FirstLine(), "");
    EXPECT_EQ(server.Finish(5s).status, 1);
}

}  // namespace
}  // namespace vesk::test
