#include <gtest/gtest.h>

#include <chrono>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>

#include "ui/console/ConsoleUi.h"

namespace vesk {
namespace {

constexpr int32_t kQuestion = kMbYesNo | kMbQuestion;

struct Console {
    explicit Console(ConsoleOptions o = {}, const char* typed = nullptr, bool terminal = false)
        : in(typed ? typed : ""), ui(std::move(o), err, typed ? &in : nullptr, terminal) {}
    std::ostringstream err;
    std::istringstream in;
    ConsoleUi ui;
};

class TestDialog : public IDialogLogic {
  public:
    std::string DialogName() const override { return "frmTest"; }
};

TEST(ConsoleUi, MessagesGoToStderrWithCaptionAndLineBreaks) {
    Console c;
    EXPECT_EQ(c.ui.MessageBox("An error occurred.\r\rError: 5 - x\r(src)", kMbCritical,
                              "Vesk Scientific", "", 0),
              kAnsOk);
    EXPECT_EQ(c.err.str(), "[Vesk Scientific] An error occurred.\n\nError: 5 - x\n(src)\n");

    Console h;
    h.ui.MessageBox("See help", kMbCritical | kMbHelpButton, "", "/x/vesk.chm", 42);
    EXPECT_EQ(h.err.str(), "[] See help\n  (help: /x/vesk.chm, topic 42)\n");
}

TEST(ConsoleUi, QuestionsFollowTheAssumeFlagsElseTheTerminal) {
    Console yes({.assumeYes = true});
    EXPECT_EQ(yes.ui.MessageBox("Write?", kQuestion, "C", "", 0), kAnsYes);
    EXPECT_EQ(yes.err.str(), "[C] Write?\n  answer: yes\n");
    EXPECT_EQ(yes.ui.MessageBox("Go on?", 1, "C", "", 0), kAnsOk);  // OK/Cancel

    Console no({.assumeNo = true}, "y\n");
    EXPECT_EQ(no.ui.MessageBox("Write?", kQuestion, "C", "", 0), kAnsNo);
    EXPECT_EQ(no.ui.MessageBox("Go on?", 1, "C", "", 0), kAnsCancel);
    EXPECT_EQ(no.ui.MessageBox("Save?", 3, "C", "", 0), kAnsNo);  // Yes/No/Cancel

    EXPECT_EQ(Console({.assumeYes = true, .assumeNo = true})
                  .ui.MessageBox("Write?", kQuestion, "C", "", 0),
              kAnsYes);

    // Nobody to ask and nothing assumed: the safe answer.
    Console nobody;
    EXPECT_EQ(nobody.ui.MessageBox("Write?", kQuestion, "C", "", 0), kAnsNo);
    EXPECT_EQ(nobody.err.str(), "[C] Write?\n  answer: no\n");

    // Otherwise the terminal is asked until it gives a yes or a no.
    Console c({}, "maybe\n Y \nno\n");
    EXPECT_EQ(c.ui.MessageBox("Write?", kQuestion, "C", "", 0), kAnsYes);
    EXPECT_EQ(c.err.str(), "[C] Write?\n  [y/n]   [y/n] ");
    EXPECT_EQ(c.ui.MessageBox("Again?", kQuestion, "C", "", 0), kAnsNo);
    // Input ended: no.
    EXPECT_EQ(c.ui.MessageBox("Third?", kQuestion, "C", "", 0), kAnsNo);
    // An information box never waits for input.
    EXPECT_EQ(c.ui.MessageBox("Note", kMbInformation, "C", "", 0), kAnsOk);
}

TEST(ConsoleUi, JsonLinesMode) {
    Console c({.json = true});
    c.ui.MessageBox("line1\rline2 \xFF", kMbInformation, "Vesk Scientific", "", 0);
    c.ui.MessageBox("Write?", kQuestion, "Vesk Scientific", "", 0);
    std::istringstream lines(c.err.str());
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    const auto first = nlohmann::json::parse(line);
    EXPECT_EQ(first["message"]["caption"], "Vesk Scientific");
    EXPECT_EQ(first["message"]["text"], "line1\nline2 \xEF\xBF\xBD");
    EXPECT_EQ(first["message"]["style"], kMbInformation);
    ASSERT_TRUE(std::getline(lines, line));
    const auto second = nlohmann::json::parse(line);
    EXPECT_EQ(second["message"]["answer"], "no");
    EXPECT_FALSE(std::getline(lines, line));
}

TEST(ConsoleUi, PasscodesFromTheQueueElseFromTheTerminal) {
    Console c({.passcodes = {"1234", ""}}, "typed\n");
    for (const std::string queued : {"1234", ""}) {
        const PasscodeEntry e = c.ui.PromptPasscode(nullptr);
        EXPECT_EQ(e.text, queued);
        EXPECT_TRUE(e.confirmed);
    }
    // Queue used up: cancelled, the terminal is not consulted.
    EXPECT_FALSE(c.ui.PromptPasscode(nullptr).confirmed);
    EXPECT_EQ(c.err.str(), "");

    // Without a queue the terminal is asked, without echo, until its input ends.
    Console t({}, "secret\r\n");
    PasscodeEntry typed = t.ui.PromptPasscode(nullptr);
    EXPECT_EQ(typed.text, "secret");
    EXPECT_TRUE(typed.confirmed);
    EXPECT_FALSE(t.ui.PromptPasscode(nullptr).confirmed);
    EXPECT_EQ(t.err.str().find("secret"), std::string::npos) << "the passcode was echoed";
    EXPECT_FALSE(Console().ui.PromptPasscode(nullptr).confirmed);
}

TEST(ConsoleUi, HelpDialogsEventsAndWaits) {
    Console c;
    EXPECT_EQ(c.ui.ShowHelp("/usr/share/doc/vesk.html", 1, 3001), 1);
    EXPECT_EQ(c.err.str(), "[help] /usr/share/doc/vesk.html topic 3001\n");

    TestDialog dialog;
    EXPECT_FALSE(c.ui.ShowModal(dialog, nullptr)) << "nobody to show it to";
    c.ui.modalHandler = [](IDialogLogic& d, IForm*) { return d.DialogName() == "frmTest"; };
    EXPECT_TRUE(c.ui.ShowModal(dialog, nullptr));

    int events = 0;
    c.ui.onEvents = [&] { ++events; };
    c.ui.DoEvents();
    c.ui.WaitEvents(0);
    EXPECT_EQ(events, 2);

    // A wait sleeps, processing events throughout (not only when it starts), and the ticks
    // advance.
    const int32_t t0 = c.ui.Ticks();
    const auto start = std::chrono::steady_clock::now();
    c.ui.WaitEvents(60);
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(60));
    EXPECT_GE(events, 2 + 3);
    // Compared the way the library compares ticks: wrapping signed 32-bit difference.
    const int32_t elapsed =
        static_cast<int32_t>(static_cast<uint32_t>(c.ui.Ticks()) - static_cast<uint32_t>(t0));
    EXPECT_GE(elapsed, 60);
}

TEST(ConsoleUi, ProgressIsShownOnlyOnATerminal) {
    Console quiet;
    quiet.ui.CreateProgress()->Status("Reading 4710 settings...", 50);
    EXPECT_EQ(quiet.err.str(), "");
    Console tty({}, nullptr, true);
    tty.ui.CreateProgress()->Status("Reading", 50);
    EXPECT_NE(tty.err.str().find("Reading"), std::string::npos);
    EXPECT_NE(tty.err.str().find("50%"), std::string::npos) << tty.err.str();
}

}  // namespace
}  // namespace vesk
