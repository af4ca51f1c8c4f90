// The channel object: defaults, setters and the change flag, wiring and back references.
#include <gtest/gtest.h>

#include <functional>

#include "tests/channel/ChannelFixture.h"
#include "vesk4710/modules/CVesk4710Card.h"

namespace vesk::test {
namespace {

using ChannelObject = ChannelTest;

TEST_F(ChannelObject, NewChannelHasAnInternalJunctionAndReportsChanged) {
    EXPECT_EQ(channel->RJCType(), 1);
    // Setting the junction type during creation marks the channel changed.
    EXPECT_TRUE(channel->Changed());
    const std::string folder = host->files.GetSpecialFolder(SpecialFolder::Library);
    EXPECT_EQ(channel->Probe()->ApplicationPath(), folder);
    EXPECT_EQ(channel->Probe()->FilePath(), folder);
    // Creating a channel talks to nobody.
    EXPECT_TRUE(comm().log.empty());
}

// The change flag decides whether a write-back happens at all.
TEST_F(ChannelObject, SettersMarkOnlyOnADifferentValue) {
    const auto marks = [&](const std::function<void()>& change) {
        channel->Changed(false);
        change();
        return channel->Changed();
    };
    const std::vector<std::pair<std::function<void()>, std::function<void()>>> marking = {
        {[&] { channel->CalDate(Date()); }, [&] { channel->CalDate(Date::FromYMD(2023, 12, 31)); }},
        {[&] { channel->ProbeLock(false); }, [&] { channel->ProbeLock(true); }},
        {[&] { channel->Resolution(0); }, [&] { channel->Resolution(2); }},
        {[&] { channel->RJCType(1); }, [&] { channel->RJCType(0); }},
        {[&] { channel->RJCTemperature(0.0); }, [&] { channel->RJCTemperature(1e-12); }},
    };
    for (size_t i = 0; i < marking.size(); ++i) {
        EXPECT_FALSE(marks(marking[i].first)) << i;
        EXPECT_TRUE(marks(marking[i].second)) << i;
        EXPECT_FALSE(marks(marking[i].second)) << i << ": the same value again";
    }
    EXPECT_FALSE(marks([&] { channel->MINOP(7); }));
    EXPECT_FALSE(marks([&] { channel->MAXOP(9); }));
    EXPECT_FALSE(marks([&] { channel->Enabled(false); }));
    EXPECT_FALSE(marks([&] { channel->ProbeType(2); }));

    // Capped above only; a capped value equal to the stored one is no change.
    channel->Resolution(7);
    EXPECT_EQ(channel->Resolution(), 3);
    EXPECT_FALSE(marks([&] { channel->Resolution(9); }));
    channel->Resolution(-2);
    EXPECT_EQ(channel->Resolution(), -2);
}

TEST_F(ChannelObject, ChangedMirrorsIntoTheProbeAndOrsItsFlag) {
    auto probe = channel->Probe();
    channel->Changed(true);
    EXPECT_TRUE(probe->Changed());
    channel->Changed(false);
    EXPECT_FALSE(probe->Changed());
    EXPECT_FALSE(channel->Changed());

    // A coefficient edit held in the probe makes the channel changed.
    probe->Changed(true);
    EXPECT_TRUE(channel->Changed());
    channel->Changed(false);
    ASSERT_TRUE(channel->SetConversionType(19, 4));
    channel->Changed(false);
    conv().Coefficients(0, 100.5);
    EXPECT_TRUE(channel->Changed());
}

TEST_F(ChannelObject, WiringReachesTheProbeAndBackReferencesAreWeak) {
    auto registry = std::make_shared<FakeRegistry>();
    channel->SetRegistry(registry);
    EXPECT_EQ(channel->Probe()->Registry(), registry);
    channel->FilePath("/data/probes");
    EXPECT_EQ(channel->Probe()->FilePath(), "/data/probes");

    EXPECT_EQ(channel->BaseUnit(), instrument);
    auto module = CVesk4710Card::Create(host);
    channel->SetModule(module);
    EXPECT_EQ(channel->Module(), module);

    std::weak_ptr<CVesk4710Card> moduleAlive = module;
    module.reset();
    EXPECT_TRUE(moduleAlive.expired());
    EXPECT_EQ(channel->Module(), nullptr);
    std::weak_ptr<CVesk4710> instrumentAlive = instrument;
    instrument.reset();
    EXPECT_TRUE(instrumentAlive.expired());
    EXPECT_EQ(channel->BaseUnit(), nullptr);
}

}  // namespace
}  // namespace vesk::test
