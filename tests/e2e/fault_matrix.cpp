// The fault matrix: every operation that talks to the instrument at length, with every fault a
// line can suffer injected by the simulator at each of the operation's requests in turn.
// After each fault the caller gets the error or message the library promises, no cached value
// holds part of a reply, the instrument is locked again, earlier download files are intact,
// and the same object then repeats the operation cleanly. (What an early end leaves in the
// files is the download's own test.)
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
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
#include "vesk4710/support/NumberText.h"
#include "vesk4710/support/StringTable.h"

namespace vesk::test {
namespace {

namespace fs = std::filesystem;
using sim::FaultKind;

constexpr int32_t kTimeoutMs = 30;
// Late for the time-out by far; the next request ends the delay.
constexpr int32_t kDelayMs = 1000 * kTimeoutMs;
constexpr int32_t kLinesBeforeEnd = 5;
constexpr int32_t kSimErrorCode = 5;
constexpr const char* kPasscode = "1234";

constexpr FaultKind kKinds[] = {FaultKind::kDelay,    FaultKind::kNoReply,    FaultKind::kGarbage,
                                FaultKind::kDropLink, FaultKind::kErrorReply, FaultKind::kEndEarly};

enum class Op { QueryInfo, UpdateInfo, ChannelQuery, ChannelUpdate, Measurement, Download };

struct Operation {
    Op op;
    int16_t channel;  // channel operations
    const char* name;
};

const Operation kOperations[] = {
    {Op::QueryInfo, 0, "QueryInfo"},
    {Op::UpdateInfo, 0, "UpdateInfo"},
    {Op::ChannelQuery, 1, "channel 1 QueryInfo"},
    {Op::ChannelUpdate, 1, "channel 1 UpdateInfo"},
    {Op::ChannelQuery, 2, "channel 2 QueryInfo"},
    {Op::ChannelUpdate, 2, "channel 2 UpdateInfo"},
    {Op::Measurement, 1, "QueryMeasurement"},
    {Op::Download, 0, "DownloadLog"},
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
    double value = 0;
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

std::string Num(int32_t n) {
    return NumberText(static_cast<int64_t>(n));
}

// The error number a fault at a request must produce.
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

class FaultMatrix : public ::testing::Test {
  protected:
    FaultMatrix() : ui_(std::make_shared<MatrixUi>()), lab_(71, kTimeoutMs, ui_) {}

    void Restart() {
        lab_.instrument->ClearFaults();
        lab_.instrument->Reset();
    }

    std::shared_ptr<CVesk4710> Fresh(const Operation& op) {
        Restart();
        auto unit = lab_.Open(op.op != Op::QueryInfo);
        if (op.op == Op::ChannelQuery || op.op == Op::ChannelUpdate) {
            EXPECT_TRUE(unit->GetChannelReference(op.channel)->QueryInfo());
        }
        return unit;
    }

    // What each run needs beforehand: the passcode for the protected write-backs, something to
    // write, an earlier download file to keep.
    void Prepare(const Operation& op, CVesk4710& unit) {
        if (op.op == Op::UpdateInfo || op.op == Op::ChannelUpdate) {
            ui_->passcodes.push_back({kPasscode, true});
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
        if (op.op == Op::ChannelQuery || op.op == Op::ChannelUpdate) {
            auto ch = u.GetChannelReference(op.channel);
            auto probe = ch->Probe();
            Read(s, *ch,
                 {"Resolution", "CalDate", "ProbeLock", "RJCType", "RJCTemperature", "MINOP",
                  "MAXOP", "ProbeType"});
            s["Serial"] = probe->Serial();
            s["ConversionType"] = Num(probe->ConversionType());
            const auto active =
                probes::SpecFrom(probe->ActiveConversion(), probe->ConversionType());
            std::string coefficients = NumberText(active.rtpw);
            for (const auto* list : {&active.coefficients, &active.low, &active.high}) {
                for (double c : *list) {
                    coefficients += " " + NumberText(c);
                }
            }
            s["Coefficients"] = coefficients;
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
                s["Grid " + Num(r) + "," + Num(c)] = g.TextMatrix(r, c);
            }
        }
        for (int16_t c = 1; c <= u.NumChannels(); ++c) {
            if (auto ch = u.GetChannelReference(c)) {
                s["Probe" + Num(c)] = ch->Probe()->Serial();
            }
        }
        return s;
    }

    Outcome Run(const Operation& op, CVesk4710& unit) {
        Outcome out;
        const size_t boxes = ui_->boxes.size();
        try {
            switch (op.op) {
                case Op::QueryInfo:
                    out.result = unit.QueryInfo();
                    break;
                case Op::UpdateInfo:
                    out.result = unit.UpdateInfo();
                    break;
                case Op::ChannelQuery:
                    out.result = unit.GetChannelReference(op.channel)->QueryInfo();
                    break;
                case Op::ChannelUpdate:
                    out.result = unit.GetChannelReference(op.channel)->UpdateInfo();
                    break;
                case Op::Measurement:
                    out.value = unit.QueryMeasurement(op.channel);
                    out.result = true;
                    break;
                case Op::Download: {
                    auto lines = TextSplitter::Create();
                    auto fields = TextSplitter::Create();
                    out.result = unit.DownloadLog(*lines, *fields);
                    break;
                }
            }
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
        for (std::string line; std::getline(in, line);) {
            std::vector<std::string> parts;
            std::istringstream fields(line);
            for (std::string f; std::getline(fields, f, '\t');) {
                parts.push_back(f);
            }
            if (parts.size() >= 3) {
                requests.push_back({std::stoi(parts[1]), parts[2]});
            }
        }
        return requests;
    }

    std::map<std::string, std::string> DownloadFiles() {
        std::map<std::string, std::string> files;
        std::error_code ec;
        for (const auto& e : fs::directory_iterator(lab_.downloads, ec)) {
            files[e.path().filename().string()] = ReadFileText(e.path());
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

    // What the library promises for this fault at this request; empty when it kept it.
    std::vector<std::string> CheckPromise(const Operation& op, FaultKind kind,
                                          const Request& request, const Outcome& out,
                                          CVesk4710& unit);

    std::shared_ptr<MatrixUi> ui_;
    SimulatedLab lab_;
};

bool AnyBoxHas(const Outcome& out, const std::string& text) {
    return std::any_of(out.boxes.begin(), out.boxes.end(), [&](const FakeUi::Box& b) {
        return b.prompt.find(text) != std::string::npos;
    });
}

std::vector<std::string> FaultMatrix::CheckPromise(const Operation& op, FaultKind kind,
                                                   const Request& request, const Outcome& out,
                                                   CVesk4710& unit) {
    std::vector<std::string> broken;
    const auto expect = [&](bool ok, const std::string& what) {
        if (!ok) {
            broken.push_back(what);
        }
    };
    const int32_t number = ExpectedNumber(kind);
    const std::string numberText = Num(number);
    const auto raised = [&](const std::string& member) {
        expect(out.threw, "no error was raised");
        if (out.error) {
            expect(out.error->Number() == number, "error " + Num(out.error->Number()) +
                                                      " instead of " + numberText + " (" +
                                                      out.error->Description() + ")");
            expect(out.error->Source() == "CVesk4710 - " + member,
                   "error source '" + out.error->Source() + "'");
            expect(out.error->HelpContext() == unit.DVCICommError(), "help context");
        }
    };
    // MINOP and MAXOP reads are lenient on purpose: their failure does not stop the channel.
    const bool lenientRead =
        request.id == 134 && (request.params.find("MINOP") != std::string::npos ||
                              request.params.find("MAXOP") != std::string::npos);
    // A lost relock is tried once more; when that locks the instrument the write-back has done
    // everything it promised.
    const bool retriedRelock = request.id == 4 && out.result;
    switch (op.op) {
        case Op::QueryInfo:
            if (request.id == 122) {
                // A probe serial is the channel's to report; the query goes on.
                expect(!out.threw && out.result, "the query did not go on past a channel's report");
                expect(AnyBoxHas(out, numberText),
                       "the channel did not report error " + numberText);
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
                expect(out.error->Description() == LoadResString(219), "description");
            }
            break;
        case Op::ChannelQuery:
        case Op::ChannelUpdate:
            expect(!out.threw, "the channel raised instead of reporting");
            if (lenientRead) {
                expect(out.result, "a failed MINOP/MAXOP read stopped the channel");
            } else if (retriedRelock) {
                // Locked again is checked below with every other cell.
            } else {
                expect(!out.result, "the channel operation claimed success");
                expect(AnyBoxHas(out, numberText) || AnyBoxHas(out, "Failed to successfully"),
                       "nothing told the user");
            }
            break;
        case Op::Download:
            if (request.id != 278 && request.id != 279) {
                // The reading count is unknown: nothing is transferred.
                expect(AnyBoxHas(out, LoadResString(337)), "message 337 was not shown");
            } else if (kind == FaultKind::kEndEarly) {
                expect(!out.result, "an early end was reported as success");
                expect(AnyBoxHas(out, Num(kErrTransferEndedEarly)),
                       "the early end was not reported");
            } else {
                expect(!out.result, "a failed transfer was reported as success");
                expect(AnyBoxHas(out, numberText), "error " + numberText + " was not reported");
            }
            break;
    }
    return broken;
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

        for (FaultKind kind : kKinds) {
            for (size_t k = 0; k < requests.size(); ++k) {
                std::vector<std::string> broken;
                Restart();
                Prepare(op, *unit);
                Stale(op, *unit);
                const Snapshot before = Snap(op, *unit);
                const auto earlier = DownloadFiles();

                sim::Fault fault;
                fault.kind = kind;
                fault.atRequest = lab_.instrument->RequestCount() + 1 + k;
                fault.delayMs = kDelayMs;
                fault.linesBeforeEnd = kLinesBeforeEnd;
                fault.errorCode = kSimErrorCode;
                lab_.instrument->InjectFault(fault);
                const Outcome out = Run(op, *unit);
                if (lab_.instrument->PendingFaults() != 0) {
                    broken.push_back("the fault was never reached");
                }
                auto promise = CheckPromise(op, kind, requests[k], out, *unit);
                broken.insert(broken.end(), promise.begin(), promise.end());

                // Every cached value is the one before or the instrument's: never a part.
                const Snapshot after = Snap(op, *unit);
                for (const auto& [key, value] : after) {
                    // (The module count rebuilds the channels: a new one has no serial yet.)
                    const bool fresh = key.rfind("Probe", 0) == 0 && value.empty();
                    const auto was = [&](const Snapshot& s) {
                        return s.count(key) != 0 && s.at(key) == value;
                    };
                    if (!was(before) && !was(baseline) && !fresh) {
                        broken.push_back(key + " holds '" + value + "'");
                    }
                }
                if (lab_.instrument->Unlocked()) {
                    broken.push_back("the instrument was left unlocked");
                }
                for (const auto& [name, text] : earlier) {
                    if (DownloadFiles()[name] != text) {
                        broken.push_back("the earlier file " + name + " changed");
                    }
                }
                SweepNewFiles(false);

                // The same object does it again, cleanly, and ends as the clean run did.
                Restart();
                Prepare(op, *unit);
                const Outcome again = Run(op, *unit);
                if (!again.result || again.threw) {
                    broken.push_back("the next call failed" +
                                     (again.error           ? ": " + again.error->Description()
                                      : again.boxes.empty() ? std::string()
                                                            : ": " + again.boxes.back().prompt));
                } else if (Snap(op, *unit) != baseline) {
                    broken.push_back("the next call did not restore the object");
                }
                if (lab_.instrument->Unlocked()) {
                    broken.push_back("the next call left the instrument unlocked");
                }
                SweepNewFiles(false);

                if (!broken.empty()) {
                    std::string all;
                    for (const auto& b : broken) {
                        all += "\n    " + b;
                    }
                    ADD_FAILURE() << op.name << ", " << sim::FaultKindName(kind) << " at request "
                                  << k + 1 << " (setting " << requests[k].id << " "
                                  << requests[k].params << "):" << all;
                    // A broken object would spoil the cells after it.
                    unit = Fresh(op);
                }
            }
        }
    }
}

}  // namespace
}  // namespace vesk::test
