#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "components/splitter/TextSplitter.h"

namespace vesk {
namespace {

std::vector<std::string> Pieces(const ITextSplitter& s) {
    std::vector<std::string> out;
    for (int32_t i = 1; i <= s.NF(); ++i) {
        out.emplace_back(s.f(i));
    }
    return out;
}

std::vector<std::string> Split(const std::string& fs, const std::string& text) {
    auto s = TextSplitter::Create();
    s->FS(fs);
    s->L(text);
    return Pieces(*s);
}

using V = std::vector<std::string>;

TEST(TextSplitter, EverySeparatorEndsAPiece) {
    EXPECT_EQ(Split(",", "a,b,c"), (V{"a", "b", "c"}));
    EXPECT_EQ(Split(",", "a,,b"), (V{"a", "", "b"}));
    EXPECT_EQ(Split(",", "a,"), (V{"a", ""}));
    EXPECT_EQ(Split(",", ",a"), (V{"", "a"}));
    EXPECT_EQ(Split(",", ","), (V{"", ""}));
    EXPECT_EQ(Split(",", "abc"), (V{"abc"}));
}

TEST(TextSplitter, EmptyTextHasNoPieces) {
    auto s = TextSplitter::Create();
    s->FS(",");
    s->L("a,b");
    s->L("");
    EXPECT_EQ(s->NF(), 0);
    EXPECT_EQ(s->f(1), "");
}

TEST(TextSplitter, AnyOfSeveralSeparatorCharacters) {
    EXPECT_EQ(Split(",\r", "1,2\r3,4\r"), (V{"1", "2", "3", "4", ""}));
    // Bytes above 127 (a degree sign's lead byte) work as separators too.
    EXPECT_EQ(Split("\xC2",
                    "a\xC2"
                    "b"),
              (V{"a", "b"}));
}

TEST(TextSplitter, OutOfRangeIndexesGiveEmptyPieces) {
    auto s = TextSplitter::Create();
    s->FS(",");
    s->L("x,y");
    EXPECT_EQ(s->f(0), "");
    EXPECT_EQ(s->f(-1), "");
    EXPECT_EQ(s->f(3), "");
    EXPECT_EQ(s->f(2), "y");
}

TEST(TextSplitter, PiecesAreViewsIntoTheStoredText) {
    auto s = TextSplitter::Create();
    s->FS(",");
    s->L("alpha,beta");
    const std::string& text = s->L();
    EXPECT_EQ(s->f(2).data(), text.data() + 6);
    EXPECT_EQ(s->FS(), ",");
}

TEST(TextSplitter, NewTextOrSeparatorsReplaceOldPieces) {
    auto s = TextSplitter::Create();
    s->FS(",");
    s->L("1,2,3,4,5");
    s->L("6;7");
    EXPECT_EQ(Pieces(*s), (V{"6;7"}));
    s->FS(";");
    EXPECT_EQ(Pieces(*s), (V{"6", "7"}));
}

TEST(TextSplitter, TransferLineFields) {
    auto s = TextSplitter::Create();
    s->FS(",");
    s->L("12,2024/03/07,12:34:56,3,1,Bath A,25.0012,C");
    ASSERT_EQ(s->NF(), 8);
    EXPECT_EQ(s->f(6), "Bath A");
    EXPECT_EQ(s->f(8), "C");
}

// A million-reading transfer must split in one pass; a quadratic splitter would not finish
// within the test's time-out.
TEST(TextSplitter, MillionLinesSplitOnce) {
    constexpr int32_t kLines = 1'000'000;
    std::string text;
    text.reserve(static_cast<size_t>(kLines) * 40);
    for (int32_t i = 1; i <= kLines; ++i) {
        text += std::to_string(i);
        text += ",2024/03/07,12:00:00,1,1,L,20.5,C\r";
    }
    const size_t total = text.size();
    auto lines = TextSplitter::Create();
    lines->FS("\r");
    lines->L(std::move(text));
    ASSERT_EQ(lines->NF(), kLines + 1);  // the trailing CR leaves an empty last piece
    EXPECT_EQ(lines->f(kLines + 1), "");

    auto fields = TextSplitter::Create();
    fields->FS(",");
    size_t sum = 0;
    for (int32_t i = 1; i <= lines->NF(); ++i) {
        sum += lines->f(i).size() + 1;
        if (i == kLines) {
            fields->L(std::string(lines->f(i)));
            EXPECT_EQ(fields->f(1), "1000000");
            EXPECT_EQ(fields->NF(), 8);
        }
    }
    EXPECT_EQ(sum, total + 1);
}

}  // namespace
}  // namespace vesk
