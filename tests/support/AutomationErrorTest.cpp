#include "vesk4710/support/AutomationError.h"

#include <gtest/gtest.h>

namespace vesk {
namespace {

TEST(AutomationError, ReraiseKeepsNumberAndDescriptionAndReplacesSource) {
    try {
        try {
            throw AutomationError(0x80040001, "inner", "inner source", "x.hlp", 3);
        } catch (...) {
            Reraise("CVesk4710 - QueryUnits", "help.hlp", 42);
        }
        FAIL() << "no error raised";
    } catch (const AutomationError& e) {
        EXPECT_EQ(e.Number(), static_cast<int32_t>(0x80040001));
        EXPECT_EQ(e.Description(), "inner");
        EXPECT_EQ(e.Source(), "CVesk4710 - QueryUnits");
        EXPECT_EQ(e.HelpFile(), "help.hlp");
        EXPECT_EQ(e.HelpContext(), 42);
    }
}

TEST(AutomationError, PendingErrorFromForeignExceptionAndFromNone) {
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

}  // namespace
}  // namespace vesk
