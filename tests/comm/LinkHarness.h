#pragma once
// A simulated instrument reached through one kind of link, with a communications session on
// it: the in-process link, a pseudo-terminal served by the simulator, or loopback TCP.
#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "components/comm/CommErrors.h"
#include "components/comm/Communications.h"
#include "simulator/EmbeddedLink.h"
#include "simulator/Instrument.h"
#include "simulator/LineServers.h"

namespace vesk::test {

enum class LinkKind { kEmbedded, kPty, kTcp };

inline std::string LinkName(const ::testing::TestParamInfo<LinkKind>& info) {
    switch (info.param) {
        case LinkKind::kEmbedded:
            return "Embedded";
        case LinkKind::kPty:
            return "Pty";
        case LinkKind::kTcp:
            return "Tcp";
    }
    return "Unknown";
}

// A fresh folder per test, removed afterwards.
class TempFolder {
  public:
    TempFolder() {
        static std::atomic<int> counter{0};
        path_ = std::filesystem::temp_directory_path() /
                ("vesk-comm-" + std::to_string(getpid()) + "-" + std::to_string(++counter));
        std::filesystem::create_directories(path_);
    }
    ~TempFolder() {
        std::error_code ignored;
        std::filesystem::remove_all(path_, ignored);
    }
    const std::filesystem::path& Path() const { return path_; }

  private:
    std::filesystem::path path_;
};

struct Harness {
    TempFolder folder;
    std::shared_ptr<sim::Instrument> instrument;
    std::unique_ptr<sim::PtyServer> pty;
    std::unique_ptr<sim::TcpServer> tcp;
    std::shared_ptr<comm::Communications> comm;

    Harness(LinkKind kind, int32_t timeoutMs, const std::string& tracePath = {}) {
        sim::SimOptions options;
        options.persist = false;
        instrument = sim::Instrument::Create(options);
        comm::CommOptions commOptions;
        commOptions.timeoutMs = timeoutMs;
        commOptions.tracePath = tracePath;
        comm::LinkFactory factory;
        switch (kind) {
            case LinkKind::kEmbedded:
                factory = [inst = instrument](const comm::LinkRequest&) {
                    return sim::ConnectEmbedded(inst);
                };
                break;
            case LinkKind::kPty:
                pty =
                    std::make_unique<sim::PtyServer>(instrument, (folder.Path() / "tty").string());
                commOptions.device = pty->Path();
                break;
            case LinkKind::kTcp:
                tcp = std::make_unique<sim::TcpServer>(instrument);
                commOptions.device = "tcp://" + tcp->Address();
                break;
        }
        comm = comm::Communications::Create(commOptions, factory);
    }

    std::string Read(int32_t id, std::vector<std::pair<comm::Param, std::string>> params = {}) {
        Load(params);
        return comm->ReadSetting(id, true, "");
    }
    void Write(int32_t id, std::vector<std::pair<comm::Param, std::string>> params = {}) {
        Load(params);
        comm->WriteSetting(id);
    }
    void Unlock() { Write(2, {{comm::Param::kValue, "1234"}}); }

  private:
    void Load(const std::vector<std::pair<comm::Param, std::string>>& params) {
        IRequestParams& p = comm->params();
        p.ClearAll();
        for (const auto& [param, value] : params) {
            switch (param) {
                case comm::Param::kValue:
                    p.Value(value);
                    break;
                case comm::Param::kChannel:
                    p.Channel(value);
                    break;
                case comm::Param::kChannelList:
                    p.ChannelList(value);
                    break;
                case comm::Param::kParamName:
                    p.paramname(value);
                    break;
                case comm::Param::kPointNumber:
                    p.PointNumber(value);
                    break;
                case comm::Param::kCount:
                    break;  // travels with Transfer only
            }
        }
    }
};

// Runs the call and returns the AutomationError it raised; fails the test when none.
template <typename F>
AutomationError ErrorOf(F&& call) {
    try {
        call();
    } catch (const AutomationError& e) {
        return e;
    }
    ADD_FAILURE() << "no error raised";
    return AutomationError(0, "none");
}

}  // namespace vesk::test
