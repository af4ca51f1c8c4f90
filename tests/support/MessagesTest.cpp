#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

#include "tests/testsupport/FakeUi.h"
#include "tests/testsupport/Locale.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/support/Delay.h"
#include "vesk4710/support/Help.h"
#include "vesk4710/support/Messages.h"

namespace vesk {
namespace {

using test::FakeUi;
using test::Raised;

TEST(AutomationError, ReraiseReplacesOnlyTheSourceAndForeignExceptionsBecomeGeneric) {
    const AutomationError e = Raised([] {
        try {
            throw AutomationError(0x80040001, "inner", "inner source", "x.hlp", 3);
        } catch (...) {
            Reraise("CVesk4710 - QueryUnits", "help.hlp", 42);
        }
    });
    EXPECT_EQ(e.Number(), static_cast<int32_t>(0x80040001));
    EXPECT_EQ(e.Description(), "inner");
    EXPECT_EQ(e.Source(), "CVesk4710 - QueryUnits");
    EXPECT_EQ(e.HelpFile(), "help.hlp");
    EXPECT_EQ(e.HelpContext(), 42);

    EXPECT_EQ(CapturePendingError(nullptr).number, 0);
    try {
        throw std::runtime_error("disk on fire");
    } catch (...) {
        PendingError p = CapturePendingError();
        EXPECT_EQ(p.number, kErrGeneric);
        EXPECT_EQ(p.description, "disk on fire");
    }
    EXPECT_EQ(AutomationError::Runtime(kErrOverflow).Description(), "Overflow");
    EXPECT_EQ(AutomationError::Runtime(kErrSubscriptOutOfRange).Description(),
              "Subscript out of range");
}

// Reports `error` as an operation's error trap does.
template <class E>
void ReportThrown(FakeUi& ui, const E& error, const std::string& phrase,
                  const std::string& helpFile = {}, int32_t helpContext = 0) {
    try {
        throw error;
    } catch (...) {
        ShowErrorMessage(ui, phrase, kMsgCaption, helpFile, helpContext);
    }
}

TEST(ErrorReport, FirstLineOnlyWithoutANumberNoSourceLineWithoutASource) {
    FakeUi ui;
    ui.MousePointer(kPointerHourglass);
    ReportThrown(ui, AutomationError(0, "ignored", "CVesk4710 - QueryInfo"), "attempting to x");
    ShowErrorMessage(ui, "attempting to y", kMsgCaption);  // outside any catch block
    ASSERT_EQ(ui.boxes.size(), 2u);
    EXPECT_EQ(ui.boxes[0].prompt, "An error occurred while attempting to x.\r");
    EXPECT_EQ(ui.boxes[1].prompt, "An error occurred while attempting to y.\r");
    EXPECT_EQ(ui.boxes[0].pointerWhenShown, kPointerDefault);
    EXPECT_EQ(ui.boxes[1].style, 16);
    EXPECT_EQ(ui.boxes[1].helpFile, "");
    // An empty source gives no source line; a foreign exception reports its text.
    ReportThrown(ui, AutomationError::Runtime(kErrOverflow), "attempting to update 'Units'");
    ReportThrown(ui, std::runtime_error("disk on fire"), "attempting to create download file");
    ASSERT_EQ(ui.boxes.size(), 4u);
    EXPECT_EQ(ui.boxes[2].prompt,
              "An error occurred while attempting to update 'Units'.\r\rError: 6 - Overflow");
    EXPECT_EQ(ui.boxes[3].prompt,
              "An error occurred while attempting to create download file.\r\rError: " +
                  std::to_string(kErrGeneric) + " - disk on fire");
}

TEST(Messages, InformationAndQuestionStylesResetThePointer) {
    FakeUi ui;
    ui.MousePointer(kPointerHourglass);
    ShowInfoMessage(ui, "notice", kMsgCaption, "/x/help.html", 10330);
    ui.answers = {kAnsNo, kAnsCancel};
    EXPECT_EQ(ShowQuestion(ui, "Write?", kMsgCaption), kAnsNo);
    EXPECT_EQ(ShowQuestion(ui, "Write?", kMsgCaption), kAnsNo);  // anything but yes is no
    EXPECT_EQ(ShowQuestion(ui, "Write?", kMsgCaption), kAnsYes);
    ASSERT_EQ(ui.boxes.size(), 4u);
    EXPECT_EQ(ui.boxes[0].style, 16448);
    EXPECT_EQ(ui.boxes[0].helpContext, 10330);
    EXPECT_EQ(ui.boxes[0].pointerWhenShown, kPointerDefault);
}

TEST(Delay, WaitsUntilTheDeadlineKeepingEventsFlowingWithinTheTickRange) {
    FakeUi ui;
    ui.ticks = 1000;
    Delay(ui, 250);
    ASSERT_EQ(ui.waits.size(), 25u);
    EXPECT_EQ(ui.waits.front(), 250);
    EXPECT_EQ(ui.waits.back(), 10);
    EXPECT_EQ(ui.ticks, 1250);

    // A deadline beyond the tick range is an overflow.
    ui.ticks = std::numeric_limits<int32_t>::max() - 100;
    ui.waits.clear();
    EXPECT_EQ(Raised([&] { Delay(ui, 1000); }).Number(), kErrOverflow);
    EXPECT_TRUE(ui.waits.empty());
    Delay(ui, 100);  // exactly fits
    EXPECT_EQ(ui.waits.size(), 10u);
    ui.ticks = std::numeric_limits<int32_t>::min() + 10;
    EXPECT_EQ(Raised([&] { Delay(ui, -100); }).Number(), kErrOverflow);
}

}  // namespace
}  // namespace vesk
