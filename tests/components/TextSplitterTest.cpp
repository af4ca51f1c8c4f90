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

std::vector<std::string> Split(const std::string& fs, const std::string& text, char quote = 0) {
    auto s = TextSplitter::Create();
    s->FS(fs);
    s->Quote(quote);
    s->L(text);
    return Pieces(*s);
}

using V = std::vector<std::string>;

TEST(TextSplitter, EverySeparatorCharacterEndsAPiece) {
    struct Case {
        std::string fs;
        std::string text;
        V pieces;
        char quote = 0;
    };
    for (const Case& c : std::vector<Case>{
             {",", "a,b,c", {"a", "b", "c"}},
             {",", "a,,b", {"a", "", "b"}},
             {",", "a,", {"a", ""}},
             {",", ",a", {"", "a"}},
             {",", ",", {"", ""}},
             {",", "abc", {"abc"}},
             {",", "", {}},
             {",\r", "1,2\r3,4\r", {"1", "2", "3", "4", ""}},
             // Bytes above 127 (a degree sign's lead byte) work as separators too.
             {"\xC2",
              "a\xC2"
              "b",
              {"a", "b"}},
             // Quoted pieces keep their separators; quotes closing no piece are plain text.
             {",\r", "1,\"A,B\",\"\"\"q\"\"\"\r", {"1", "A,B", "\"q\"", ""}, '"'},
             {",", "\"a\",\"\",b\"c", {"a", "", "b\"c"}, '"'},
             {",", "\"a,b", {"\"a", "b"}, '"'},
             {",", "\"a\"b,c", {"\"a\"b", "c"}, '"'},
             {",", "\"a,b\"", {"\"a", "b\""}},
         }) {
        SCOPED_TRACE(c.text);
        EXPECT_EQ(Split(c.fs, c.text, c.quote), c.pieces);
    }
}

TEST(TextSplitter, PiecesAreViewsReplacedByNewTextOrSeparators) {
    auto s = TextSplitter::Create();
    s->FS(",");
    s->L("alpha,beta");
    EXPECT_EQ(s->f(2).data(), s->L().data() + 6) << "a piece is a view, not a copy";
    // Indexes outside the pieces give empty ones.
    EXPECT_EQ(s->f(0), "");
    EXPECT_EQ(s->f(-1), "");
    EXPECT_EQ(s->f(3), "");
    s->L("6;7");
    EXPECT_EQ(Pieces(*s), (V{"6;7"}));
    s->FS(";");
    EXPECT_EQ(Pieces(*s), (V{"6", "7"}));
    s->L("");
    EXPECT_EQ(s->NF(), 0);
    EXPECT_EQ(s->f(1), "");
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
