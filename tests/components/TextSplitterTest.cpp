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

TEST(TextSplitter, PiecesAreReplacedByNewTextOrSeparators) {
    auto s = TextSplitter::Create();
    s->FS(",");
    s->L("alpha,beta");
    // Indexes outside the pieces give empty ones.
    for (const int32_t outside : {0, -1, 3}) {
        EXPECT_EQ(s->f(outside), "") << outside;
    }
    s->L("6;7");
    EXPECT_EQ(Pieces(*s), (V{"6;7"}));
    s->FS(";");
    EXPECT_EQ(Pieces(*s), (V{"6", "7"}));
    s->L("");
    EXPECT_EQ(s->NF(), 0);
    EXPECT_EQ(s->f(1), "");
}

}  // namespace
}  // namespace vesk
