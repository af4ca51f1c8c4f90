#pragma once
// Per-user settings in one JSON file. Every read reloads the file, so
// several processes see each other's writes; every write is a locked read-modify-write that
// replaces the file atomically, so a crash never leaves half a file behind. A corrupt file
// is moved aside to "<file>.bad" and reads as empty.
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>

#include "vesk4710/platform/IRegistry.h"

namespace vesk {

class Registry : public IRegistry {
  public:
    // Empty path: $XDG_CONFIG_HOME/vesk4710/settings.json, else ~/.config/vesk4710/settings.json.
    static std::shared_ptr<Registry> Create(std::string path = {});
    static std::string DefaultPath();

    std::string ReadValue(const std::string& name, int32_t section, int64_t rootKey,
                          const std::string& defaultValue, const std::string& subkey = {}) override;
    void WriteValue(const std::string& name, int32_t section, int64_t rootKey,
                    const std::string& value, const std::string& subkey = {}) override;
    std::map<std::string, std::string> LoadFormState(const std::string& form) override;
    void SaveFormState(const std::string& form,
                       const std::map<std::string, std::string>& state) override;

    // Removes a value; no error when it is absent.
    void DeleteValue(const std::string& name, int32_t section, int64_t rootKey,
                     const std::string& subkey = {});

    const std::string& Path() const { return path_; }

  private:
    explicit Registry(std::string path);
    std::string path_;
    std::mutex mutex_;
};

}  // namespace vesk
