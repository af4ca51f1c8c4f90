#include <gtest/gtest.h>

#include <string>

#include "components/readingfile/ReadingFile.h"
#include "tests/testsupport/FakeFileSystem.h"
#include "tests/testsupport/Raised.h"

namespace vesk {
namespace {

TEST(AppendingFileTest, WhatIsAppendedIsInTheFileAtOnceAndAnEarlierFileIsKept) {
    test::FakeFileSystem tmp;
    const std::string path = tmp.Root() + "/recording.csv";
    {
        files::AppendingFile file(path);
        file.Append("a,b\n");
        // Another reader sees the row before the writer is gone: a killed program keeps it.
        EXPECT_EQ(tmp.ReadFile(path), "a,b\n");
        file.Append(std::string(70'000, 'x'));
        file.Sync();
    }
    EXPECT_EQ(tmp.ReadFile(path).size(), 4u + 70'000u);

    const AutomationError refused = test::Raised([&] { files::AppendingFile again(path); });
    EXPECT_NE(std::string(refused.what()).find("Will not replace"), std::string::npos);
    EXPECT_EQ(tmp.ReadFile(path).size(), 4u + 70'000u) << "the earlier recording is untouched";
    test::Raised([&] { files::AppendingFile nowhere(tmp.Root() + "/missing/r.csv"); });
}

}  // namespace
}  // namespace vesk
