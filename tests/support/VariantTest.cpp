#include <gtest/gtest.h>

#include "tests/testsupport/Locale.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/support/Dispatch.h"
#include "vesk4710/support/KeyFilters.h"

namespace vesk {
namespace {

using test::L;
using test::Raised;

class Thing : public IDispatchable {
  public:
    std::string ClassName() const override { return "CThing"; }
    const std::vector<MemberInfo>& Members() const override {
        static const std::vector<MemberInfo> table =
            MakeMemberTable({{"Model", MemberKind::Get},
                             {"Units", MemberKind::Get},
                             {"Units", MemberKind::Let},
                             {"Registry", MemberKind::Set},
                             {"QueryInfo", MemberKind::Method}});
        return table;
    }
};

TEST(Variant, CoercionsFollowTheAutomationRulesWithTrueAsMinusOne) {
    EXPECT_EQ(Variant(true).AsLong(), -1);
    EXPECT_TRUE(Variant(0.5).AsBoolean());
    EXPECT_FALSE(Variant(0.0).AsBoolean());
    EXPECT_TRUE(Variant("True").AsBoolean());
    EXPECT_FALSE(Variant("0").AsBoolean());
    EXPECT_EQ(Variant(true).AsString(), "True");
    EXPECT_DOUBLE_EQ(Variant(L("1.5")).AsDouble(), 1.5);
    EXPECT_EQ(Variant(L("3.5")).AsInteger(), 4);
    EXPECT_EQ(Variant(1.5).AsString(), L("1.5"));
    EXPECT_EQ(Variant(45358.0).AsDate(), Date::FromYMD(2024, 3, 7));
    EXPECT_DOUBLE_EQ(Variant(Date::FromYMD(2024, 3, 7)).AsDouble(), 45358.0);
    EXPECT_EQ(Variant(Date::FromYMD(2024, 3, 7)).AsString(),
              Date::FromYMD(2024, 3, 7).ShortDateText());
}

TEST(Variant, ImpossibleCoercionsRaiseTypeMismatchOrOverflow) {
    const Variant thing(std::shared_ptr<IDispatchable>(std::make_shared<Thing>()));
    EXPECT_EQ(Raised([] { Variant("12a").AsLong(); }).Number(), kErrTypeMismatch);
    EXPECT_EQ(Raised([] { Variant("").AsDouble(); }).Number(), kErrTypeMismatch);
    EXPECT_EQ(Raised([&] { thing.AsString(); }).Number(), kErrTypeMismatch);
    EXPECT_EQ(Raised([] { Variant("soon").AsDate(); }).Number(), kErrTypeMismatch);
    EXPECT_EQ(Raised([] { Variant(1e10).AsLong(); }).Number(), kErrOverflow);
    EXPECT_EQ(Raised([] { Variant(1e10).AsDate(); }).Number(), kErrInvalidProcedureCall);
}

TEST(ClampValue, LowerBoundIsTestedFirst) {
    EXPECT_TRUE(ClampValue(5, 1, 10).Identical(Variant(5)));
    EXPECT_TRUE(ClampValue(0, 1, 10).Identical(Variant(1)));
    EXPECT_TRUE(ClampValue(11, 1, 10).Identical(Variant(10)));
    // Minimum above maximum: below the minimum still gives the minimum.
    EXPECT_TRUE(ClampValue(0, 5, 3).Identical(Variant(5)));
    EXPECT_TRUE(ClampValue(4, 5, 3).Identical(Variant(5)));
    EXPECT_TRUE(ClampValue(6, 5, 3).Identical(Variant(3)));
    // Mixed types compare by value and return the bound as given.
    EXPECT_TRUE(ClampValue(int16_t{7}, 1.5, 6.5).Identical(Variant(6.5)));
    EXPECT_TRUE(ClampValue("m", "a", "k").Identical(Variant("k")));
}

}  // namespace
}  // namespace vesk
