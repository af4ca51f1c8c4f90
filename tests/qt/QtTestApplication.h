#pragma once
// One application for a whole test run, on the offscreen platform unless told otherwise.
#include <gtest/gtest.h>

#include <QApplication>
#include <memory>
#include <string>
#include <utility>

namespace vesk::qttest {

class QtTestApplication : public ::testing::Environment {
  public:
    explicit QtTestApplication(std::string name) : name_(std::move(name)) {}
    void SetUp() override {
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) {
            qputenv("QT_QPA_PLATFORM", "offscreen");
        }
        argv_[0] = name_.data();
        app_ = std::make_unique<QApplication>(argc_, argv_);
    }
    void TearDown() override { app_.reset(); }

  private:
    std::string name_;
    // QApplication keeps references to both for its lifetime.
    int argc_ = 1;
    char* argv_[2] = {nullptr, nullptr};
    std::unique_ptr<QApplication> app_;
};

}  // namespace vesk::qttest
