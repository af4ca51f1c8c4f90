#pragma once
// Helpers shared by the component tests.
#include <gtest/gtest.h>

#include <cstdlib>
#include <map>
#include <optional>
#include <string>

#include "tests/testsupport/Raised.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk::test {

// Sets environment variables for one test and puts the old values back.
class EnvGuard {
  public:
    void Set(const char* name, const char* value) {
        if (!saved_.count(name)) {
            const char* old = std::getenv(name);
            saved_[name] = old ? std::optional<std::string>(old) : std::nullopt;
        }
        value ? ::setenv(name, value, 1) : ::unsetenv(name);
    }
    ~EnvGuard() {
        for (const auto& [name, value] : saved_) {
            value ? ::setenv(name.c_str(), value->c_str(), 1) : ::unsetenv(name.c_str());
        }
    }

  private:
    std::map<std::string, std::optional<std::string>> saved_;
};

}  // namespace vesk::test
