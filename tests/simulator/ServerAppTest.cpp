// vesk4710-sim as another process uses it: started, reached over its TCP port, stopped with a
// signal. Its terminal and planned faults are used by the command-line program's tests.
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "SimTestSupport.h"
#include "components/comm/Communications.h"

extern char** environ;

namespace vesk::test {
namespace {

class ServerProcess {
  public:
    explicit ServerProcess(std::vector<std::string> args) {
        args.insert(args.begin(), VESK_SIM_APP);
        std::vector<char*> argv;
        for (std::string& a : args) {
            argv.push_back(a.data());
        }
        argv.push_back(nullptr);
        int out[2];
        EXPECT_EQ(pipe(out), 0);
        posix_spawn_file_actions_t actions;
        posix_spawn_file_actions_init(&actions);
        posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
        posix_spawn_file_actions_addclose(&actions, out[0]);
        EXPECT_EQ(posix_spawn(&pid_, VESK_SIM_APP, &actions, nullptr, argv.data(), environ), 0);
        posix_spawn_file_actions_destroy(&actions);
        close(out[1]);
        out_ = out[0];
    }
    ~ServerProcess() {
        if (pid_ > 0) {
            Stop();
        }
        close(out_);
    }

    // The first line the server prints ("" when it ends or falls silent for five seconds).
    std::string FirstLine() {
        std::string line;
        char c = 0;
        pollfd p{out_, POLLIN, 0};
        while (poll(&p, 1, 5000) > 0 && read(out_, &c, 1) == 1 && c != '\n') {
            line += c;
        }
        return line;
    }

    // Sends SIGTERM and returns the exit code (-1 when it had to be killed).
    int Stop() {
        kill(pid_, SIGTERM);
        return Wait();
    }
    int Wait() {
        int status = 0;
        for (int i = 0; i < 100; ++i) {
            if (waitpid(pid_, &status, WNOHANG) == pid_) {
                pid_ = -1;
                return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
        }
        kill(pid_, SIGKILL);
        waitpid(pid_, &status, 0);
        pid_ = -1;
        return -1;
    }

  private:
    pid_t pid_ = -1;
    int out_ = -1;
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
    EXPECT_EQ(server.Wait(), 1);
}

}  // namespace
}  // namespace vesk::test
