#pragma once
// Per-user settings: named values under the current user's part, and dialog form state.
#include <cstdint>
#include <map>
#include <string>

namespace vesk {

inline constexpr int64_t kHKeyCurrentUser = 0x80000001;

class IRegistry {
  public:
    virtual ~IRegistry() = default;
    virtual std::string ReadValue(const std::string& name, int32_t section, int64_t rootKey,
                                  const std::string& defaultValue,
                                  const std::string& subkey = {}) = 0;
    virtual void WriteValue(const std::string& name, int32_t section, int64_t rootKey,
                            const std::string& value, const std::string& subkey = {}) = 0;
    // Form state of a dialog (placement, last choices), saved on unload and restored on load.
    virtual std::map<std::string, std::string> LoadFormState(const std::string& form) = 0;
    virtual void SaveFormState(const std::string& form,
                               const std::map<std::string, std::string>& state) = 0;
};

}  // namespace vesk
