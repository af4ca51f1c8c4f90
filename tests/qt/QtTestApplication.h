#pragma once
// One application for a whole test run, on the offscreen platform unless told otherwise;
// including this header registers it.
#include <gtest/gtest.h>

#include <QApplication>
#include <memory>

namespace vesk::qttest {

class QtTestApplication : public ::testing::Environment {
  public:
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
        }
        app_ = std::make_unique<QApplication>(argc_, argv_);
    }
    void TearDown() override { app_.reset(); }

  private:
    // QApplication keeps references to both for its lifetime.
    int argc_ = 1;
    char name_[5] = "test";
    char* argv_[2] = {name_, nullptr};
    std::unique_ptr<QApplication> app_;
};

inline const auto* const kQtTestApplication =
    ::testing::AddGlobalTestEnvironment(new QtTestApplication);

}  // namespace vesk::qttest
