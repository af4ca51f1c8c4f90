#pragma once
// Closing the channel's progress displays on every path out of an operation.
#include <memory>

#include "vesk4710/platform/IProgress.h"

namespace vesk::channel_detail {

inline void CloseProgress(std::unique_ptr<IProgress>& progress) {
    if (progress) {
        try {
            progress->Close();
        } catch (...) {
            // A display that fails to close must not turn a result into an error.
        }
        progress.reset();
    }
}

struct ProgressCloser {
    std::unique_ptr<IProgress>& progress;
    ~ProgressCloser() { CloseProgress(progress); }
};

}  // namespace vesk::channel_detail
