// Every operation that talks to the instrument at length, with every fault a line can suffer
// injected by the simulator at each of its requests in turn. After each fault the caller gets the
// promised error or message, no cached value holds part of a reply, the instrument is locked
// again, earlier download files are intact, and the same object then repeats the operation.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <initializer_list>
#include <map>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "components/comm/CommErrors.h"
#include "components/probes/TemperatureMath.h"
#include "components/splitter/TextSplitter.h"
#include "tests/robustness/SimulatedLab.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/logging/LogDownload.h"
#include "vesk4710/platform/IProbe.h"
#include "vesk4710/platform/SettingIds.h"
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::test {
namespace {

namespace fs = std::filesystem;
using sim::FaultKind;

constexpr int32_t kTimeoutMs = 30;
constexpr int32_t kSimErrorCode = 5;

enum class Op { QueryInfo, UpdateInfo, ChannelQuery, ChannelUpdate, Measurement, Download };

struct Operation {
    Op op;
    int16_t channel;
    const char* name;
    bool (*run)(CVesk4710&, int16_t channel);
};

bool QueryChannel(CVesk4710& u, int16_t c) {
    return u.GetChannelReference(c)->QueryInfo();
}
bool UpdateChannel(CVesk4710& u, int16_t c) {
    return u.GetChannelReference(c)->UpdateInfo();
}

const Operation kOperations[] = {
    {Op::QueryInfo, 0, "QueryInfo", [](CVesk4710& u, int16_t) { return u.QueryInfo(); }},
    {Op::UpdateInfo, 0, "UpdateInfo", [](CVesk4710& u, int16_t) { return u.UpdateInfo(); }},
    {Op::ChannelQuery, 1, "channel 1 QueryInfo", QueryChannel},
    {Op::ChannelUpdate, 1, "channel 1 UpdateInfo", UpdateChannel},
    {Op::ChannelQuery, 2, "channel 2 QueryInfo", QueryChannel},
    {Op::ChannelUpdate, 2, "channel 2 UpdateInfo", UpdateChannel},
    {Op::Measurement, 1, "QueryMeasurement",
     [](CVesk4710& u, int16_t c) {
         u.QueryMeasurement(c);
         return true;
     }},
    {Op::Download, 0, "DownloadLog",
     [](CVesk4710& u, int16_t) {
         auto lines = TextSplitter::Create();
         auto fields = TextSplitter::Create();
         return u.DownloadLog(*lines, *fields);
     }},
};

// A request as the I/O trace recorded it in the clean run.
struct Request {
    int32_t id = 0;
    std::string params;
};

struct Outcome {
    bool threw = false;
    std::optional<AutomationError> error;
    bool result = false;
    std::vector<FakeUi::Box> boxes;  // shown during the run
};

using Snapshot = std::map<std::string, std::string>;

// Answers every question no: nothing is changed on a guess.
class MatrixUi : public FakeUi {
  public:
    int32_t MessageBox(const std::string& prompt, int32_t style, const std::string& caption,
                       const std::string& helpFile, int32_t helpContext) override {
        FakeUi::MessageBox(prompt, style, caption, helpFile, helpContext);
        const int32_t buttons = style & 7;
        return buttons == 3 || buttons == 4 ? kAnsNo : kAnsOk;
    }
};

int32_t ExpectedNumber(FaultKind kind) {
    switch (kind) {
        case FaultKind::kGarbage:
            return comm::kCommMalformedReply;
        case FaultKind::kDropLink:
            return comm::kCommLinkDropped;
        case FaultKind::kErrorReply:
            return comm::kCommInstrumentErrorBase + kSimErrorCode;
        default:
            return comm::kCommTimeout;  // delayed past the time-out, or no (end of the) reply
    }
}

bool AnyBoxHas(const Outcome& out, const std::string& text) {
    return std::any_of(out.boxes.begin(), out.boxes.end(), [&](const FakeUi::Box& b) {
        return b.prompt.find(text) != std::string::npos;
    });
}

bool IsChannelOp(const Operation& op) {
    return op.op == Op::ChannelQuery || op.op == Op::ChannelUpdate;
}

class FaultMatrix : public ::testing::Test {
  protected:
    void Restart() {
        lab_.instrument->ClearFaults();
        lab_.instrument->Reset();
    }

    std::shared_ptr<CVesk4710> Fresh(const Operation& op) {
        Restart();
        auto unit = lab_.Open(op.op != Op::QueryInfo);
        if (IsChannelOp(op)) {
            EXPECT_TRUE(unit->GetChannelReference(op.channel)->QueryInfo());
        }
        return unit;
    }

    // The passcode for the protected write-backs, and something to write.
    void Prepare(const Operation& op, CVesk4710& unit) {
        if (op.op == Op::UpdateInfo || op.op == Op::ChannelUpdate) {
            ui_->passcodes.push_back({"1234", true});
            ASSERT_TRUE(unit.ValidatePasscode(nullptr));
        }
        if (op.op == Op::UpdateInfo) {
            unit.CalDate(Date::FromYMD(2024, 6, 1));
            unit.AutoPower(true);
        }
        if (op.op == Op::ChannelUpdate) {
            unit.GetChannelReference(op.channel)->MAXOP(420);
        }
    }

    // Values a query must replace, so that a half-done one shows which it reached.
    void Stale(const Operation& op, CVesk4710& unit) {
        if (op.op == Op::QueryInfo) {
            unit.Units(UNITS_DEGREESF);
            unit.AutoPower(true);
            unit.CalDate(Date::FromYMD(1999, 9, 9));
            unit.Serial("STALE");
            unit.PasscodeState(PS_ENABLED);
            unit.ProtectConversion(false);
        } else if (op.op == Op::ChannelQuery) {
            auto ch = unit.GetChannelReference(op.channel);
            ch->Resolution(2);
            ch->CalDate(Date::FromYMD(1999, 9, 9));
            ch->ProbeLock(!ch->ProbeLock());
            ch->MINOP(7);
            ch->MAXOP(77);
            if (ch->Probe()->ConversionType() == 20) {
                ch->RJCTemperature(12.5);  // read for thermocouples only
            }
            ch->Probe()->Serial("STALE");
        }
    }

    // The cached values, read as a late-bound client reads them.
    static void Read(Snapshot& s, IDispatchable& object, std::initializer_list<const char*> names) {
        for (const char* name : names) {
            std::vector<Variant> none;
            s[name] = object.Invoke(name, MemberKind::Get, none).AsString();
        }
    }

    Snapshot Snap(const Operation& op, CVesk4710& u) {
        Snapshot s;
        if (IsChannelOp(op)) {
            auto ch = u.GetChannelReference(op.channel);
            auto probe = ch->Probe();
            Read(s, *ch,
                 {"Resolution", "CalDate", "ProbeLock", "RJCType", "RJCTemperature", "MINOP",
                  "MAXOP", "ProbeType"});
            s["Serial"] = probe->Serial();
            s["ConversionType"] = std::to_string(probe->ConversionType());
            const auto active =
                probes::SpecFrom(probe->ActiveConversion(), probe->ConversionType());
            std::string& coefficients = s["Coefficients"] = NumberText(active.rtpw);
            for (const auto* list : {&active.coefficients, &active.low, &active.high}) {
                for (double c : *list) {
                    coefficients += " " + NumberText(c);
                }
            }
            return s;
        }
        Read(s, u,
             {"Identification", "Model", "Serial", "Firmware", "Units", "AutoPower", "CalDate",
              "PasscodeState", "ProtectConversion", "NumChannels", "NumModules", "DemandLogCount"});
        s["ModuleList"] = u.ModuleList();
        // Cell by cell: a query that stops part way keeps the points it read.
        const auto& g = u.CalibrationGrid();
        for (int32_t r = 0; r < g.Rows(); ++r) {
            for (int32_t c = 0; c < g.Cols(); ++c) {
                s["Grid " + std::to_string(r) + "," + std::to_string(c)] = g.TextMatrix(r, c);
            }
        }
        for (int16_t c = 1; c <= u.NumChannels(); ++c) {
            if (auto ch = u.GetChannelReference(c)) {
                s["Probe" + std::to_string(c)] = ch->Probe()->Serial();
            }
        }
        return s;
    }

    Outcome Run(const Operation& op, CVesk4710& unit) {
        Outcome out;
        const size_t boxes = ui_->boxes.size();
        try {
            out.result = op.run(unit, op.channel);
        } catch (const AutomationError& e) {
            out.threw = true;
            out.error = e;
        }
        out.boxes.assign(ui_->boxes.begin() + static_cast<std::ptrdiff_t>(boxes), ui_->boxes.end());
        return out;
    }

    // The requests of a clean run, from the trace it leaves.
    std::vector<Request> TracedSince(size_t offset) {
        std::vector<Request> requests;
        std::istringstream in(lab_.Trace().substr(offset));
        std::string time;
        std::string id;
        std::string params;
        std::string rest;
        while (std::getline(in, time, '\t') && std::getline(in, id, '\t') &&
               std::getline(in, params, '\t') && std::getline(in, rest)) {
            requests.push_back({std::stoi(id), params});
        }
        return requests;
    }

    std::map<std::string, std::string> DownloadFiles() {
        std::map<std::string, std::string> files;
        std::error_code ec;
        for (const auto& e : fs::directory_iterator(lab_.downloads, ec)) {
            files[e.path().filename().string()] = FakeFileSystem::ReadFile(e.path());
        }
        return files;
    }

    // Renames a download's files "earlier-..." out of the way of the next name, or removes them.
    void SweepNewFiles(bool keepAsEarlier) {
        std::error_code ec;
        for (const auto& e : fs::directory_iterator(lab_.downloads, ec)) {
            const std::string name = e.path().filename().string();
            if (name.rfind("earlier-", 0) == 0) {
                continue;
            }
            if (keepAsEarlier) {
                fs::rename(e.path(), e.path().parent_path() / ("earlier-" + name));
            } else {
                fs::remove(e.path());
            }
        }
    }

    void ExpectPromise(const Operation& op, FaultKind kind, const Request& request,
                       const Outcome& out, CVesk4710& unit);

    std::shared_ptr<MatrixUi> ui_ = std::make_shared<MatrixUi>();
    SimulatedLab lab_{71, kTimeoutMs, ui_};
};

// What the library promises for this fault at this request.
void FaultMatrix::ExpectPromise(const Operation& op, FaultKind kind, const Request& request,
                                const Outcome& out, CVesk4710& unit) {
    const int32_t number = ExpectedNumber(kind);
    const std::string numberText = std::to_string(number);
    const auto raised = [&](const std::string& member) {
        EXPECT_TRUE(out.threw) << "no error was raised";
        if (out.error) {
            EXPECT_EQ(out.error->Number(), number) << out.error->Description();
            EXPECT_EQ(out.error->Source(), "CVesk4710 - " + member);
            EXPECT_EQ(out.error->HelpContext(), unit.DVCICommError());
        }
    };
    // MINOP and MAXOP reads are lenient on purpose: their failure does not stop the channel.
    const bool lenientRead =
        request.id == SET_PARAMETER_READ && (request.params.find("MINOP") != std::string::npos ||
                                             request.params.find("MAXOP") != std::string::npos);
    // A lost relock is tried once more; when that locks, the write-back kept its promise.
    const bool retriedRelock = request.id == SET_PASSCODE_LOCK && out.result;
    switch (op.op) {
        case Op::QueryInfo:
            if (request.id == SET_PROBE_SERIAL_READ) {
                // A probe serial is the channel's to report; the query goes on.
                EXPECT_TRUE(!out.threw && out.result) << "the query stopped at a channel's report";
                EXPECT_TRUE(AnyBoxHas(out, numberText)) << "the channel did not report it";
            } else {
                raised("QueryInfo");
            }
            break;
        case Op::UpdateInfo:
            if (!retriedRelock) {
                raised("UpdateInfo");
            }
            break;
        case Op::Measurement:
            raised("QueryMeasurement");
            if (out.error) {
                EXPECT_EQ(out.error->Description(), LoadResString(219));
            }
            break;
        case Op::ChannelQuery:
        case Op::ChannelUpdate:
            EXPECT_FALSE(out.threw) << "the channel raised instead of reporting";
            if (lenientRead) {
                EXPECT_TRUE(out.result) << "a failed MINOP/MAXOP read stopped the channel";
            } else if (!retriedRelock) {
                EXPECT_FALSE(out.result) << "the channel operation claimed success";
                EXPECT_TRUE(AnyBoxHas(out, numberText) || AnyBoxHas(out, "Failed to successfully"))
                    << "nothing told the user";
            }
            break;
        case Op::Download:
            if (request.id != SET_TRANSFER_ALL && request.id != SET_TRANSFER_LABEL) {
                // The reading count is unknown: nothing is transferred.
                EXPECT_TRUE(AnyBoxHas(out, LoadResString(337))) << "message 337 was not shown";
            } else {
                EXPECT_FALSE(out.result) << "a failed transfer was reported as success";
                const int32_t told = kind == FaultKind::kEndEarly ? kErrTransferEndedEarly : number;
                EXPECT_TRUE(AnyBoxHas(out, std::to_string(told))) << told << " was not reported";
            }
            break;
    }
}

TEST_F(FaultMatrix, EveryFaultAtEveryRequestKeepsThePromises) {
    for (const Operation& op : kOperations) {
        // The clean run: its requests, and what the object holds after it.
        auto unit = Fresh(op);
        Prepare(op, *unit);
        if (op.op == Op::Download) {
            ASSERT_TRUE(Run(op, *unit).result);
            SweepNewFiles(true);
        }
        const size_t traced = lab_.Trace().size();
        const uint64_t first = lab_.instrument->RequestCount();
        const Outcome clean = Run(op, *unit);
        ASSERT_TRUE(clean.result && !clean.threw) << op.name << ": the clean run failed";
        const auto requests = TracedSince(traced);
        ASSERT_EQ(requests.size(), lab_.instrument->RequestCount() - first) << op.name;
        ASSERT_FALSE(requests.empty()) << op.name;
        const Snapshot baseline = Snap(op, *unit);
        SweepNewFiles(false);

        for (FaultKind kind :
             {FaultKind::kDelay, FaultKind::kNoReply, FaultKind::kGarbage, FaultKind::kDropLink,
              FaultKind::kErrorReply, FaultKind::kEndEarly}) {
            for (size_t k = 0; k < requests.size(); ++k) {
                SCOPED_TRACE(std::string(op.name) + ", " + std::string(sim::FaultKindName(kind)) +
                             " at request " + std::to_string(k + 1) + " (setting " +
                             std::to_string(requests[k].id) + " " + requests[k].params + ")");
                Restart();
                Prepare(op, *unit);
                Stale(op, *unit);
                const Snapshot before = Snap(op, *unit);
                const auto earlier = DownloadFiles();

                sim::Fault fault;
                fault.kind = kind;
                fault.atRequest = lab_.instrument->RequestCount() + 1 + k;
                fault.delayMs = 1000 * kTimeoutMs;  // the next request ends the delay
                fault.linesBeforeEnd = 5;
                fault.errorCode = kSimErrorCode;
                lab_.instrument->InjectFault(fault);
                const Outcome out = Run(op, *unit);
                EXPECT_EQ(lab_.instrument->PendingFaults(), 0u) << "the fault was never reached";
                ExpectPromise(op, kind, requests[k], out, *unit);

                // Every cached value is the one before or the instrument's: never a part.
                for (const auto& [key, value] : Snap(op, *unit)) {
                    // (The module count rebuilds the channels: a new one has no serial yet.)
                    const bool fresh = key.rfind("Probe", 0) == 0 && value.empty();
                    const auto was = [&](const Snapshot& s) {
                        return s.count(key) != 0 && s.at(key) == value;
                    };
                    EXPECT_TRUE(was(before) || was(baseline) || fresh) << key << " holds " << value;
                }
                EXPECT_FALSE(lab_.instrument->Unlocked()) << "the instrument was left unlocked";
                for (const auto& [name, text] : earlier) {
                    EXPECT_EQ(DownloadFiles()[name], text) << "the earlier file " << name;
                }
                SweepNewFiles(false);

                // The same object does it again, cleanly, and ends as the clean run did.
                Restart();
                Prepare(op, *unit);
                const Outcome again = Run(op, *unit);
                EXPECT_TRUE(again.result && !again.threw) << "the next call failed";
                EXPECT_EQ(Snap(op, *unit), baseline) << "the next call did not restore the object";
                EXPECT_FALSE(lab_.instrument->Unlocked()) << "the next call left it unlocked";
                SweepNewFiles(false);
                if (HasFailure()) {
                    unit = Fresh(op);  // a broken object would spoil the cells after it
                }
            }
        }
    }
}

}  // namespace
}  // namespace vesk::test
