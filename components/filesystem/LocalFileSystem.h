#pragma once
// The real file system. Text files are buffered and report write failures (a full disk, a
// vanished device) as AutomationError at the Write or Close that meets them.
#include <memory>
#include <string>

#include "vesk4710/platform/IFileSystem.h"

namespace vesk {

class LocalFileSystem : public IFileSystem {
  public:
    // Temporary: $TMPDIR or /tmp. Library: the folder of the loaded library. System: /usr/lib.
    // Documents: $XDG_DOCUMENTS_DIR, else ~/Documents when it exists, else the home folder.
    // Config and State: $XDG_CONFIG_HOME / $XDG_STATE_HOME or their ~/.config, ~/.local/state
    // defaults.
    std::string GetSpecialFolder(SpecialFolder which) override;
    std::string BuildPath(const std::string& folder, const std::string& name) override;
    bool FileExists(const std::string& path) override;
    void DeleteFile(const std::string& path) override;
    bool RenameFile(const std::string& from, const std::string& to) override;
    std::unique_ptr<ITextFile> CreateTextFile(const std::string& path) override;
};

}  // namespace vesk
