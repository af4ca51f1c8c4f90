#pragma once
// The progress display that long operations drive: owner, phases with a step size,
// status text with a percentage, and the user's cancel.
#include <string>

namespace vesk {

class IForm;

class IProgress {
  public:
    virtual ~IProgress() = default;
    // The form on whose behalf the operation runs (may be null), and whether one was given.
    virtual void SetOwner(IForm* owner, bool ownerGiven) = 0;
    // Starts a phase: text and the percentage one step advances.
    virtual void StartPhase(const std::string& text, double stepPercent) = 0;
    // Advances one step; false once the user has cancelled.
    virtual bool Step() = 0;
    // Shows a status text with a completion percentage (0 to 100).
    virtual void Status(const std::string& text, double percent) = 0;
    // False once the user has cancelled.
    virtual bool Continue() = 0;
    virtual void Reset() = 0;
    virtual void Hide() = 0;
    virtual void Close() = 0;
};

}  // namespace vesk
