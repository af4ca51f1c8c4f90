#pragma once
// Environment variables set for one test, the old values put back afterwards.
#include <cstdlib>
#include <map>
#include <optional>
#include <string>

namespace vesk::test {

class EnvGuard {
  public:
    EnvGuard() = default;
    EnvGuard(const EnvGuard&) = delete;
    EnvGuard& operator=(const EnvGuard&) = delete;
    // A null value unsets the variable.
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
