// The channel object: the change flag, the choice of a conversion type and the pick lists
// and edit entry of the channel dialog.
#include <gtest/gtest.h>

#include <functional>
#include <tuple>

#include "tests/channel/ChannelFixture.h"
#include "vesk4710/channel/ChannelEditDialog.h"
#include "vesk4710/channel/ConversionTypes.h"

namespace vesk::test {
namespace {

using ChannelObject = ChannelTest;

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

    // The flag mirrors into the probe, and a coefficient edit held there marks the channel.
    auto probe = channel->Probe();
    channel->Changed(true);
    EXPECT_TRUE(probe->Changed());
    channel->Changed(false);
    EXPECT_FALSE(probe->Changed());
    probe->Changed(true);
    EXPECT_TRUE(channel->Changed());
    channel->Changed(false);
    ASSERT_TRUE(channel->SetConversionType(19, 4));
    EXPECT_TRUE(marks([&] { conv().Coefficients(0, 100.5); }));
}

// ITS-90 ranges are fixed at numbers the user cannot change, and choosing the type again
// starts from a cleared set (subrange 5 keeps its high range).
TEST_F(ChannelObject, ITS90SetsHaveFixedRangesAndStartCleared) {
    instrument->FilePath("/instrument/files");
    for (const auto& [type, highRange, highKept] :
         {std::tuple{0, 6, 0.0}, std::tuple{17, 7, 7.5e-5}}) {
        SCOPED_TRACE(type);
        ASSERT_TRUE(channel->SetConversionType(type, 4));
        IConversion& c = conv();
        c.LowRange().Coefficients(1, 3.5e-5);
        c.HighRange().Coefficients(0, 7.5e-5);
        c.RTPW(25.5);
        ASSERT_TRUE(channel->SetConversionType(2, 4));
        ASSERT_TRUE(channel->SetConversionType(type, 4));
        EXPECT_EQ(channel->Probe()->ConversionType(), type);
        EXPECT_EQ(c.RTPW(), 100.0);
        EXPECT_EQ(c.LowRange().Coefficients(1), 0.0);
        EXPECT_EQ(c.HighRange().Coefficients(0), highKept);
        // Subrange 5 leaves the low range's number to the user.
        std::vector<std::pair<IConversionRange*, int32_t>> fixed = {{&c.HighRange(), highRange}};
        if (type == 0) {
            fixed.emplace_back(&c.LowRange(), 4);
        }
        for (auto [range, number] : fixed) {
            EXPECT_EQ(range->Range(), number);
            EXPECT_EQ(range->MinRange(), number);
            EXPECT_EQ(range->MaxRange(), number);
            EXPECT_FALSE(range->AllowChangeRange());
        }
        EXPECT_FALSE(c.HighRange().ShowCoefRange());
        EXPECT_EQ(c.LowRange().NumCoefficients(), 2);
        EXPECT_EQ(c.HighRange().NumCoefficients(), type == 0 ? 4 : 3);
        // The channel's own folder wins over the instrument's.
        EXPECT_EQ(c.FilePath(), channel->FilePath());
    }
}

TEST_F(ChannelObject, ThermocoupleResetsTheJunctionAndTakesTheLetterOnlyOnAChange) {
    channel->RJCType(0);
    channel->RJCTemperature(21.5);
    channel->Changed(false);
    ASSERT_TRUE(channel->SetConversionType(20, 9));
    EXPECT_EQ(channel->Probe()->ConversionType(), 20);
    EXPECT_EQ(conv().TCType(), 9);
    EXPECT_EQ(channel->RJCType(), 1);
    EXPECT_EQ(channel->RJCTemperature(), 0.0);
    EXPECT_TRUE(channel->Changed());

    // The same type again changes nothing, not even the letter.
    channel->RJCType(0);
    channel->FilePath("/elsewhere");
    conv().FilePath("/stale");
    ASSERT_TRUE(channel->SetConversionType(20, 3));
    EXPECT_EQ(conv().TCType(), 9);
    EXPECT_EQ(channel->RJCType(), 0);
    // Only the conversion's folder follows the channel on this path too.
    EXPECT_EQ(conv().FilePath(), "/elsewhere");
}

TEST_F(ChannelObject, PlainTypesOnlySetTheTypeAndUnsupportedOnesKeepTheExisting) {
    for (int32_t type : {10, 11, 18, 19}) {
        auto fresh = MakeChannel();
        fresh->RJCType(0);
        ASSERT_TRUE(fresh->SetConversionType(type, 4));
        EXPECT_EQ(fresh->Probe()->ConversionType(), type);
        EXPECT_EQ(fresh->RJCType(), 0) << type;
    }
    // Unsupported types become "keep existing", silently.
    for (int32_t type : {-2, 1, 3, 4, 5, 7, 8, 9, 12, 13, 14, 15, 16, 21, 99}) {
        ASSERT_TRUE(channel->SetConversionType(19, 4));
        ASSERT_TRUE(channel->SetConversionType(type, 4)) << type;
        EXPECT_EQ(channel->Probe()->ConversionType(), -1) << type;
    }
    EXPECT_EQ(ConversionTypeName(-1), "<keep existing>");
    EXPECT_TRUE(host->ui.boxes.empty());
}

TEST_F(ChannelObject, PickListsFollowTheProbeFamilyAndTheConversion) {
    FakeList list;
    list.AddItem("stale");
    ASSERT_TRUE(channel->FillConversionTypeList(list, 0));
    EXPECT_EQ(list.Texts(), (std::vector<std::string>{"ITS-90", "ITS-90 Subrange 5", "PT100",
                                                      "Callendar-Van Dusen", "Ohms"}));
    EXPECT_EQ(list.Data(), (std::vector<int32_t>{0, 17, 19, 2, 10}));
    ASSERT_TRUE(channel->FillConversionTypeList(list, 2));
    EXPECT_EQ(list.Texts(), (std::vector<std::string>{"Thermocouple Type", "Volts"}));
    EXPECT_EQ(list.Data(), (std::vector<int32_t>{20, 11}));
    for (int32_t family : {-1, 3}) {
        ASSERT_TRUE(channel->FillConversionTypeList(list, family));
        EXPECT_EQ(list.Texts(), std::vector<std::string>{"<keep existing>"});
        EXPECT_EQ(list.Data(), std::vector<int32_t>{-1});
    }

    // Probe types: none without a conversion; volts are read by a thermocouple.
    ASSERT_TRUE(channel->FillProbeTypeList(list));
    EXPECT_EQ(list.ListCount(), 0);
    ASSERT_TRUE(channel->SetConversionType(11, 4));
    ASSERT_TRUE(channel->FillProbeTypeList(list));
    EXPECT_EQ(list.Texts(), std::vector<std::string>{"TC"});
    EXPECT_EQ(list.Data(), std::vector<int32_t>{2});
}

TEST_F(ChannelObject, EditOpensTheChannelDialogModally) {
    auto registry = std::make_shared<FakeRegistry>();
    channel->SetRegistry(registry);
    host->ui.onShowModal = [&](IDialogLogic& logic) {
        auto& dialog = dynamic_cast<ChannelEditDialog&>(logic);
        EXPECT_EQ(dialog.Caption(), "Channel 3 Settings");
        EXPECT_EQ(dialog.Channel(), channel);
        EXPECT_EQ(dialog.Registry(), registry);
        return true;
    };
    EXPECT_TRUE(channel->Edit());
    EXPECT_EQ(host->ui.dialogsShown, std::vector<std::string>{"frm4710Channel"});
}

}  // namespace
}  // namespace vesk::test
