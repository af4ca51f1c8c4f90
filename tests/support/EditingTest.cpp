#include <gtest/gtest.h>

#include <initializer_list>

#include "tests/testsupport/FakeControls.h"
#include "tests/testsupport/FakeFileSystem.h"
#include "tests/testsupport/Locale.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/support/KeyFilters.h"
#include "vesk4710/support/Paths.h"

namespace vesk {
namespace {

using test::CommaLocale;

template <class Filter>
int16_t Filtered(Filter filter, int key) {
    int16_t k = static_cast<int16_t>(key);
    filter(k);
    return k;
}

// The filter passes the keys of `pass` unchanged and refuses (zeroes) those of `refuse`.
template <class Filter>
void ExpectKeys(Filter filter, std::initializer_list<int> pass, std::initializer_list<int> refuse) {
    for (int key : pass) {
        EXPECT_EQ(Filtered(filter, key), key) << key;
    }
    for (int key : refuse) {
        EXPECT_EQ(Filtered(filter, key), 0) << key;
    }
}

TEST(KeyFilters, RealNumbersAcceptSignsAndTurnThePeriodIntoTheSeparator) {
    const int16_t sep = CommaLocale() ? ',' : '.';
    // Editing keys: backspace, enter, copy, paste, cut, undo.
    ExpectKeys(FilterRealKey, {'0', '5', '9', '-', '+', 8, 13, 3, 22, 24, 26},
               {'a', 'e', 'E', ' ', 27, 127, 0x00B0});
    EXPECT_EQ(Filtered(FilterRealKey, '.'), sep);
    EXPECT_EQ(Filtered(FilterRealKey, sep), sep);
    EXPECT_EQ(Filtered(FilterRealKey, ','), CommaLocale() ? ',' : 0);
    // Scientific adds the exponent letter.
    ExpectKeys(FilterScientificKey, {'e', 'E', '-'}, {'x', 'd'});
}

TEST(SelectAllText, SelectsTheWholeTextCountedInCharactersIgnoringErrors) {
    test::FakeTextBox box;
    box.selStart = 3;
    box.text =
        "25 \xC2\xB0"
        "C";  // the degree sign is one character
    SelectAllText(box);
    EXPECT_EQ(box.selStart, 0);
    EXPECT_EQ(box.selLength, 5);
    // Errors of the control are ignored.
    struct NoTextBox : test::FakeTextBox {
        std::string Text() const override { throw AutomationError(438, "no text"); }
    } broken;
    EXPECT_NO_THROW(SelectAllText(broken));
}

TEST(Paths, ParentFolderFileNameAndBuiltPaths) {
    EXPECT_EQ(ParentFolder("/a/b/c.txt"), "/a/b/");
    EXPECT_EQ(ParentFolder("C:\\dir\\f.log"), "C:\\dir\\");
    EXPECT_EQ(ParentFolder("c.txt"), "");
    EXPECT_EQ(ParentFolder("/"), "/");
    EXPECT_EQ(FileNameOf("/a/b/c.txt"), "c.txt");
    EXPECT_EQ(FileNameOf("C:\\dir\\f.log"), "f.log");
    EXPECT_EQ(FileNameOf("/a/"), "");
    // Building a path uses the file system, and survives its failure.
    test::FakeFileSystem fs;
    EXPECT_EQ(BuildFilePath(fs, fs.Root(), "x.log"), fs.BuildPath(fs.Root(), "x.log"));
    struct BrokenFs : test::FakeFileSystem {
        std::string BuildPath(const std::string&, const std::string&) override {
            throw AutomationError(76, "Path not found");
        }
    } broken;
    EXPECT_EQ(BuildFilePath(broken, "/tmp/d", "x.log"), "/tmp/d/x.log");
    EXPECT_EQ(BuildFilePath(broken, "/tmp/d/", "x.log"), "/tmp/d/x.log");
    EXPECT_EQ(BuildFilePath(broken, "", "x.log"), "x.log");
}

}  // namespace
}  // namespace vesk
