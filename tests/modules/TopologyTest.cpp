// The module tree: building and numbering, bounds of the lookups, selection, the channel
// list and the topology queries.
#include "tests/core/InstrumentFixture.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;

constexpr int32_t kInvalidModuleIndex = static_cast<int32_t>(0x800403EAu);
constexpr int32_t kInvalidChannel = static_cast<int32_t>(0x800403E9u);

TEST(Card, NewModuleCarriesOneNumberedChannelAndDoesNotKeepItsInstrumentAlive) {
    auto host = std::make_shared<FakeHost>();
    host->probeFactory = [] { return probes::Probe::Create(); };
    auto card = CVesk4710Card::Create(host);
    EXPECT_EQ(card->NumChannels(), 1);
    auto channel = card->Channels(0);
    ASSERT_NE(channel, nullptr);
    EXPECT_EQ(channel->ModuleChannel(), 1);
    EXPECT_EQ(channel->Module(), card);
    EXPECT_EQ(Raised([&] { card->Channels(1); }).Number(), kErrSubscriptOutOfRange);

    auto unit = CVesk4710::Create(host);
    card->SetBaseUnit(unit);
    EXPECT_EQ(card->BaseUnit(), unit);
    unit.reset();
    EXPECT_EQ(card->BaseUnit(), nullptr);
}

TEST_F(InstrumentTest, NumModulesBuildsAndNumbersTheTreeEvenWhenUnchanged) {
    unit->SetRegistry(host->registry);
    unit->FilePath("/probes");
    comm().Reply(SET_NUM_CHANNELS, "2");
    unit->QueryNumChannels();
    const auto expected =
        ElementsAre(Read(SET_NUM_MODULES), Read(SET_CHANNEL_STATE), Read(SET_CHANNEL_STATE));
    comm().Reply(SET_NUM_MODULES, "2");
    unit->Changed(false);
    ClearLog();
    ASSERT_TRUE(unit->QueryNumModules());
    EXPECT_TRUE(unit->Changed());
    EXPECT_THAT(comm().Requests(), expected);
    for (int16_t i = 0; i < 2; ++i) {
        const auto module = unit->Modules(i);
        ASSERT_NE(module, nullptr);
        EXPECT_EQ(module->ModuleNumber(), i + 1);
        EXPECT_EQ(module->StartChannel(), i + 1);
        EXPECT_EQ(module->BaseUnit(), unit);
        const auto channel = module->Channels(0);
        EXPECT_EQ(channel->ActualChannel(), i + 1);
        EXPECT_EQ(channel->BaseUnit(), unit);
        EXPECT_EQ(channel->Registry(), host->registry);
        EXPECT_EQ(channel->FilePath(), "/probes");
        EXPECT_EQ(unit->GetChannelReference(static_cast<int16_t>(i + 1)), channel);
    }
    // Only input 1 reports itself on.
    EXPECT_TRUE(unit->Modules(0)->Channels(0)->Enabled());
    EXPECT_FALSE(unit->Modules(1)->Channels(0)->Enabled());

    // The same count rebuilds the tree all the same.
    const auto before = unit->Modules(0);
    comm().Reply(SET_NUM_MODULES, "2");
    ClearLog();
    unit->QueryNumModules();
    EXPECT_NE(unit->Modules(0), before);
    EXPECT_THAT(comm().Requests(), expected);
}

TEST_F(InstrumentTest, NumModulesRangeLinkFailureAndShrinking) {
    TwoChannels();
    const auto first = unit->Modules(0);
    unit->Changed(false);
    comm().Reply(SET_NUM_MODULES, "3");
    const auto e = Raised([&] { unit->QueryNumModules(); });
    EXPECT_EQ(e.Number(), kInvalidModuleIndex);
    EXPECT_EQ(e.Description(), "Invalid channel index");
    // Nor does a link failing at the second channel's state change the tree.
    comm().Reply(SET_NUM_MODULES, "2");
    comm().FailAfter(3, Broken());
    Raised([&] { unit->QueryNumModules(); });
    EXPECT_EQ(unit->Modules(0), first);
    EXPECT_FALSE(unit->Changed());
    EXPECT_EQ(unit->NumModules(), 2);
    EXPECT_NE(unit->Modules(1), nullptr);

    comm().Reply(SET_NUM_MODULES, "1");
    unit->QueryNumModules();
    EXPECT_EQ(unit->NumModules(), 1);
    EXPECT_EQ(unit->Modules(1), nullptr);

    // An empty reply means one module / one channel.
    comm().Reply(SET_NUM_MODULES, "");
    unit->QueryNumModules();
    EXPECT_EQ(unit->NumModules(), 1);
    comm().Reply(SET_NUM_CHANNELS, "");
    unit->QueryNumChannels();
    EXPECT_EQ(unit->NumChannels(), 1);

    comm().Reply(SET_NUM_MODULES, "0");
    ClearLog();
    unit->QueryNumModules();
    EXPECT_EQ(unit->NumModules(), 0);
    EXPECT_THAT(comm().Requests(), ElementsAre(Read(SET_NUM_MODULES)));
    EXPECT_EQ(unit->Modules(0), nullptr);
    // The array is back to one slot: index 1 is a plain subscript error now.
    EXPECT_EQ(Raised([&] { unit->Modules(1); }).Number(), kErrSubscriptOutOfRange);
}

