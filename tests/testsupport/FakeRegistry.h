#pragma once
// In-memory per-user settings that record every read, keyed by name or "subkey\name".
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
        std::string value;  // the default given
        std::string subkey;
    };

    std::string ReadValue(const std::string& name, int32_t section, int64_t rootKey,
                          const std::string& defaultValue,
                          const std::string& subkey = {}) override {
        reads.push_back({name, section, rootKey, defaultValue, subkey});
        auto it = values.find(Key(name, subkey));
        return it == values.end() ? defaultValue : it->second;
    }
    void WriteValue(const std::string& name, int32_t, int64_t, const std::string& value,
                    const std::string& subkey = {}) override {
        values[Key(name, subkey)] = value;
    }
    std::map<std::string, std::string> LoadFormState(const std::string& form) override {
        auto it = forms.find(form);
        return it == forms.end() ? std::map<std::string, std::string>{} : it->second;
    }
    void SaveFormState(const std::string& form,
                       const std::map<std::string, std::string>& state) override {
        forms[form] = state;
    }

    std::map<std::string, std::string> values;
    std::map<std::string, std::map<std::string, std::string>> forms;
    std::vector<Access> reads;

  private:
    static std::string Key(const std::string& name, const std::string& subkey) {
        return subkey.empty() ? name : subkey + "\\" + name;
    }
};

}  // namespace vesk::test
