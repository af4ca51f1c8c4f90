#pragma once
// A simulated instrument reached through one kind of link, with a communications session on
// it: the in-process link, a pseudo-terminal served by the simulator, or loopback TCP.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "components/comm/CommErrors.h"
#include "components/comm/Communications.h"
#include "components/comm/Protocol.h"
#include "simulator/EmbeddedLink.h"
#include "simulator/Instrument.h"
#include "simulator/LineServers.h"
#include "tests/testsupport/FakeFileSystem.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/platform/SettingIds.h"

namespace vesk::test {

using RequestParams = std::vector<std::pair<comm::Param, std::string>>;

enum class LinkKind { kEmbedded, kPty, kTcp };

inline std::string LinkName(const ::testing::TestParamInfo<LinkKind>& info) {
    static const char* const names[] = {"Embedded", "Pty", "Tcp"};
    return names[static_cast<int>(info.param)];
}

struct Harness {
    FakeFileSystem folder;  // a private temporary folder
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
                pty = std::make_unique<sim::PtyServer>(instrument, folder.Root() + "/tty");
                commOptions.device = pty->Path();
                break;
            case LinkKind::kTcp:
                tcp = std::make_unique<sim::TcpServer>(instrument);
                commOptions.device = "tcp://" + tcp->Address();
                break;
        }
        comm = comm::Communications::Create(commOptions, factory);
    }

    std::string Read(int32_t id, RequestParams params = {}) {
        Load(params);
        return comm->ReadSetting(id, true, "");
    }
    void Write(int32_t id, RequestParams params = {}) {
        Load(params);
        comm->WriteSetting(id);
    }
    void Unlock() { Write(SET_PASSCODE, {{comm::Param::kValue, "1234"}}); }
    // Reads, writes or transfers (300 readings, its Value for the request), as the setting is.
    void Request(int32_t id, RequestParams params = {}) {
        switch (comm::FindSetting(id)->access) {
            case comm::Access::kRead:
                Read(id, params);
                break;
            case comm::Access::kWrite:
                Write(id, params);
                break;
            case comm::Access::kTransfer:
                comm->Transfer(id, 300, params.empty() ? "" : params.front().second);
                break;
        }
    }

  private:
    void Load(const RequestParams& params) {
        using Setter = void (IRequestParams::*)(const std::string&);
        static const std::map<comm::Param, Setter> setters = {
            {comm::Param::kValue, &IRequestParams::Value},
            {comm::Param::kChannel, &IRequestParams::Channel},
            {comm::Param::kChannelList, &IRequestParams::ChannelList},
            {comm::Param::kParamName, &IRequestParams::paramname},
            {comm::Param::kPointNumber, &IRequestParams::PointNumber}};
        IRequestParams& p = comm->params();
        p.ClearAll();
        for (const auto& [param, value] : params) {
            (p.*setters.at(param))(value);
        }
    }
};

}  // namespace vesk::test
