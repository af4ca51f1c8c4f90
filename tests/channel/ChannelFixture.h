#pragma once
// A channel wired to an instrument whose session runs on the recording fake, with the
// real probe component behind it.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "components/probes/Probe.h"
#include "tests/testsupport/Fakes.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"

namespace vesk::test {

class ChannelTest : public ::testing::Test {
  protected:
    static constexpr int16_t kChannel = 3;

    void SetUp() override {
        host = std::make_shared<FakeHost>();
        host->probeFactory = [] { return probes::Probe::Create(); };
        instrument = CVesk4710::Create(host);
        ASSERT_TRUE(instrument->InitializeCommunications());
        channel = MakeChannel();
        comm().log.clear();
        // Named parameters answer from the table; everything else from the per-id script.
        comm().responder =
            [this](int32_t id,
                   const std::map<std::string, std::string>& params) -> std::optional<std::string> {
            auto name = params.find("paramname");
            if (id == SET_PARAMETER_READ && name != params.end()) {
                if (failParams.contains(name->second)) {
                    throw AutomationError(-2147220991, "Instrument error: " + name->second);
                }
                if (auto it = paramReplies.find(name->second); it != paramReplies.end()) {
                    return it->second;
                }
            }
            return std::nullopt;
        };
    }

    std::shared_ptr<CVesk4710Channel> MakeChannel() {
        auto made = CVesk4710Channel::Create(host);
        made->SetBaseUnit(instrument);
        made->SetActualChannel(kChannel);
        return made;
    }

    FakeCommunications& comm() { return *host->comm; }
    // The instrument's replies to the settings every channel reads, dated 2023-12-31 and locked.
    void ReplySettings(const std::string& serial, const std::string& code,
                       const std::string& resolution, std::map<std::string, std::string> params) {
        comm().ReplyAlways(SET_PROBE_SERIAL_READ, serial);
        comm().ReplyAlways(SET_CONVERSION_READ, code);
        comm().ReplyAlways(SET_PROBE_CAL_DATE_READ, "2023,12,31");
        comm().ReplyAlways(SET_RESOLUTION_READ, resolution);
        comm().ReplyAlways(SET_PROBE_LOCK_READ, "1");
        paramReplies = std::move(params);
    }
    IConversion& conv() { return channel->Probe()->ActiveConversion(); }

    // Expected log lines of one request on this channel.
    static std::vector<std::string> Read(int32_t id) {
        return {"ClearAll", "Channel=3", "Read " + std::to_string(id)};
    }
    static std::vector<std::string> ReadParam(const std::string& name) {
        return {"ClearAll", "Channel=3", "paramname=" + name,
                "Read " + std::to_string(SET_PARAMETER_READ)};
    }
    static std::vector<std::string> Write(int32_t id, const std::string& value) {
        return {"ClearAll", "Channel=3", "Value=" + value, "Write " + std::to_string(id)};
    }
    static std::vector<std::string> WriteParam(const std::string& name, const std::string& value) {
        return {"ClearAll", "Channel=3", "paramname=" + name, "Value=" + value,
                "Write " + std::to_string(SET_PARAMETER_WRITE)};
    }
    static std::vector<std::string> Seq(std::initializer_list<std::vector<std::string>> parts) {
        std::vector<std::string> all;
        for (const auto& part : parts) {
            all.insert(all.end(), part.begin(), part.end());
        }
        return all;
    }

    std::vector<std::string> Prompts() const { return host->ui.Prompts(); }
    bool Shown(const std::string& progressLine) const {
        const auto& log = host->ui.progressLog;
        return std::find(log.begin(), log.end(), progressLine) != log.end();
    }
    // Every progress display that was opened was closed again.
    void ExpectDisplaysClosed() const {
        const auto& log = host->ui.progressLog;
        EXPECT_EQ(std::count(log.begin(), log.end(), "Close"), host->ui.progressCreated);
    }

    std::shared_ptr<FakeHost> host;
    std::shared_ptr<CVesk4710> instrument;
    std::shared_ptr<CVesk4710Channel> channel;
    std::map<std::string, std::string> paramReplies;
    std::map<std::string, bool> failParams;
};

}  // namespace vesk::test
