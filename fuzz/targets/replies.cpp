// Every reply the instrument object and its channels parse, and the whole device-information
// query and write-back, each driven by fuzzed reply text (any of which may fail as a dropped
// link would): a reply is parsed or refused with an automation error, a refused single-setting
// read leaves its cached value as it was, and every call ends with the mouse pointer back to
// normal and no progress display left open.
#include <algorithm>
#include <functional>

#include "fuzz/support/FuzzSupport.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/platform/IProbe.h"

using namespace vesk;

namespace {

std::string Snapshot(CVesk4710& u) {
    std::string s;
    for (const double v :
         {double(u.Units()), double(u.Interval()), double(u.ScanMode()), double(u.DemandLogCount()),
          double(u.DemandLogPoints()), double(u.PasscodeState()), double(u.ProtectConversion()),
          double(u.AutoPower()), double(u.NumChannels()), double(u.NumModules()),
          u.CalDate().Serial(), double(u.Firmware())}) {
        s += std::to_string(v) + '|';
    }
    return s + u.ScanChannels() + '|' + u.ModuleList() + '|' + u.Identification() + '|' +
           u.Model() + '|' + u.Serial();
}

std::string Snapshot(CVesk4710Channel& c) {
    std::string s;
    for (const double v :
         {double(c.Resolution()), c.CalDate().Serial(), double(c.ProbeLock()), double(c.RJCType()),
          c.RJCTemperature(), double(c.MINOP()), double(c.MAXOP())}) {
        s += std::to_string(v) + '|';
    }
    return c.Probe() ? s + c.Probe()->Serial() : s;
}

struct Op {
    const char* name;
    bool single;  // one setting read: a refusal must leave the cache untouched
    std::function<void(CVesk4710&, uint8_t)> run;
};

const Op kInstrumentOps[] = {
    {"QueryUnits", true, [](CVesk4710& u, uint8_t) { u.QueryUnits(); }},
    {"QueryInterval", true, [](CVesk4710& u, uint8_t) { u.QueryInterval(); }},
    {"QueryScanChannelList", true, [](CVesk4710& u, uint8_t) { u.QueryScanChannelList(); }},
    {"QueryScanMode", true, [](CVesk4710& u, uint8_t) { u.QueryScanMode(); }},
    {"QueryDemandLogStatus", true, [](CVesk4710& u, uint8_t) { u.QueryDemandLogStatus(); }},
    {"QueryProtectConversion", true, [](CVesk4710& u, uint8_t) { u.QueryProtectConversion(); }},
    {"QueryPasscodeState", true, [](CVesk4710& u, uint8_t) { u.QueryPasscodeState(); }},
    {"QueryAutoPower", true, [](CVesk4710& u, uint8_t) { u.QueryAutoPower(); }},
    {"QueryNumChannels", true, [](CVesk4710& u, uint8_t) { u.QueryNumChannels(); }},
    {"QueryNumModules", true, [](CVesk4710& u, uint8_t) { u.QueryNumModules(); }},
    {"QueryModuleList", true, [](CVesk4710& u, uint8_t) { u.QueryModuleList(); }},
    {"QueryCalibrationDate", true, [](CVesk4710& u, uint8_t) { u.QueryCalibrationDate(); }},
    {"QueryIdentification", true, [](CVesk4710& u, uint8_t) { u.QueryIdentification(); }},
    {"QueryChannelState", false,
     [](CVesk4710& u, uint8_t arg) { u.QueryChannelState(static_cast<int16_t>(arg % 4)); }},
    {"QueryMeasurement", false,
     [](CVesk4710& u, uint8_t arg) {
         u.Units(arg & 0x80 ? UNITS_RAW_VALUE : UNITS_DEGREESC);
         u.QueryMeasurement(static_cast<int16_t>(arg % 4));
     }},
    {"QueryLoggingLabel", false,
     [](CVesk4710& u, uint8_t) {
         std::string label;
         u.QueryLoggingLabel(label);
     }},
    {"QueryPasscodeProtection", false, [](CVesk4710& u, uint8_t) { u.QueryPasscodeProtection(); }},
    {"FillCalibrationGrid", false,
     [](CVesk4710& u, uint8_t) { u.FillCalibrationGrid(u.CalibrationGrid()); }},
    {"QueryChannelInfo", false, [](CVesk4710& u, uint8_t) { u.QueryChannelInfo(); }},
    {"QueryInfo", false, [](CVesk4710& u, uint8_t arg) { u.QueryInfo(nullptr, arg & 1, false); }},
    {"UpdateInfo", false,
     [](CVesk4710& u, uint8_t arg) {
         if (arg & 2) {
             u.PasscodeState(PS_ENABLED);
             u.AllowSetSerial(arg & 4);
         }
         u.UpdateInfo(nullptr);
     }},
};

struct ChannelOp {
    const char* name;
    bool single;
    std::function<bool(CVesk4710Channel&, uint8_t)> run;
};

const ChannelOp kChannelOps[] = {
    {"QuerySerialNumber", true, [](CVesk4710Channel& c, uint8_t) { return c.QuerySerialNumber(); }},
    {"QueryCalDate", true, [](CVesk4710Channel& c, uint8_t) { return c.QueryCalDate(); }},
    {"QueryResolution", true, [](CVesk4710Channel& c, uint8_t) { return c.QueryResolution(); }},
    {"QueryProbeLock", true, [](CVesk4710Channel& c, uint8_t) { return c.QueryProbeLock(); }},
    {"QueryRJCType", true, [](CVesk4710Channel& c, uint8_t) { return c.QueryRJCType(); }},
    {"QueryExternalRJCTemperature", true,
     [](CVesk4710Channel& c, uint8_t) { return c.QueryExternalRJCTemperature(); }},
    {"QueryMINOP", true, [](CVesk4710Channel& c, uint8_t) { return c.QueryMINOP(); }},
    {"QueryMAXOP", true, [](CVesk4710Channel& c, uint8_t) { return c.QueryMAXOP(); }},
    {"QueryConversionType", false,
     [](CVesk4710Channel& c, uint8_t) { return c.QueryConversionType(); }},
    {"QueryCoefficient", false,
     [](CVesk4710Channel& c, uint8_t arg) {
         double value = 0;
         return c.QueryCoefficient(arg % 2 ? "RTPW" : "C0", value);
     }},
    {"SetConversionType", false,
     [](CVesk4710Channel& c, uint8_t arg) {
         return c.SetConversionType(static_cast<int32_t>(arg % 24) - 2, arg / 24);
     }},
    {"QueryInfo", false, [](CVesk4710Channel& c, uint8_t) { return c.QueryInfo(); }},
    {"UpdateInfo", false, [](CVesk4710Channel& c, uint8_t) { return c.UpdateInfo(); }},
};

void CheckEnded(fuzz::FuzzHost& host, const std::string& what) {
    if (host.ui.pointer != kPointerDefault) {
        fuzz::Fail(what + " left the mouse pointer at " + std::to_string(host.ui.pointer));
    }
    if (host.ui.progressCreated >
        std::count(host.ui.progressLog.begin(), host.ui.progressLog.end(), "Close")) {
        fuzz::Fail(what + " left a progress display open");
    }
    host.ui.progressCreated = 0;
    host.ui.progressLog.clear();
    host.ui.boxes.clear();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    fuzz::Input in(data, size);
    auto host = std::make_shared<fuzz::FuzzHost>();
    auto unit = CVesk4710::Create(host);
    unit->InitializeCommunications();
    // The simulator's topology: two modules of one channel each.
    host->comm->script = {"2", "2"};
    unit->QueryNumChannels();
    unit->QueryNumModules();

    while (!in.Empty()) {
        const uint8_t selector = in.Byte();
        const uint8_t arg = in.Byte();
        // Tab-separated replies answer the reads in turn; the last answers the rest.
        std::string replies = in.Line();
        host->comm->script.clear();
        for (size_t tab; (tab = replies.find('\t')) != std::string::npos;
             replies.erase(0, tab + 1)) {
            host->comm->script.push_back(replies.substr(0, tab));
        }
        host->comm->fallback = replies;
        host->ui.cancelAtStep = arg & 0x40 ? arg % 24 : -1;
        host->ui.progressChecks = 0;
        constexpr size_t kInstrument = std::size(kInstrumentOps);
        const size_t index = selector % (kInstrument + std::size(kChannelOps));
        if (index < kInstrument) {
            const Op& op = kInstrumentOps[index];
            const std::string before = Snapshot(*unit);
            if (!fuzz::Guard(op.name, [&] { op.run(*unit, arg); }) && op.single &&
                Snapshot(*unit) != before) {
                fuzz::Fail(std::string(op.name) + " failed but changed the cached settings");
            }
            CheckEnded(*host, op.name);
            continue;
        }
        const ChannelOp& op = kChannelOps[index - kInstrument];
        auto channel = unit->GetChannelReference(static_cast<int16_t>(1 + arg % 2));
        if (!channel) {
            continue;
        }
        const std::string before = Snapshot(*channel);
        bool ok = false;
        if (!fuzz::Guard(op.name, [&] { ok = op.run(*channel, arg); })) {
            fuzz::Fail(std::string("channel ") + op.name + " raised instead of returning false");
        }
        if (!ok && op.single && Snapshot(*channel) != before) {
            fuzz::Fail(std::string("channel ") + op.name + " failed but changed the channel");
        }
        CheckEnded(*host, std::string("channel ") + op.name);
    }
    return 0;
}
