#include <gtest/gtest.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "components/filesystem/LocalFileSystem.h"
#include "tests/testsupport/EnvGuard.h"
#include "tests/testsupport/FakeFileSystem.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/support/AutomationError.h"
#include "vesk4710/support/Paths.h"

namespace vesk {
namespace {

namespace fs = std::filesystem;

using test::Raised;

class LocalFileSystemTest : public ::testing::Test {
  protected:
    test::FakeFileSystem tmp;  // a private temporary folder
    LocalFileSystem files;
};

TEST_F(LocalFileSystemTest, WritesExistsDeletesAndWritesWhatIsLeftUnclosed) {
    const std::string path = files.BuildPath(tmp.Root(), "out.txt");
    EXPECT_FALSE(files.FileExists(path));
    auto f = files.CreateTextFile(path);
    f->WriteLine("first");
    f->Write("second ");
    f->Write(std::string(100'000, 'x'));  // past the buffer
    f->WriteLine("");
    f->Close();
    f->Close();  // closing twice is harmless
    EXPECT_EQ(tmp.ReadFile(path), "first\nsecond " + std::string(100'000, 'x') + "\n");
    EXPECT_TRUE(files.FileExists(path));
    EXPECT_FALSE(files.FileExists(tmp.Root())) << "a folder is not a file";

    EXPECT_EQ(Raised([&] { f->Write("late"); }).Number(), kErrDeviceIO);

    // Creating again truncates.
    files.CreateTextFile(path)->Close();
    EXPECT_EQ(tmp.ReadFile(path), "");

    files.DeleteFile(path);
    EXPECT_FALSE(files.FileExists(path));
    const AutomationError missing = Raised([&] { files.DeleteFile(path); });
    EXPECT_EQ(missing.Number(), kErrFileNotFound);
    EXPECT_NE(missing.Description().find(path), std::string::npos);

    // A file dropped unclosed is still written.
    files.CreateTextFile(path)->WriteLine("kept");
    EXPECT_EQ(tmp.ReadFile(path), "kept\n");
}

TEST_F(LocalFileSystemTest, FullDiskIsReportedAtWriteOrClose) {
    auto small = files.CreateTextFile("/dev/full");
    small->WriteLine("buffered");
    const AutomationError atClose = Raised([&] { small->Close(); });
    EXPECT_EQ(atClose.Number(), kErrDiskFull);
    EXPECT_NE(atClose.Description().find("/dev/full"), std::string::npos);
    EXPECT_NE(atClose.Description().find(std::generic_category().message(ENOSPC)),
              std::string::npos)
        << atClose.Description();
    // The text was not dropped: a retry fails again instead of pretending success.
    EXPECT_EQ(Raised([&] { small->Close(); }).Number(), kErrDiskFull);

    auto big = files.CreateTextFile("/dev/full");
    EXPECT_EQ(Raised([&] { big->Write(std::string(200'000, 'y')); }).Number(), kErrDiskFull);
}

TEST_F(LocalFileSystemTest, CreateInMissingOrUnwritableFolderRaises) {
    const AutomationError missing =
        Raised([&] { files.CreateTextFile(tmp.Root() + "/no/such/folder/x.txt"); });
    EXPECT_EQ(missing.Number(), kErrPathNotFound);
    EXPECT_NE(missing.Description().find("/no/such/folder/x.txt"), std::string::npos);

    const std::string plain = tmp.Root() + "/plain";
    files.CreateTextFile(plain)->Close();
    EXPECT_EQ(Raised([&] { files.CreateTextFile(plain + "/x.txt"); }).Number(), kErrPathNotFound);

    // sysfs takes no new files, not even from a privileged user.
    if (!fs::is_directory("/sys/kernel")) {
        GTEST_SKIP() << "no folder here refuses writes";
    }
    const AutomationError denied = Raised([&] { files.CreateTextFile("/sys/kernel/x.txt"); });
    EXPECT_EQ(denied.Number(), kErrPermissionDenied);
    EXPECT_NE(denied.Description().find("/sys/kernel/x.txt"), std::string::npos);
}

TEST_F(LocalFileSystemTest, SpecialFoldersFollowTheEnvironment) {
    test::EnvGuard env;
    env.Set("TMPDIR", "/scratch/tmp/");
    EXPECT_EQ(files.GetSpecialFolder(SpecialFolder::Temporary), "/scratch/tmp");
    env.Set("TMPDIR", nullptr);
    EXPECT_EQ(files.GetSpecialFolder(SpecialFolder::Temporary), "/tmp");
    EXPECT_EQ(files.GetSpecialFolder(SpecialFolder::System), "/usr/lib");
    EXPECT_EQ(files.GetSpecialFolder(SpecialFolder::Library), LibraryFolder());

    const std::string home = tmp.Root() + "/home";
    fs::create_directories(home);
    env.Set("HOME", home.c_str());
    env.Set("XDG_DOCUMENTS_DIR", nullptr);
    env.Set("XDG_CONFIG_HOME", nullptr);
    env.Set("XDG_STATE_HOME", "relative/is/ignored");
    EXPECT_EQ(files.GetSpecialFolder(SpecialFolder::Home), home);
    EXPECT_EQ(files.GetSpecialFolder(SpecialFolder::Documents), home);
    fs::create_directories(home + "/Documents");
    EXPECT_EQ(files.GetSpecialFolder(SpecialFolder::Documents), home + "/Documents");
    env.Set("XDG_DOCUMENTS_DIR", "/data/docs");
    EXPECT_EQ(files.GetSpecialFolder(SpecialFolder::Documents), "/data/docs");
    EXPECT_EQ(files.GetSpecialFolder(SpecialFolder::Config), home + "/.config");
    EXPECT_EQ(files.GetSpecialFolder(SpecialFolder::State), home + "/.local/state");
    env.Set("XDG_CONFIG_HOME", "/etc/xdg-user");
    EXPECT_EQ(files.GetSpecialFolder(SpecialFolder::Config), "/etc/xdg-user");
}

}  // namespace
}  // namespace vesk
