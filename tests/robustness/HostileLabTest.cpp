// Hostile text end to end on the default host and the simulator: passcodes never reach the I/O
// trace, a passcode or probe serial the line cannot carry is refused before anything is sent,
// and a label the line cannot carry ends a download without losing what arrived.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "components/comm/CommErrors.h"
#include "tests/robustness/SimulatedLab.h"
#include "tests/robustness/StrictCsv.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/logging/LogDownload.h"
#include "vesk4710/platform/IProbe.h"

namespace vesk::test {
namespace {

constexpr const char* kPasscode = "Kqwz";  // letters: no tag or time can hold it

// No printable run of four or more of the passcode's characters, which would give it away.
void ExpectNotIn(const std::string& text, const std::string& passcode) {
    std::string run;
    for (char c : passcode + '\x01') {
        if (c >= 0x20 && c < 0x7f) {
            run += c;
            continue;
        }
        if (run.size() >= 4) {
            EXPECT_EQ(text.find(run), std::string::npos) << "'" << run << "' shows in " << text;
        }
        run.clear();
    }
}

TEST(HostileLab, PasscodesNeverReachTheTraceAndUnsendableTextIsRefusedBeforeTheLine) {
    SimulatedLab lab(61);
    lab.instrument->Modify([](sim::InstrumentState& s) { s.passcode = kPasscode; });
    auto unit = lab.Open();
    // Passcodes the line cannot carry are refused before the line, without quoting them.
    const std::vector<std::string> unsendable = {"Geheim\x01Wort", "P\xc3\xa4sswort", "Tab\tSecret",
                                                 std::string("Pq7Secret") + '\0'};
    for (const std::string& passcode : unsendable) {
        try {
            unit->UpdatePasscodeState(passcode);
            ADD_FAILURE() << "a passcode the line cannot carry was sent";
        } catch (const AutomationError& e) {
            EXPECT_EQ(e.Number(), comm::kCommBadParameter);
            ExpectNotIn(e.Description(), passcode);
        }
    }
    EXPECT_FALSE(lab.instrument->Unlocked());
    EXPECT_TRUE(unit->QueryPasscodeState());

    // Wrong passcodes the line carries, then the right one, which the write-backs present.
    const std::vector<std::string> wrong = {"Geheim 42", "pa\"ss,wd(x)", "  spaced  ", "98x7",
                                            kPasscode};
    for (const auto& p : wrong) {
        lab.Ui().passcodes.push_back({p, true});
    }
    ASSERT_TRUE(unit->ValidatePasscode(nullptr));
    unit->CalDate(Date::FromYMD(2024, 6, 1));
    ASSERT_TRUE(unit->UpdateInfo());
    auto channel = unit->GetChannelReference(1);
    ASSERT_TRUE(channel->QueryInfo());
    lab.Ui().passcodes.push_back({kPasscode, true});
    ASSERT_TRUE(unit->ValidatePasscode(nullptr));
    ASSERT_TRUE(channel->UpdateInfo()) << lab.Ui().Prompts().back();
    EXPECT_FALSE(lab.instrument->Unlocked());
    // A probe serial the line cannot carry is refused and told; the instrument is relocked.
    const std::string serial = lab.instrument->State().channels[0].probe.serial;
    lab.Ui().passcodes.push_back({kPasscode, true});
    ASSERT_TRUE(unit->ValidatePasscode(nullptr));
    channel->Probe()->Serial("..\\X\x01/\x1b[2J");
    const size_t boxes = lab.Ui().boxes.size();
    EXPECT_FALSE(channel->UpdateInfo());
    EXPECT_GT(lab.Ui().boxes.size(), boxes) << "the refusal was not reported";
    EXPECT_EQ(lab.instrument->State().channels[0].probe.serial, serial);
    EXPECT_FALSE(lab.instrument->Unlocked());
    ASSERT_TRUE(channel->QueryInfo());
    EXPECT_EQ(channel->Probe()->Serial(), serial);

    const std::string trace = lab.Trace();
    ASSERT_NE(trace.find("PASS"), std::string::npos) << "no passcode request was traced";
    for (const auto& list : {wrong, unsendable}) {
        for (const auto& p : list) {
            ExpectNotIn(trace, p);
        }
    }
}

TEST(HostileLab, ControlCharacterInALabelEndsTheTransferWithNothingLost) {
    SimulatedLab lab(64);
    lab.instrument->Modify([](sim::InstrumentState& s) {
        s.labels[1] = "BAD\x01LBL";
        for (size_t i = 0; i < s.demandLog.size(); ++i) {
            s.demandLog[i].label = i < 10 ? 1 : 2;
        }
    });
    auto unit = lab.Open();
    DownloadRequest request;
    const DownloadResult result = DownloadLogFiles(*unit, request);
    // The readings before the unreadable line are all in the file and the raw copy.
    EXPECT_EQ(result.outcome, DownloadOutcome::EndedEarly);
    EXPECT_EQ(result.readings, 10);
    ASSERT_EQ(result.files.size(), 1u);
    const auto readings = ReadingRows(
        FakeFileSystem::ReadFile(result.files[0]->Folder() + "/" + result.files[0]->FileName()));
    ASSERT_TRUE(readings.has_value());
    EXPECT_EQ(readings->size(), 10u);
    EXPECT_NE(result.message.find("ended early"), std::string::npos) << result.message;
    const std::string raw = FakeFileSystem::ReadFile(result.rawPath);
    EXPECT_EQ(std::count(raw.begin(), raw.end(), '\r'), 10);
    // And the session goes on: what is left of the transfer answers nothing now.
    bool ok = false;
    EXPECT_NO_THROW(ok = unit->QueryDemandLogStatus());
    EXPECT_TRUE(ok);
}

}  // namespace
}  // namespace vesk::test
