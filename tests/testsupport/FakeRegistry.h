#pragma once
// In-memory per-user settings that record every access.
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "vesk4710/platform/IRegistry.h"

namespace vesk::test {

class FakeRegistry : public IRegistry {
  public:
    struct Access {
        std::string name;
        int32_t section;
        int64_t rootKey;
        std::string value;  // default for a read, value for a write
        std::string subkey;
    };

    std::string ReadValue(const std::string& name, int32_t section, int64_t rootKey,
                          const std::string& defaultValue, const std::string& subkey = {}) override;
    void WriteValue(const std::string& name, int32_t section, int64_t rootKey,
                    const std::string& value, const std::string& subkey = {}) override;
    std::map<std::string, std::string> LoadFormState(const std::string& form) override;
    void SaveFormState(const std::string& form,
                       const std::map<std::string, std::string>& state) override;

    // Keyed by name, or "subkey\name" when a subkey is given; section and root are recorded
    // in reads/writes only.
    static std::string Key(const std::string& name, const std::string& subkey);

    std::map<std::string, std::string> values;
    std::map<std::string, std::map<std::string, std::string>> forms;
    std::vector<Access> reads;
    std::vector<Access> writes;
};

}  // namespace vesk::test
