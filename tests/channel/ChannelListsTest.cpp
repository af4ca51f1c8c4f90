// Pick lists of the channel dialog and the edit entry.
#include <gtest/gtest.h>

#include "tests/channel/ChannelFixture.h"
#include "vesk4710/channel/ChannelEditDialog.h"

namespace vesk::test {
namespace {

using ChannelLists = ChannelTest;

TEST_F(ChannelLists, ConversionTypesByProbeFamily) {
    FakeList list;
    list.AddItem("stale");
    ASSERT_TRUE(channel->FillConversionTypeList(list, 0));
    EXPECT_EQ(list.Texts(), (std::vector<std::string>{"ITS-90", "ITS-90 Subrange 5", "PT100",
                                                      "Callendar-Van Dusen", "Ohms"}));
    EXPECT_EQ(list.Data(), (std::vector<int32_t>{0, 17, 19, 2, 10}));
    ASSERT_TRUE(channel->FillConversionTypeList(list, 1));
    EXPECT_EQ(list.Texts(), (std::vector<std::string>{"R(T)", "Ohms"}));
    EXPECT_EQ(list.Data(), (std::vector<int32_t>{6, 18}));
    ASSERT_TRUE(channel->FillConversionTypeList(list, 2));
    EXPECT_EQ(list.Texts(), (std::vector<std::string>{"Thermocouple Type", "Volts"}));
    EXPECT_EQ(list.Data(), (std::vector<int32_t>{20, 11}));
    for (int32_t family : {-1, 3}) {
        ASSERT_TRUE(channel->FillConversionTypeList(list, family));
        EXPECT_EQ(list.Texts(), std::vector<std::string>{"<keep existing>"});
        EXPECT_EQ(list.Data(), std::vector<int32_t>{-1});
    }
}

TEST_F(ChannelLists, ProbeTypesFollowTheCurrentConversion) {
    FakeList list;
    for (int32_t type : {0, 2, 6, 10, 17, 18, 19, 11, 20}) {
        SCOPED_TRACE(type);
        const bool thermocouple = type == 11 || type == 20;
        const std::vector<std::string> texts = {"PRT", "Thermistor"};
        auto fresh = MakeChannel();
        ASSERT_TRUE(fresh->SetConversionType(type, 4));
        ASSERT_TRUE(fresh->FillProbeTypeList(list));
        EXPECT_EQ(list.Texts(), thermocouple ? std::vector<std::string>{"TC"} : texts);
        EXPECT_EQ(list.Data(),
                  (thermocouple ? std::vector<int32_t>{2} : std::vector<int32_t>{0, 1}));
    }
    ASSERT_EQ(channel->Probe()->ConversionType(), -1);
    ASSERT_TRUE(channel->FillProbeTypeList(list));
    EXPECT_EQ(list.ListCount(), 0);
}

TEST_F(ChannelLists, EditOpensTheChannelDialogModally) {
    auto registry = std::make_shared<FakeRegistry>();
    channel->SetRegistry(registry);
    std::string caption;
    std::shared_ptr<CVesk4710Channel> shown;
    std::shared_ptr<IRegistry> store;
    host->ui.onShowModal = [&](IDialogLogic& logic) {
        auto* dialog = dynamic_cast<ChannelEditDialog*>(&logic);
        EXPECT_NE(dialog, nullptr);
        if (dialog != nullptr) {
            caption = dialog->Caption();
            shown = dialog->Channel();
            store = dialog->Registry();
        }
        return true;
    };
    EXPECT_TRUE(channel->Edit());
    EXPECT_EQ(host->ui.dialogsShown, std::vector<std::string>{"frm4710Channel"});
    EXPECT_EQ(caption, "Channel 3 Settings");
    EXPECT_EQ(shown, channel);
    EXPECT_EQ(store, registry);
}

}  // namespace
}  // namespace vesk::test
