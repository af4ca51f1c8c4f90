#include "vesk4710/support/Delay.h"

#include <algorithm>
#include <limits>

#include "vesk4710/support/AutomationError.h"

namespace vesk {

void Delay(IUiServices& ui, int32_t milliseconds) {
    const int32_t start = ui.Ticks();
    const int64_t sum = static_cast<int64_t>(start) + milliseconds;
    if (sum > std::numeric_limits<int32_t>::max() || sum < std::numeric_limits<int32_t>::min()) {
        throw AutomationError::Runtime(kErrOverflow);
    }
    const int32_t deadline = static_cast<int32_t>(sum);
    int32_t now = start;
    // Events are processed at least once; the wait blocks until an event or the deadline, so
    // no core spins while nothing happens.
    do {
        int64_t remaining = static_cast<int64_t>(deadline) - now;
        int64_t wait =
            std::min<int64_t>(std::max<int64_t>(remaining, 0), std::max(milliseconds, 0));
        ui.WaitEvents(static_cast<int32_t>(wait));
        now = ui.Ticks();
    } while (now < deadline);
}

}  // namespace vesk
