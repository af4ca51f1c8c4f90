// Late-bound access to the three classes: every member bound, argument counting and coercion,
// by-reference results and objects crossing as automation values.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "components/probes/Probe.h"
#include "tests/testsupport/Fakes.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/DispatchBinder.h"

namespace vesk {
namespace {

using test::FakeHost;
using K = MemberKind;

AutomationError Raised(IDispatchable& target, const std::string& name, K kind,
                       std::vector<Variant> args) {
    return test::Raised([&] { target.Invoke(name, kind, args); });
}

class DispatchTest : public ::testing::Test {
  protected:
    DispatchTest() {
        host->probeFactory = [] { return probes::Probe::Create(); };
        unit = CVesk4710::Create(host);
        unit->InitializeCommunications();
        host->comm->Reply(SET_NUM_CHANNELS, "2");
        unit->QueryNumChannels();
        host->comm->Reply(SET_NUM_MODULES, "2");
        unit->QueryNumModules();
    }

    Variant Call(IDispatchable& target, const std::string& name, K kind,
                 std::vector<Variant> args = {}) {
        return target.Invoke(name, kind, args);
    }

    std::shared_ptr<FakeHost> host = std::make_shared<FakeHost>();
    std::shared_ptr<CVesk4710> unit;
};

// Too many arguments reach the argument check only when the member is served at all.
TEST_F(DispatchTest, EveryMemberOfEveryClassIsBound) {
    for (IDispatchable* target : std::initializer_list<IDispatchable*>{
             unit.get(), unit->Modules(0).get(), unit->GetChannelReference(1).get()}) {
        for (const auto& m : target->Members()) {
            const AutomationError e = Raised(*target, m.name, m.kind, std::vector<Variant>(12));
            EXPECT_EQ(e.Number(), kErrWrongArgCount) << target->ClassName() << "." << m.name;
            EXPECT_EQ(e.Source(), target->ClassName() + " - " + m.name);
        }
    }
}

// Capping, case-insensitive names, dates and unknown members: the tool's script and call tests.
TEST_F(DispatchTest, LetCoercesOrRaisesAndLeavesStateAlone) {
    // A text that is a number coerces; enumerations cross as Long, including values with no
    // enumerator.
    Call(*unit, "ScanSeqDelay", K::Let, {Variant("12")});
    EXPECT_EQ(unit->ScanSeqDelay(), 12);
    Call(*unit, "Units", K::Let, {Variant(int32_t{2})});
    EXPECT_TRUE(Call(*unit, "Units", K::Get).Identical(Variant(int32_t{2})));

    // A read-only property has no let.
    EXPECT_EQ(Raised(*unit, "Model", K::Let, {Variant("x")}).Number(), kErrNotSupported);
    AutomationError e = Raised(*unit, "Resolution", K::Let, {});
    EXPECT_EQ(e.Number(), kErrWrongArgCount);
    EXPECT_EQ(e.Description(), "Wrong number of arguments or invalid property assignment");
    unit->Resolution(2);
    e = Raised(*unit, "Resolution", K::Let, {Variant("two")});
    EXPECT_EQ(e.Number(), kErrTypeMismatch);
    EXPECT_EQ(unit->Resolution(), 2);
    EXPECT_EQ(Raised(*unit, "Resolution", K::Let, {Variant(40000.0)}).Number(), kErrOverflow);
    // An object where a number is wanted, and a number where an object is wanted.
    EXPECT_EQ(Raised(*unit, "Resolution", K::Let, {Variant(unit)}).Number(), kErrTypeMismatch);
    EXPECT_EQ(Raised(*unit, "SetRegistry", K::Method, {Variant(int16_t{1})}).Number(),
              kErrTypeMismatch);
}

TEST_F(DispatchTest, OptionalArgumentsKeepTheirDefaults) {
    host->comm->ReplyAlways(SET_IDENTIFICATION, "Vesk Scientific, 4710, B77, 1.20");
    Call(*unit, "QueryIdentification", K::Method, {Variant(false)});
    EXPECT_EQ(unit->Serial(), "");
    Call(*unit, "QueryIdentification", K::Method);
    EXPECT_EQ(unit->Serial(), "B77");

    // Left out or given as nothing, chan is -1: with no channel selected that is an error.
    for (std::vector<Variant> args : {std::vector<Variant>{}, std::vector<Variant>{Variant()}}) {
        EXPECT_EQ(Raised(*unit, "QueryMeasurement", K::Method, args).Number(), kErrInvalidChannel);
    }
}

TEST_F(DispatchTest, ObjectsCrossAsObjectsAndComeBackIntact) {
    const Variant module = Call(*unit, "Modules", K::Get, {Variant(int16_t{1})});
    EXPECT_EQ(module.AsObject(), std::static_pointer_cast<IDispatchable>(unit->Modules(1)));
    auto ch = std::dynamic_pointer_cast<CVesk4710Channel>(
        Call(*unit, "GetChannelReference", K::Method, {Variant(int16_t{2})}).AsObject());
    ASSERT_NE(ch, nullptr);
    EXPECT_EQ(Call(*ch, "Module", K::Get).AsObject(), module.AsObject());
    // Beyond the channels there is nothing, not an error.
    EXPECT_TRUE(Call(*unit, "GetChannelReference", K::Method, {Variant(int16_t{9})})
                    .Identical(Variant(std::shared_ptr<IDispatchable>())));

    // The channel's module is set through its set accessor; a wrong class is refused.
    Call(*ch, "SetModule", K::Set, {Variant(unit->Modules(0))});
    EXPECT_EQ(ch->Module(), unit->Modules(0));
    EXPECT_EQ(Raised(*ch, "SetModule", K::Set, {Variant(unit)}).Number(), kErrTypeMismatch);

    // Foreign objects round-trip (the Python tests); a registry is no form; Empty clears it.
    unit->SetRegistry(host->registry);
    const Variant registry = Call(*unit, "Registry", K::Get);
    EXPECT_EQ(Raised(*unit, "QueryInfo", K::Method, {registry}).Number(), kErrTypeMismatch);
    Call(*unit, "SetRegistry", K::Method, {Variant()});
    EXPECT_EQ(Call(*unit, "Registry", K::Get).AsObject(), nullptr);

    // A list control answers late-bound too; past its end is error 9.
    auto box = ListBox::Create();
    box->AddItem("ITS-90");
    EXPECT_EQ(Call(*box, "List", K::Get, {Variant(int16_t{0})}).AsString(), "ITS-90");
    EXPECT_EQ(Raised(*box, "List", K::Get, {Variant(int16_t{1})}).Number(),
              kErrSubscriptOutOfRange);
}

}  // namespace
}  // namespace vesk
