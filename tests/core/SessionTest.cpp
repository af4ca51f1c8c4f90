// The session set-up, the request sequence of every single-setting method, its parsing,
// and the error path.
#include <filesystem>

#include "tests/core/InstrumentFixture.h"
#include "vesk4710/support/Help.h"
#include "vesk4710/support/Paths.h"

namespace vesk::test {
namespace {

using ::testing::ElementsAre;
using ::testing::ElementsAreArray;

TEST_F(InstrumentTest, InitializeCommunicationsConfiguresANewSessionInOrder) {
    host->registry->values["COMAutoClose"] = "1";
    unit->SetRegistry(host->registry);
    auto second = std::make_shared<FakeCommunications>();
    host->commFactory = [&] { return second; };
    EXPECT_TRUE(unit->InitializeCommunications("/ignored", 3, 4));
    EXPECT_EQ(unit->Communications(), second);
    // Outside the system folder the component's folder is beside the library's.
    const std::string beside = std::filesystem::path(LibraryFolder()).parent_path().string();
    EXPECT_THAT(second->log,
                ElementsAre("Port.LinkMode=2", "FolderPath=" + beside, "InstrumentCode=11",
                            "Port.BaudRateCode=4", "Port.PortNumber=3", "Port.AutoClose=1"));
    // Nothing is asked of the instrument.
    EXPECT_TRUE(second->Requests().empty());

    // An absent value gives the empty default; port 1 and rate code 6 are the defaults.
    host->registry->values.erase("COMAutoClose");
    second->SerialPort().autoClose = 5;
    unit->InitializeCommunications();
    EXPECT_EQ(second->SerialPort().autoClose, 0);
    EXPECT_EQ(second->SerialPort().baudRateCode, 6);
    EXPECT_EQ(second->SerialPort().portNumber, 1);

    // A failure carries the arguments in its source.
    host->commFactory = []() -> std::shared_ptr<ICommunications> {
        throw AutomationError(53, "File not found");
    };
    unit->DVCICommError(42);
    const auto e = Raised([&] { unit->InitializeCommunications("/f", 2, 5); });
    EXPECT_EQ(e.Number(), 53);
    EXPECT_EQ(e.Source(), "CVesk4710 - InitializeCommunications(),/f,2,5");
    EXPECT_EQ(e.HelpFile(), "");
    EXPECT_EQ(e.HelpContext(), 0);
}

TEST_F(InstrumentTest, SingleSettingWritesSendExactlyTheirRequests) {
    unit->Units(UNITS_DEGREESF);
    unit->ScanMode(SM_SCAN);
    unit->ScanChannels("1,2");
    unit->Interval(INT_10_SEC);
    unit->ScanSeqDelay(12);
    unit->Resolution(2);
    unit->AutoPower(true);
    unit->Serial("A123");
    const std::vector<std::pair<std::function<void()>, std::vector<std::string>>> cases = {
        {[&] { unit->InitializeCommunicationSettings(); }, {"ClearAll", Wr(SET_INIT_INTERFACE)}},
        {[&] { unit->UpdateUnits(); }, {"ClearAll", "Value=F", Wr(SET_UNITS_WRITE)}},
        {[&] { unit->UpdateScanMode(); }, {"ClearAll", "Value=1", Wr(SET_SCAN_MODE_WRITE)}},
        {[&] { unit->UpdateScanMode(true, true); }, {}},
        {[&] { unit->UpdateScanChannelList(); },
         {"ClearAll", "ChannelList=1,2", Wr(SET_SCAN_LIST_WRITE)}},
        {[&] { unit->UpdateInterval(); }, {"ClearAll", "Value=10", Wr(SET_INTERVAL_WRITE)}},
        {[&] { unit->UpdateScanSeqDelay(); }, {"ClearAll", "Value=12", Wr(SET_SCAN_SEQ_DELAY)}},
        {[&] { unit->UpdateResolution(); },
         {"ClearAll", "Value=2", "Channel=1", Wr(SET_RESOLUTION), "Channel=2", Wr(SET_RESOLUTION)}},
        {[&] { unit->UpdateAutoPower(); }, {"ClearAll", "Value=ON", Wr(SET_AUTO_POWER_WRITE)}},
        {[&] { unit->UpdateDisableSerial(); }, {}},
        {[&] { unit->UpdateSerialNumber(); }, {"ClearAll", "Value=A123", Wr(SET_SERIAL)}},
        {[&] { unit->StartMeasure(); }, {"ClearAll", Wr(SET_START_MEASURE)}},
        {[&] { unit->StopMeasure(); }, {"ClearAll", Wr(SET_STOP_MEASURE)}},
        {[&] { unit->UpdatePasscodeState("9876"); }, {"ClearAll", "Value=9876", Wr(SET_PASSCODE)}},
        {[&] { unit->UpdatePasscodeState("9876", true); }, {"ClearAll", Wr(SET_PASSCODE_LOCK)}},
    };
    for (size_t i = 0; i < cases.size(); ++i) {
        ClearLog();
        cases[i].first();
        EXPECT_THAT(Log(), ElementsAreArray(cases[i].second)) << "case " << i;
    }

    // The variants of the value texts.
    ClearLog();
    unit->Interval(INT_AUTO);
    unit->UpdateInterval();
    unit->AutoPower(false);
    unit->UpdateAutoPower();
    unit->DisableSerial(true);
    unit->UpdateDisableSerial();
    unit->Units(static_cast<E4710Units>(2));
    unit->UpdateUnits();
    unit->Units(UNITS_RAW_VALUE);
    unit->UpdateUnits();
    EXPECT_THAT(Log(), ElementsAre("ClearAll", "Value=AUTO", Wr(SET_INTERVAL_WRITE), "ClearAll",
                                   "Value=OFF", Wr(SET_AUTO_POWER_WRITE), "ClearAll",
                                   Wr(SET_DISABLE_SERIAL), "ClearAll", "Value=K",
                                   Wr(SET_UNITS_WRITE), "ClearAll", Wr(SET_UNITS_WRITE)));
}

TEST_F(InstrumentTest, QueriesParseTheirReplies) {
    // Units are tested for C, then F, then K.
    const std::vector<std::pair<std::string, int32_t>> units = {
        {"C", UNITS_DEGREESC},  {"CF", UNITS_DEGREESC}, {"deg F", UNITS_DEGREESF}, {"K", 2},
        {"FK", UNITS_DEGREESF},
    };
    for (const auto& [reply, expected] : units) {
        comm().Reply(SET_UNITS_READ, reply);
        EXPECT_TRUE(unit->QueryUnits()) << reply;
        EXPECT_EQ(unit->Units(), expected) << reply;
    }
    comm().Reply(SET_UNITS_READ, "x");
    EXPECT_FALSE(unit->QueryUnits());
    EXPECT_EQ(unit->Units(), UNITS_NONE);

    comm().Reply(SET_SCAN_MODE_READ, "1");
    unit->QueryScanMode();
    EXPECT_EQ(unit->ScanMode(), SM_SCAN);
    comm().Reply(SET_SCAN_LIST_READ, "(@1,2)");
    unit->QueryScanChannelList();
    EXPECT_EQ(unit->ScanChannels(), "1,2");
    comm().Reply(SET_SCAN_LIST_READ, "(@1");
    unit->QueryScanChannelList();
    EXPECT_EQ(unit->ScanChannels(), "");
    comm().Reply(SET_INTERVAL_READ, "AUTO");
    unit->QueryInterval();
    EXPECT_EQ(unit->Interval(), INT_AUTO);
    comm().Reply(SET_INTERVAL_READ, "30 s");
    unit->QueryInterval();
    EXPECT_EQ(unit->Interval(), INT_30_SEC);
    // Only the exact upper-case text is on.
    unit->AutoPower(true);
    for (const auto& [reply, on] :
         std::vector<std::pair<std::string, bool>>{{"OFF", false}, {"on", false}, {"ON", true}}) {
        comm().Reply(SET_AUTO_POWER_READ, reply);
        unit->QueryAutoPower();
        EXPECT_EQ(unit->AutoPower(), on) << reply;
    }
    const auto read = Rd(SET_UNITS_READ);
    EXPECT_THAT(comm().Requests(),
                ElementsAre(read, read, read, read, read, read, Rd(SET_SCAN_MODE_READ),
                            Rd(SET_SCAN_LIST_READ), Rd(SET_SCAN_LIST_READ), Rd(SET_INTERVAL_READ),
                            Rd(SET_INTERVAL_READ), Rd(SET_AUTO_POWER_READ), Rd(SET_AUTO_POWER_READ),
                            Rd(SET_AUTO_POWER_READ)));
}

TEST_F(InstrumentTest, PasscodeQueriesReadTheirStates) {
    const std::vector<std::pair<std::string, E4710PasscodeState>> states = {
        {"1", PS_ENABLED}, {"0", PS_DISABLED}, {"2", PS_DISABLED}, {"on", PS_DISABLED}};
    for (const auto& [reply, state] : states) {
        comm().Reply(SET_PASSCODE_STATE, reply);
        unit->QueryPasscodeState();
        EXPECT_EQ(unit->PasscodeState(), state) << reply;
    }
    comm().Reply(SET_CONV_PROTECTION, "1");
    unit->QueryProtectConversion();
    EXPECT_TRUE(unit->ProtectConversion());
    EXPECT_EQ(unit->ConvPasscodeState(), PS_DISABLED);
    comm().Reply(SET_CONV_PROTECTION, "3");
    unit->QueryProtectConversion();
    EXPECT_FALSE(unit->ProtectConversion());
    EXPECT_EQ(unit->ConvPasscodeState(), PS_ENABLED);

    // Calibration parameters count as protected whatever the instrument says.
    unit->ProtectCalParams(false);
    ClearLog();
    comm().Reply(SET_CONV_PROTECTION, "0");
    comm().Reply(SET_PASSCODE_STATE, "1");
    EXPECT_TRUE(unit->QueryPasscodeProtection());
    EXPECT_TRUE(unit->ProtectCalParams());
    EXPECT_THAT(comm().Requests(), ElementsAre(Rd(SET_CONV_PROTECTION), Rd(SET_PASSCODE_STATE)));
}

TEST_F(InstrumentTest, FailedRequestIsRaisedWithTheMembersSourceAndKeepsTheCache) {
    HelpFile("/help/4710.html");
    unit->DVCICommError(3456);
    unit->ScanMode(SM_SCAN);
    comm().Fail(SET_SCAN_MODE_READ, Broken());
    const auto e = Raised([&] { unit->QueryScanMode(); });
    EXPECT_EQ(e.Number(), Broken().Number());
    EXPECT_EQ(e.Description(), "link dropped");
    EXPECT_EQ(e.Source(), "CVesk4710 - QueryScanMode");
    EXPECT_EQ(e.HelpFile(), "/help/4710.html");
    EXPECT_EQ(e.HelpContext(), 3456);
    EXPECT_EQ(unit->ScanMode(), SM_SCAN);

    // A garbled number is an overflow in the same form; the object stays usable.
    comm().Reply(SET_SCAN_MODE_READ, "99999");
    EXPECT_EQ(Raised([&] { unit->QueryScanMode(); }).Number(), kErrOverflow);
    comm().Reply(SET_SCAN_MODE_READ, "0");
    EXPECT_TRUE(unit->QueryScanMode());
    EXPECT_EQ(unit->ScanMode(), SM_SIMULTANEOUS);

    // The member is the source of a failing write too.
    comm().FailAfter(1, Broken());
    EXPECT_EQ(Raised([&] { unit->UpdateUnits(); }).Source(), "CVesk4710 - UpdateUnits");
    HelpFile("");

    // Requests before a session fail cleanly.
    auto fresh = CVesk4710::Create(host);
    const auto early = Raised([&] { fresh->QueryUnits(); });
    EXPECT_EQ(early.Number(), kErrObjectRequired);
    EXPECT_EQ(early.Source(), "CVesk4710 - QueryUnits");
}

}  // namespace
}  // namespace vesk::test
