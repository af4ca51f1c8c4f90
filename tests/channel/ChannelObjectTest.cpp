// The channel object: defaults, setters and the change flag, wiring and back references.
#include <gtest/gtest.h>

#include "tests/channel/ChannelFixture.h"
#include "vesk4710/modules/CVesk4710Card.h"

namespace vesk::test {
namespace {

using ChannelObject = ChannelTest;

TEST_F(ChannelObject, NewChannelHasItsDefaultsAndReportsChanged) {
    EXPECT_EQ(channel->CalDate(), Date());
    EXPECT_TRUE(channel->Enabled());
    EXPECT_FALSE(channel->ProbeLock());
    EXPECT_EQ(channel->Resolution(), 0);
    EXPECT_EQ(channel->RJCType(), 1);
    EXPECT_EQ(channel->RJCTemperature(), 0.0);
    EXPECT_EQ(channel->RJCTemperatureFormat(), "#0.000");
    EXPECT_EQ(channel->MINOP(), 0);
    EXPECT_EQ(channel->MAXOP(), 0);
    EXPECT_EQ(channel->ModuleChannel(), 0);
    EXPECT_EQ(channel->ProbeType(), 0);
    EXPECT_EQ(channel->MaxRJCTemperature(), 50.0);
    EXPECT_EQ(channel->MinRJCTemperature(), -10.0);
    EXPECT_EQ(channel->MaxSerialLength(), 8);
    // Setting the junction type during creation marks the channel changed.
    EXPECT_TRUE(channel->Changed());

    auto probe = channel->Probe();
    ASSERT_NE(probe, nullptr);
    EXPECT_EQ(probe->DatabaseLevel(), 4);
    const std::string folder = host->files.GetSpecialFolder(SpecialFolder::Library);
    EXPECT_EQ(probe->ApplicationPath(), folder);
    EXPECT_EQ(channel->FilePath(), folder);
    EXPECT_EQ(probe->FilePath(), folder);
    // Creating a channel talks to nobody.
    EXPECT_TRUE(comm().log.empty());
}

TEST_F(ChannelObject, MarkingSettersMarkOnlyOnADifferentValue) {
    channel->Changed(false);
    channel->CalDate(Date());
    channel->ProbeLock(false);
    channel->Resolution(0);
    channel->RJCType(1);
    channel->RJCTemperature(0.0);
    EXPECT_FALSE(channel->Changed());

    const auto marks = [&](auto change) {
        channel->Changed(false);
        change();
        return channel->Changed();
    };
    EXPECT_TRUE(marks([&] { channel->CalDate(Date::FromYMD(2023, 12, 31)); }));
    EXPECT_TRUE(marks([&] { channel->ProbeLock(true); }));
    EXPECT_TRUE(marks([&] { channel->Resolution(2); }));
    EXPECT_TRUE(marks([&] { channel->RJCType(0); }));
    EXPECT_TRUE(marks([&] { channel->RJCTemperature(1e-12); }));
    // The same values again leave the flag alone.
    EXPECT_FALSE(marks([&] { channel->CalDate(Date::FromYMD(2023, 12, 31)); }));
    EXPECT_FALSE(marks([&] { channel->ProbeLock(true); }));
    EXPECT_FALSE(marks([&] { channel->Resolution(2); }));
    EXPECT_FALSE(marks([&] { channel->RJCType(0); }));
    EXPECT_FALSE(marks([&] { channel->RJCTemperature(1e-12); }));

    // These never mark.
    EXPECT_FALSE(marks([&] { channel->MINOP(7); }));
    EXPECT_FALSE(marks([&] { channel->MAXOP(9); }));
    EXPECT_FALSE(marks([&] { channel->Enabled(false); }));
    EXPECT_FALSE(marks([&] { channel->ProbeType(2); }));
    EXPECT_FALSE(marks([&] { channel->RJCTemperatureFormat("0.00"); }));
    EXPECT_FALSE(channel->Enabled());
    EXPECT_EQ(channel->MINOP(), 7);
    EXPECT_EQ(channel->MAXOP(), 9);
    EXPECT_EQ(channel->ProbeType(), 2);
    EXPECT_EQ(channel->RJCTemperatureFormat(), "0.00");
}

TEST_F(ChannelObject, ResolutionIsCappedAboveOnly) {
    channel->Resolution(7);
    EXPECT_EQ(channel->Resolution(), 3);
    channel->Resolution(-2);
    EXPECT_EQ(channel->Resolution(), -2);
    channel->Resolution(-1);
    EXPECT_EQ(channel->Resolution(), -1);
    // A capped value equal to the stored one is no change.
    channel->Resolution(3);
    channel->Changed(false);
    channel->Resolution(9);
    EXPECT_FALSE(channel->Changed());
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

TEST_F(ChannelObject, RegistryAndFilePathAreHandedToTheProbe) {
    auto registry = std::make_shared<FakeRegistry>();
    channel->SetRegistry(registry);
    EXPECT_EQ(channel->Registry(), registry);
    EXPECT_EQ(channel->Probe()->Registry(), registry);
    channel->FilePath("/data/probes");
    EXPECT_EQ(channel->FilePath(), "/data/probes");
    EXPECT_EQ(channel->Probe()->FilePath(), "/data/probes");
}

TEST_F(ChannelObject, NumbersAndBackReferences) {
    channel->SetModuleChannel(1);
    channel->SetActualChannel(12);
    EXPECT_EQ(channel->ModuleChannel(), 1);
    EXPECT_EQ(channel->ActualChannel(), 12);
    EXPECT_EQ(channel->BaseUnit(), instrument);

    auto module = CVesk4710Card::Create(host);
    channel->SetModule(module);
    EXPECT_EQ(channel->Module(), module);

    // Back references do not keep their owners alive.
    std::weak_ptr<CVesk4710Card> moduleAlive = module;
    module.reset();
    EXPECT_TRUE(moduleAlive.expired());
    EXPECT_EQ(channel->Module(), nullptr);
    std::weak_ptr<CVesk4710> instrumentAlive = instrument;
    instrument.reset();
    EXPECT_TRUE(instrumentAlive.expired());
    EXPECT_EQ(channel->BaseUnit(), nullptr);
}

TEST_F(ChannelObject, MemberTableFollowsTheInterfaceOrder) {
    const auto& table = CVesk4710Channel::MemberTable();
    EXPECT_EQ(&table, &channel->Members());
    EXPECT_EQ(channel->ClassName(), "CVesk4710Channel");
    std::vector<std::string> names;
    for (const auto& m : table) {
        if (names.empty() || names.back() != m.name) {
            names.push_back(m.name);
            EXPECT_EQ(m.dispid, static_cast<int32_t>(names.size())) << m.name;
        } else {
            EXPECT_EQ(m.dispid, static_cast<int32_t>(names.size())) << m.name;
        }
    }
    const std::vector<std::string> expected = {"CalDate",
                                               "Enabled",
                                               "SetModule",
                                               "Module",
                                               "FilePath",
                                               "SetRegistry",
                                               "Registry",
                                               "ProbeLock",
                                               "Resolution",
                                               "RJCType",
                                               "RJCTemperature",
                                               "RJCTemperatureFormat",
                                               "Changed",
                                               "SetBaseUnit",
                                               "BaseUnit",
                                               "MaxRJCTemperature",
                                               "MinRJCTemperature",
                                               "MINOP",
                                               "MAXOP",
                                               "ModuleChannel",
                                               "SetModuleChannel",
                                               "ActualChannel",
                                               "SetActualChannel",
                                               "Probe",
                                               "ProbeType",
                                               "MaxSerialLength",
                                               "Edit",
                                               "SetConversionType",
                                               "QueryInfo",
                                               "UpdateInfo",
                                               "FillConversionTypeList",
                                               "FillProbeTypeList",
                                               "FillResolutionList",
                                               "FillRJCTypeList"};
    EXPECT_EQ(names, expected);
    const MemberInfo* setModule = FindMember(table, "SetModule", MemberKind::Set);
    ASSERT_NE(setModule, nullptr);
    EXPECT_EQ(FindMember(table, "MaxSerialLength", MemberKind::Let), nullptr);
    EXPECT_NE(FindMember(table, "SetActualChannel", MemberKind::Let), nullptr);
}

}  // namespace
}  // namespace vesk::test
