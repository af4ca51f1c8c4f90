#include "fuzz/support/FuzzSupport.h"

#include <cstdio>
#include <cstdlib>

#include "components/comm/CommErrors.h"
#include "vesk4710/support/RegistryKeys.h"

namespace vesk::fuzz {

ScriptedCommunications::ScriptedCommunications() {
    responder = [this](int32_t,
                       const std::map<std::string, std::string>&) -> std::optional<std::string> {
        std::string reply = fallback;
        if (!script.empty()) {
            reply = std::move(script.front());
            script.pop_front();
        }
        if (!reply.empty() && reply.front() == kFailMark) {
            throw comm::CommError(comm::kCommLinkDropped, "scripted failure");
        }
        return reply;
    };
}

FuzzHost::FuzzHost()
    : comm(std::make_shared<ScriptedCommunications>()),
      registry(std::make_shared<test::FakeRegistry>()) {
    // The shared file system's records would otherwise grow run after run.
    SharedFiles().created.clear();
    SharedFiles().deleted.clear();
    SharedFiles().bytesWritten = 0;
    registry->values[kRegDownloadFolder] =
        SharedFiles().GetSpecialFolder(SpecialFolder::Documents) + "/downloads";
}

test::FakeFileSystem& FuzzHost::SharedFiles() {
    // Removed at exit, the way libFuzzer ends a run; a crash leaves it for inspection.
    static test::FakeFileSystem* files = [] {
        auto* made = new test::FakeFileSystem();
        std::atexit([] { delete &SharedFiles(); });
        return made;
    }();
    return *files;
}

void Fail(const std::string& what) {
    std::fprintf(stderr, "fuzz: %s\n", what.c_str());
    std::fflush(stderr);
    std::abort();
}

}  // namespace vesk::fuzz
