// The shared fakes carry every other suite's expectations, so their scripting must hold.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "ComponentTestSupport.h"
#include "tests/testsupport/Fakes.h"

namespace vesk::test {
namespace {

using V = std::vector<std::string>;

TEST(FakeCommunications, RecordsEveryCallInOrder) {
    FakeCommunications comm;
    comm.Port().LinkMode(2);
    comm.FolderPath("/x");
    comm.InstrumentCode(11);
    comm.params().ClearAll();
    comm.params().Value("C");
    comm.WriteSetting(169);
    comm.params().ClearAll();
    comm.params().Channel("1");
    comm.params().paramname("A4");
    comm.params().PointNumber("2");
    comm.params().ChannelList("1,2");
    comm.ReadSetting(168, true, "");
    comm.ReadSetting(18, false, "");
    comm.Transfer(278, 500, "3");
    EXPECT_EQ(comm.log,
              (V{"Port.LinkMode=2", "FolderPath=/x", "InstrumentCode=11", "ClearAll", "Value=C",
                 "Write 169", "ClearAll", "Channel=1", "paramname=A4", "PointNumber=2",
                 "ChannelList=1,2", "Read 168", "Read 18 false", "Transfer 278 500 value=3"}));
    EXPECT_EQ(comm.Requests(),
              (V{"Write 169", "Read 168", "Read 18 false", "Transfer 278 500 value=3"}));
    EXPECT_EQ(comm.requestParams[0].at("Value"), "C");
    EXPECT_EQ(comm.requestParams[1].count("Value"), 0u) << "ClearAll must empty the parameters";
    EXPECT_EQ(comm.Writes(), (std::vector<int32_t>{169}));
    EXPECT_EQ(comm.Port().LinkMode(), 2);
}

TEST(FakeCommunications, RepliesAreScriptedPerIdentifier) {
    FakeCommunications comm;
    comm.defaultReply = "dflt";
    comm.Reply(168, "C");
    comm.Reply(168, "F");
    comm.ReplyAlways(32, "AUTO");
    comm.responder = [](int32_t id,
                        const std::map<std::string, std::string>& p) -> std::optional<std::string> {
        if (id == 88) {
            return "state of " + p.at("Channel");
        }
        return std::nullopt;
    };
    EXPECT_EQ(comm.ReadSetting(168, true, ""), "C");
    EXPECT_EQ(comm.ReadSetting(168, true, ""), "F");
    EXPECT_EQ(comm.ReadSetting(168, true, ""), "dflt");
    EXPECT_EQ(comm.ReadSetting(32, true, ""), "AUTO");
    EXPECT_EQ(comm.ReadSetting(32, true, ""), "AUTO");
    comm.params().Channel("7");
    EXPECT_EQ(comm.ReadSetting(88, true, ""), "state of 7");

    comm.TransferReply({"1,a\r", true});
    EXPECT_TRUE(comm.Transfer(278, 1, "").endedEarly);
    EXPECT_EQ(comm.Transfer(278, 1, "").text, "");
    EXPECT_EQ(comm.Requests().back(), "Transfer 278 1");
}

TEST(FakeCommunications, FailuresHitTheRightRequest) {
    FakeCommunications comm;
    comm.Fail(57, AutomationError(1, "write refused"));
    comm.ReadSetting(56, true, "");
    EXPECT_THROW(comm.WriteSetting(57), AutomationError);
    EXPECT_NO_THROW(comm.WriteSetting(57));

    comm.FailAfter(3, AutomationError(2, "third"));
    comm.ReadSetting(1, true, "");
    comm.ReadSetting(2, true, "");
    EXPECT_EQ(Raised([&] { comm.WriteSetting(3); }).Number(), 2);
    EXPECT_NO_THROW(comm.WriteSetting(4));
    EXPECT_EQ(comm.Requests().back(), "Write 4");

    comm.FailAfter(1, AutomationError(3, "next"));
    EXPECT_THROW(comm.Transfer(278, 5, ""), AutomationError);
}

TEST(FakeUi, AnswersProgressAndTicks) {
    FakeUi ui;
    EXPECT_EQ(ui.MessageBox("q", kMbYesNo | kMbQuestion, "c", "", 0), kAnsYes);
    EXPECT_EQ(ui.MessageBox("i", kMbInformation, "c", "", 0), kAnsOk);
    ui.answers = {kAnsNo};
    ui.MousePointer(kPointerHourglass);
    EXPECT_EQ(ui.MessageBox("q2", kMbYesNo, "c", "h", 5), kAnsNo);
    EXPECT_EQ(ui.Prompts(), (V{"q", "i", "q2"}));
    EXPECT_EQ(ui.boxes[2].pointerWhenShown, kPointerHourglass);

    ui.passcodes = {{"1234", true}};
    EXPECT_EQ(ui.PromptPasscode(nullptr).text, "1234");
    EXPECT_FALSE(ui.PromptPasscode(nullptr).confirmed);

    ui.cancelAtStep = 2;
    auto p = ui.CreateProgress();
    p->SetOwner(nullptr, false);
    p->StartPhase("Reading", 12.5);
    EXPECT_TRUE(p->Step());
    p->Status("Reading x", 50);
    EXPECT_TRUE(p->Continue());
    EXPECT_FALSE(p->Step());
    EXPECT_FALSE(ui.CreateProgress()->Continue()) << "the count runs across displays";
    p->Close();
    EXPECT_EQ(ui.progressLog, (V{"SetOwner", "StartPhase Reading 12.5", "Step",
                                 "Status Reading x 50", "Step", "Close"}));

    ui.ticks = INT32_MAX - 5;
    ui.DoEvents();
    EXPECT_EQ(ui.ticks, INT32_MIN + 4) << "ticks wrap like a signed 32-bit counter";
}

TEST(FakeFileSystem, RealFilesInAPrivateFolder) {
    std::string root;
    {
        FakeFileSystem files;
        root = files.Root();
        const std::string temp = files.GetSpecialFolder(SpecialFolder::Temporary);
        EXPECT_TRUE(std::filesystem::is_directory(temp));
        EXPECT_EQ(temp.rfind(root, 0), 0u);
        const std::string path = files.BuildPath(temp, "a.txt");
        auto f = files.CreateTextFile(path);
        f->WriteLine("x");
        f->Close();
        EXPECT_EQ(files.ReadFile(path), "x\n");

        files.diskCapacity = files.bytesWritten + 3;
        auto g = files.CreateTextFile(files.BuildPath(temp, "b.txt"));
        g->Write("ab");
        EXPECT_THROW(g->Write("cd"), AutomationError);
        g->Close();
        EXPECT_EQ(files.ReadFile(files.BuildPath(temp, "b.txt")), "abc");

        files.failClose = true;
        EXPECT_THROW(files.CreateTextFile(path)->Close(), AutomationError);
        files.failCreate = true;
        EXPECT_THROW(files.CreateTextFile(path), AutomationError);
        EXPECT_THROW(files.DeleteFile(root + "/missing"), AutomationError);
    }
    EXPECT_FALSE(std::filesystem::exists(root));
}

TEST(FakeHost, MissingFactoriesRaise) {
    FakeHost host;
    EXPECT_EQ(host.CreateCommunications(), host.comm);
    EXPECT_EQ(host.CreateRegistry(), host.registry);
    EXPECT_THROW(host.CreateProbe(), AutomationError);
    EXPECT_THROW(host.CreateOutputFile(), AutomationError);
    EXPECT_THROW(host.CreateTextSplitter(), AutomationError);
}

}  // namespace
}  // namespace vesk::test
