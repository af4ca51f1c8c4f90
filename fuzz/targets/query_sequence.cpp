// The whole device-information query and write-back, answered by a fuzzed script of replies
// (any of which may fail as a dropped link would): every run ends with a result or an
// automation error, the mouse pointer back to normal and the progress display closed.
#include <cstdint>
#include <memory>
#include <string>

#include "components/comm/CommErrors.h"
#include "fuzz/support/FuzzSupport.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"

using namespace vesk;

namespace {

void CheckEnded(fuzz::FuzzHost& host, const char* what) {
    if (host.ui.pointer != kPointerDefault) {
        fuzz::Fail(std::string(what) + " left the mouse pointer at " +
                   std::to_string(host.ui.pointer));
    }
    int open = host.ui.progressCreated;
    for (const std::string& entry : host.ui.progressLog) {
        open -= entry == "Close" ? 1 : 0;
    }
    if (open > 0) {
        fuzz::Fail(std::string(what) + " left a progress display open");
    }
    host.ui.progressCreated = 0;
    host.ui.progressLog.clear();
    host.ui.boxes.clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input in(data, size);
    const uint8_t flags = in.Byte();
    const uint8_t failWriteAt = in.Byte();
    auto host = std::make_shared<fuzz::FuzzHost>();
    host->ui.cancelAtStep = flags & 0x40 ? flags % 24 : -1;
    while (!in.Empty()) {
        host->comm->script.push_back(in.Line());
    }
    auto unit = CVesk4710::Create(host);
    unit->InitializeCommunications();

    fuzz::Guard("QueryInfo", [&] { unit->QueryInfo(nullptr, flags & 1, false); });
    CheckEnded(*host, "QueryInfo");

    if (flags & 2) {
        unit->PasscodeState(PS_ENABLED);
        unit->AllowSetSerial(flags & 4);
    }
    if (failWriteAt != 0) {
        host->comm->FailAfter(failWriteAt % 40,
                              comm::CommError(comm::kCommTimeout, "scripted time-out"));
    }
    fuzz::Guard("UpdateInfo", [&] { unit->UpdateInfo(nullptr); });
    CheckEnded(*host, "UpdateInfo");

    for (int16_t c = 1; c <= unit->NumChannels() && c <= 4; ++c) {
        if (auto channel = unit->GetChannelReference(c)) {
            if (!fuzz::Guard("channel UpdateInfo", [&] { channel->UpdateInfo(); })) {
                fuzz::Fail("channel UpdateInfo raised instead of returning false");
            }
            CheckEnded(*host, "channel UpdateInfo");
        }
    }
    return 0;
}