TEST_F(InstrumentTest, LookupsAreBoundedByTheTreeAndTheChannelListShowsEveryChannel) {
    TwoChannels();
    // Modules() is bound by the design size, not by the count.
    for (int16_t idx : {int16_t{2}, int16_t{-1}}) {
        const auto e = Raised([&] { unit->Modules(idx); });
        EXPECT_EQ(e.Number(), kInvalidModuleIndex);
        EXPECT_EQ(e.Source(), "CVesk4710 - Modules");
    }
    // A channel outside the instrument is empty.
    EXPECT_EQ(unit->GetChannelReference(0), nullptr);
    EXPECT_EQ(unit->GetChannelReference(3), nullptr);

    // The selected channel is a zero-based index.
    unit->SelectedChannel(1);
    EXPECT_EQ(unit->SelectedChannel(), 1);
    unit->SelectedChannel(-3);
    const auto e = Raised([&] { unit->SelectedChannel(2); });
    EXPECT_EQ(e.Number(), kInvalidChannel);
    EXPECT_EQ(e.Description(), "Invalid module index");
    EXPECT_EQ(e.Source(), "CVesk4710 - SelectedChannel");
    EXPECT_EQ(unit->SelectedChannel(), -3);

    // More channels reported than modules hold.
    comm().Reply(SET_NUM_CHANNELS, "3");
    unit->QueryNumChannels();
    EXPECT_EQ(unit->GetChannelReference(3), nullptr);

    // The channel list shows each channel's serial or state.
    unit->GetChannelReference(2)->Probe()->Serial("PT100-9");
    FakeList list;
    unit->FillChannelList(list);
    EXPECT_THAT(list.Texts(),
                ElementsAre("Channel 1)\t<not configured>", "Channel 2)\tPT100-9", "Channel 3)\t"));
    EXPECT_THAT(list.Data(), ElementsAre(1, 2, 3));
    EXPECT_THAT(list.tabStops, ElementsAre(40, 80, 120));
    unit->GetChannelReference(2)->Probe()->Serial("");
    unit->FillChannelList(list);
    EXPECT_EQ(list.List(1), "Channel 2)\t<not connected>");
    EXPECT_EQ(list.ListCount(), 3);
}

TEST_F(InstrumentTest, ChannelInfoReadsTopologyThenEveryChannelThatIsOnAndReportsFailures) {
    comm().ReplyAlways(SET_IDENTIFICATION, "Vesk,4710,A1,1.0");
    comm().ReplyAlways(SET_NUM_CHANNELS, "2");
    comm().ReplyAlways(SET_MODULE_LIST, "PRT,PRT");
    comm().ReplyAlways(SET_NUM_MODULES, "2");
    comm().ReplyAlways(SET_PROBE_CAL_DATE_READ, "2024,1,31");
    comm().ReplyAlways(SET_PROBE_LOCK_READ, "0");
    ASSERT_TRUE(unit->QueryChannelInfo());
    EXPECT_TRUE(ui().boxes.empty());
    const auto requests = comm().Requests();
    ASSERT_GE(requests.size(), 9u);
    EXPECT_THAT(
        std::vector<std::string>(requests.begin(), requests.begin() + 9),
        ElementsAre("Write " + std::to_string(SET_INIT_INTERFACE),
                    Read(SET_IDENTIFICATION) + " false", Read(SET_NUM_CHANNELS),
                    Read(SET_MODULE_LIST), Read(SET_NUM_MODULES), Read(SET_CHANNEL_STATE),
                    Read(SET_CHANNEL_STATE), Read(SET_CHANNEL_STATE), Read(SET_PROBE_SERIAL_READ)));
    // Channel 2 is not on: its state is read, its settings are not.
    EXPECT_EQ(requests.back(), Read(SET_CHANNEL_STATE));
    EXPECT_EQ(ui().progressLog[1], "StartPhase Reading 4710 settings... 25");
    EXPECT_EQ(unit->NumModules(), 2);

    // A channel that fails makes the whole query fail; it reported its own failure.
    comm().ReplyAlways(SET_PROBE_CAL_DATE_READ, "no date");
    EXPECT_FALSE(unit->QueryChannelInfo());
    EXPECT_FALSE(ui().boxes.empty());

    ui().boxes.clear();
    ui().progressChecks = 0;
    ui().cancelAtStep = 1;
    EXPECT_FALSE(unit->QueryChannelInfo());
    EXPECT_THAT(ui().Prompts(), ElementsAre("Aborted querying information."));
    EXPECT_EQ(comm().Requests().back(), Read(SET_NUM_CHANNELS));

    ui().boxes.clear();
    ui().cancelAtStep = -1;
    comm().ReplyAlways(SET_IDENTIFICATION, "Vesk,4711,A1,1.0");
    EXPECT_FALSE(unit->QueryChannelInfo());
    ASSERT_EQ(ui().boxes.size(), 1u);
    EXPECT_NE(ui().boxes[0].prompt.find("not a model '4710'"), std::string::npos);

    comm().Fail(SET_NUM_CHANNELS, Broken());
    comm().ReplyAlways(SET_IDENTIFICATION, "Vesk,4710,A1,1.0");
    EXPECT_EQ(Raised([&] { unit->QueryChannelInfo(); }).Source(), "CVesk4710 - QueryChannelInfo");
}

}  // namespace
}  // namespace vesk::test
