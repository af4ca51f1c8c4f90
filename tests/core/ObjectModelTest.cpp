// The instrument object's defaults, setter rules, limits and member table.
#include "tests/core/InstrumentFixture.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/modPaths.h"

namespace vesk::test {
namespace {

TEST_F(InstrumentTest, FreshObjectIsUnprotectedForConversionsOnly) {
    auto fresh = CVesk4710::Create(host);
    EXPECT_EQ(fresh->SelectedChannel(), -1);
    EXPECT_FALSE(fresh->ProtectConversion());
    EXPECT_TRUE(fresh->ProtectCalParams());
    // The passcode states are set after the protections, so they all read disabled.
    EXPECT_EQ(fresh->PasscodeState(), PS_DISABLED);
    EXPECT_EQ(fresh->ConvPasscodeState(), PS_DISABLED);
    EXPECT_EQ(fresh->CalParamPasscodeState(), PS_DISABLED);
    EXPECT_EQ(fresh->FilePath(), LibraryFolder());
    EXPECT_FALSE(fresh->Changed());
}

TEST_F(InstrumentTest, SettersThatMarkChangedOnlyDoSoOnADifferentValue) {
    struct Case {
        const char* name;
        std::function<void(CVesk4710&)> same;
        std::function<void(CVesk4710&)> different;
    };
    const std::vector<Case> cases = {
        {"ScanChannels", [](CVesk4710& u) { u.ScanChannels(""); },
         [](CVesk4710& u) { u.ScanChannels("1,2"); }},
        {"ScanMode", [](CVesk4710& u) { u.ScanMode(SM_SIMULTANEOUS); },
         [](CVesk4710& u) { u.ScanMode(SM_SCAN); }},
        {"DateTimeStamp", [](CVesk4710& u) { u.DateTimeStamp(false); },
         [](CVesk4710& u) { u.DateTimeStamp(true); }},
        {"Units", [](CVesk4710& u) { u.Units(UNITS_DEGREESC); },
         [](CVesk4710& u) { u.Units(UNITS_DEGREESF); }},
        {"Serial", [](CVesk4710& u) { u.Serial(""); }, [](CVesk4710& u) { u.Serial("A1"); }},
        {"Interval", [](CVesk4710& u) { u.Interval(static_cast<E4710Interval>(0)); },
         [](CVesk4710& u) { u.Interval(INT_AUTO); }},
        {"ScanSeqDelay", [](CVesk4710& u) { u.ScanSeqDelay(0); },
         [](CVesk4710& u) { u.ScanSeqDelay(4); }},
        {"Resolution", [](CVesk4710& u) { u.Resolution(0); },
         [](CVesk4710& u) { u.Resolution(2); }},
    };
    for (const auto& c : cases) {
        auto fresh = CVesk4710::Create(host);
        c.same(*fresh);
        EXPECT_FALSE(fresh->Changed()) << c.name;
        c.different(*fresh);
        EXPECT_TRUE(fresh->Changed()) << c.name;
        // Marking never clears.
        c.same(*fresh);
        EXPECT_TRUE(fresh->Changed()) << c.name;
    }
    // Serial compares case-sensitively.
    unit->Serial("abc");
    unit->Changed(false);
    unit->Serial("ABC");
    EXPECT_TRUE(unit->Changed());
}

TEST_F(InstrumentTest, PlainStoresAndProtectionsNeverMarkChanged) {
    unit->AutoPower(true);
    unit->DisableSerial(true);
    unit->Passcode("1234");
    unit->DemandLogCount(9);
    unit->AllowSetSerial(true);
    unit->ReadAfterApply(true);
    unit->LogSessionInterval(5);
    unit->SystemClock(Date::FromYMD(2024, 1, 2));
    unit->DVCICommError(77);
    unit->PasscodeState(PS_ENABLED);
    // The protections drive their passcode states.
    unit->ProtectConversion(true);
    EXPECT_EQ(unit->ConvPasscodeState(), PS_DISABLED);
    unit->ProtectConversion(false);
    EXPECT_EQ(unit->ConvPasscodeState(), PS_ENABLED);
    unit->ProtectCalParams(false);
    EXPECT_EQ(unit->CalParamPasscodeState(), PS_ENABLED);
    unit->ProtectCalParams(true);
    EXPECT_EQ(unit->CalParamPasscodeState(), PS_DISABLED);
    EXPECT_FALSE(unit->Changed());
}

TEST_F(InstrumentTest, ResolutionIsCappedAboveAndCalDateAlwaysMarks) {
    unit->Resolution(7);
    EXPECT_EQ(unit->Resolution(), 3);
    EXPECT_TRUE(unit->Changed());
    unit->Resolution(-2);
    EXPECT_EQ(unit->Resolution(), -2);
    unit->Changed(false);
    unit->Resolution(-2);
    EXPECT_FALSE(unit->Changed());
    // The calibration date marks even with the same value.
    unit->CalDate(Date());
    EXPECT_TRUE(unit->Changed());
    EXPECT_EQ(unit->CalDate(), Date());
}

TEST_F(InstrumentTest, HelpFileIsSharedByAllInstances) {
    auto other = CVesk4710::Create(host);
    unit->HelpFile("/opt/help/vesk4710.html");
    EXPECT_EQ(other->HelpFile(), "/opt/help/vesk4710.html");
    other->HelpFile("");
    EXPECT_EQ(unit->HelpFile(), "");
}

TEST_F(InstrumentTest, FilePathReachesTheTreeAndTeardownReleasesIt) {
    TwoChannels();
    unit->FilePath("/data/probes");
    for (int16_t i = 0; i < 2; ++i) {
        EXPECT_EQ(unit->Modules(i)->FilePath(), "/data/probes");
        EXPECT_EQ(unit->Modules(i)->Channels(0)->FilePath(), "/data/probes");
    }
    std::weak_ptr<CVesk4710Card> module = unit->Modules(0);
    std::weak_ptr<ICommunications> session = unit->Communications();
    host->comm.reset();
    unit.reset();
    EXPECT_TRUE(module.expired());
    EXPECT_TRUE(session.expired());
}

}  // namespace
}  // namespace vesk::test
