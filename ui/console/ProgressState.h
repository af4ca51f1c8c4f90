#pragma once
// What a progress display that shows one text and a percentage keeps: a phase advances by its
// step and never past 100; Shown is called after every change, for the display to draw it.
#include <algorithm>
#include <string>

#include "vesk4710/platform/IProgress.h"

namespace vesk {

class ProgressState : public IProgress {
  public:
    void SetOwner(IForm*, bool) override {}
    void StartPhase(const std::string& text, double stepPercent) override {
        text_ = text;
        step_ = stepPercent;
        Shown();
    }
    bool Step() override {
        percent_ = std::min(100.0, percent_ + step_);
        Shown();
        return Continue();
    }
    void Status(const std::string& text, double percent) override {
        text_ = text;
        percent_ = std::clamp(percent, 0.0, 100.0);
        Shown();
    }
    void Reset() override {
        percent_ = 0.0;
        text_.clear();
    }

  protected:
    virtual void Shown() = 0;
    const std::string& Text() const { return text_; }
    double Percent() const { return percent_; }

  private:
    std::string text_;
    double step_ = 0.0;
    double percent_ = 0.0;
};

}  // namespace vesk
