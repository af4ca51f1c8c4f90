// The instrument object's change flag and its lifetime.
#include "tests/core/InstrumentFixture.h"
#include "vesk4710/modules/CVesk4710Card.h"

namespace vesk::test {
namespace {

// The change flag decides whether a write-back happens at all.
TEST_F(InstrumentTest, SettersMarkChangedOnlyOnADifferentValue) {
    using Set = std::function<void(CVesk4710&, bool)>;
    const std::vector<std::pair<const char*, Set>> cases = {
        {"ScanChannels", [](CVesk4710& u, bool d) { u.ScanChannels(d ? "1,2" : ""); }},
        {"ScanMode", [](CVesk4710& u, bool d) { u.ScanMode(d ? SM_SCAN : SM_SIMULTANEOUS); }},
        {"DateTimeStamp", [](CVesk4710& u, bool d) { u.DateTimeStamp(d); }},
        {"Units", [](CVesk4710& u, bool d) { u.Units(d ? UNITS_DEGREESF : UNITS_DEGREESC); }},
        {"Serial", [](CVesk4710& u, bool d) { u.Serial(d ? "A1" : ""); }},
        {"Interval",
         [](CVesk4710& u, bool d) { u.Interval(d ? INT_AUTO : static_cast<E4710Interval>(0)); }},
        {"ScanSeqDelay", [](CVesk4710& u, bool d) { u.ScanSeqDelay(d ? 4 : 0); }},
        {"Resolution", [](CVesk4710& u, bool d) { u.Resolution(d ? 2 : 0); }},
    };
    for (const auto& [name, set] : cases) {
        auto fresh = CVesk4710::Create(host);
        set(*fresh, false);
        EXPECT_FALSE(fresh->Changed()) << name;
        set(*fresh, true);
        EXPECT_TRUE(fresh->Changed()) << name;
        set(*fresh, false);
        EXPECT_TRUE(fresh->Changed()) << name << ": marking never clears";
    }
    unit->Serial("abc");
    unit->Changed(false);
    unit->Serial("ABC");
    EXPECT_TRUE(unit->Changed()) << "the serial compares case-sensitively";

    // Capped above only.
    unit->Resolution(7);
    EXPECT_EQ(unit->Resolution(), 3);
    unit->CalDate(Date());
    EXPECT_TRUE(unit->Changed()) << "the calibration date marks even with the same value";

    // The protections, auto power and the passcode never mark.
    unit->Changed(false);
    unit->ProtectCalParams(false);
    unit->AutoPower(true);
    unit->Passcode("1234");
    EXPECT_FALSE(unit->Changed());
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
