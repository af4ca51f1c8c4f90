#include "vesk4710/support/Help.h"

#include <mutex>

#include "vesk4710/support/Paths.h"

namespace vesk {

namespace {

struct HelpSetting {
    std::mutex mutex;
    std::string path;
    bool set = false;
};

HelpSetting& Setting() {
    static HelpSetting setting;
    return setting;
}

}  // namespace

std::string HelpFile() {
    HelpSetting& s = Setting();
    std::lock_guard lock(s.mutex);
    if (!s.set) {
        s.path = LibraryFolder() + "/vesk4710-help.html";
        s.set = true;
    }
    return s.path;
}

void HelpFile(const std::string& path) {
    HelpSetting& s = Setting();
    std::lock_guard lock(s.mutex);
    s.path = path;
    s.set = true;
}

int32_t HelpOpenTopic(IUiServices& ui, int32_t topic) {
    ui.MousePointer(kPointerHourglass);
    int32_t result = ui.ShowHelp(HelpFile(), 1, topic);
    ui.MousePointer(kPointerDefault);
    return result;
}

}  // namespace vesk
