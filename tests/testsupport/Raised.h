#pragma once
// The error a call must raise, given back for checking.
#include <gtest/gtest.h>

#include <utility>

#include "vesk4710/support/AutomationError.h"

namespace vesk::test {

// Runs call and returns the AutomationError it raised; fails the test when none.
template <typename Call>
AutomationError Raised(Call&& call) {
    try {
        std::forward<Call>(call)();
    } catch (const AutomationError& e) {
        return e;
    }
    ADD_FAILURE() << "no AutomationError was raised";
    return AutomationError(0, "");
}

}  // namespace vesk::test
