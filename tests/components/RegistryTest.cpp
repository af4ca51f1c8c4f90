#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "components/registry/Registry.h"
#include "tests/testsupport/EnvGuard.h"
#include "tests/testsupport/FakeFileSystem.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk {
namespace {

namespace fs = std::filesystem;

class RegistryTest : public ::testing::Test {
  protected:
    test::FakeFileSystem tmp;  // a private temporary folder
    std::string folder = tmp.Root() + "/cfg/vesk4710";
    std::string path = folder + "/settings.json";
    std::shared_ptr<Registry> reg = Registry::Create(path);
    void Spill(const std::string& file, const std::string& text) { tmp.WriteFile(file, text); }
};

TEST_F(RegistryTest, ValuesRoundTripApartByPlaceAndFormStateIsReplacedWhole) {
    EXPECT_EQ(reg->ReadValue("COMAutoClose", 0, kHKeyCurrentUser, "dflt"), "dflt");
    EXPECT_FALSE(fs::exists(path)) << "a read must not create the file";

    reg->WriteValue("COMAutoClose", 0, kHKeyCurrentUser, "1");
    reg->WriteValue("COMAutoClose", 1, kHKeyCurrentUser, "section1");
    reg->WriteValue("COMAutoClose", 0, 0x80000002LL, "machine");
    reg->WriteValue("COMAutoClose", 0, kHKeyCurrentUser, "sub", "Ports");
    EXPECT_EQ(reg->ReadValue("COMAutoClose", 0, kHKeyCurrentUser, ""), "1");
    EXPECT_EQ(reg->ReadValue("COMAutoClose", 1, kHKeyCurrentUser, ""), "section1");
    EXPECT_EQ(reg->ReadValue("COMAutoClose", 0, 0x80000002LL, ""), "machine");
    EXPECT_EQ(reg->ReadValue("COMAutoClose", 0, kHKeyCurrentUser, "", "Ports"), "sub");

    // Awkward text survives: quotes, backslashes, a lone CR, non-ASCII.
    const std::string odd =
        "C:\\x \"q\"\rline2 \xC2\xB0"
        "C";
    reg->WriteValue("DownloadFolder", 0, kHKeyCurrentUser, odd);
    EXPECT_EQ(Registry::Create(path)->ReadValue("DownloadFolder", 0, kHKeyCurrentUser, ""), odd);

    reg->DeleteValue("COMAutoClose", 0, kHKeyCurrentUser);
    EXPECT_EQ(reg->ReadValue("COMAutoClose", 0, kHKeyCurrentUser, "gone"), "gone");
    EXPECT_EQ(reg->ReadValue("COMAutoClose", 1, kHKeyCurrentUser, ""), "section1");
    reg->DeleteValue("NeverThere", 7, kHKeyCurrentUser, "Nowhere");

    // A form's saved state is replaced whole.
    EXPECT_TRUE(reg->LoadFormState("frm4710LogStatus").empty());
    reg->SaveFormState("frm4710LogStatus", {{"Left", "10"}, {"Top", "20"}});
    reg->SaveFormState("frm4710Labels", {{"Left", "5"}});
    reg->SaveFormState("frm4710LogStatus", {{"Width", "300"}});
    auto other = Registry::Create(path);
    EXPECT_EQ(other->LoadFormState("frm4710LogStatus"),
              (std::map<std::string, std::string>{{"Width", "300"}}));
    EXPECT_EQ(other->LoadFormState("frm4710Labels"),
              (std::map<std::string, std::string>{{"Left", "5"}}));
}

TEST_F(RegistryTest, TwoInstancesSeeEachOthersWrites) {
    auto a = reg;
    auto b = Registry::Create(path);
    a->WriteValue("One", 0, kHKeyCurrentUser, "a1");
    EXPECT_EQ(b->ReadValue("One", 0, kHKeyCurrentUser, ""), "a1");
    b->WriteValue("Two", 0, kHKeyCurrentUser, "b2");
    // a's write must not drop b's, and a sees b's write without reopening.
    a->WriteValue("Three", 0, kHKeyCurrentUser, "a3");
    EXPECT_EQ(a->ReadValue("Two", 0, kHKeyCurrentUser, ""), "b2");
    EXPECT_EQ(b->ReadValue("Three", 0, kHKeyCurrentUser, ""), "a3");
    b->WriteValue("One", 0, kHKeyCurrentUser, "b1");
    EXPECT_EQ(a->ReadValue("One", 0, kHKeyCurrentUser, ""), "b1");
    // Overwrites of the same size in quick succession are still noticed.
    for (char c = 'a'; c <= 'e'; ++c) {
        a->WriteValue("Same", 0, kHKeyCurrentUser, std::string(1, c));
        EXPECT_EQ(b->ReadValue("Same", 0, kHKeyCurrentUser, ""), std::string(1, c));
    }
}

TEST_F(RegistryTest, WritesReplaceTheFileAtomically) {
    reg->WriteValue("Name", 0, kHKeyCurrentUser, "old");
    const std::string before = tmp.ReadFile(path);
    // A reader holding the old file keeps reading the old, complete content: the new one
    // arrives by rename, never by rewriting in place.
    std::ifstream held(path, std::ios::binary);
    struct stat st1 {};
    ASSERT_EQ(::stat(path.c_str(), &st1), 0);

    reg->WriteValue("Name", 0, kHKeyCurrentUser, "new");
    struct stat st2 {};
    ASSERT_EQ(::stat(path.c_str(), &st2), 0);
    EXPECT_NE(st1.st_ino, st2.st_ino);
    std::ostringstream old;
    old << held.rdbuf();
    EXPECT_EQ(old.str(), before);

    // No temporary files left behind, the result is valid JSON, and only the user may read it.
    for (const auto& e : fs::directory_iterator(folder)) {
        const std::string name = e.path().filename().string();
        EXPECT_TRUE(name == "settings.json" || name == "settings.json.lock") << name;
    }
    EXPECT_FALSE(nlohmann::json::parse(tmp.ReadFile(path), nullptr, false).is_discarded());
    EXPECT_EQ(st2.st_mode & 077, 0u);

    // Debris of a crashed writer (a half-written temporary) changes nothing.
    Spill(path + ".tmp.AbC123", "{\"values\": {\"0\"");
    EXPECT_EQ(Registry::Create(path)->ReadValue("Name", 0, kHKeyCurrentUser, ""), "new");
}

TEST_F(RegistryTest, CorruptFileIsKeptAsideWhileEmptyOrHandEditedOnesAreRead) {
    const std::vector<std::string> garbages = {
        "{\"values\": {\"0\": ", "[1, 2, 3]", "{\"values\": 5}", std::string("\x00\x01garbage", 9)};
    for (const std::string& garbage : garbages) {
        SCOPED_TRACE(garbage);
        Spill(path, garbage);
        auto r = Registry::Create(path);
        EXPECT_EQ(r->ReadValue("COMAutoClose", 0, kHKeyCurrentUser, "d"), "d");
        EXPECT_EQ(tmp.ReadFile(path + ".bad"), garbage);
        r->WriteValue("COMAutoClose", 0, kHKeyCurrentUser, "1");
        EXPECT_EQ(Registry::Create(path)->ReadValue("COMAutoClose", 0, kHKeyCurrentUser, ""), "1");
    }
    // A file damaged behind a running instance's back is noticed at its next write too.
    Spill(path, "not json at all");
    reg->WriteValue("After", 0, kHKeyCurrentUser, "ok");
    EXPECT_EQ(tmp.ReadFile(path + ".bad"), "not json at all");
    EXPECT_EQ(reg->ReadValue("After", 0, kHKeyCurrentUser, ""), "ok");

    // An empty file is simply empty, not corrupt.
    fs::remove(path + ".bad");
    Spill(path, "  \n");
    EXPECT_EQ(reg->ReadValue("X", 0, kHKeyCurrentUser, "d"), "d");
    EXPECT_FALSE(fs::exists(path + ".bad"));
    // Someone typed numbers and booleans instead of strings.
    Spill(path, R"({"values": {"0": {"CurrentUser": {"": {"COMAutoClose": 1, "Flag": true}}}},
                    "forms": {"f": {"Left": 12}}})");
    EXPECT_EQ(reg->ReadValue("COMAutoClose", 0, kHKeyCurrentUser, ""), "1");
    EXPECT_EQ(reg->ReadValue("Flag", 0, kHKeyCurrentUser, ""), "true");
    EXPECT_EQ(reg->LoadFormState("f").at("Left"), "12");
}

TEST_F(RegistryTest, FailuresAreAutomationErrorsAndLoseNothing) {
    reg->WriteValue("Keep", 0, kHKeyCurrentUser, "me");
    const std::string before = tmp.ReadFile(path);
    EXPECT_EQ(test::Raised([&] {
                  reg->WriteValue("Bad", 0, kHKeyCurrentUser, std::string("\xFF\xFE", 2));
              }).Number(),
              kErrInvalidProcedureCall)
        << "invalid UTF-8 was accepted";
    EXPECT_EQ(tmp.ReadFile(path), before);
    EXPECT_EQ(reg->ReadValue("Keep", 0, kHKeyCurrentUser, ""), "me");

    // A folder that cannot exist (its parent is a file).
    Spill(tmp.Root() + "/plainfile", "x");
    auto blocked = Registry::Create(tmp.Root() + "/plainfile/vesk4710/settings.json");
    EXPECT_EQ(blocked->ReadValue("Keep", 0, kHKeyCurrentUser, "d"), "d");
    const AutomationError e =
        test::Raised([&] { blocked->WriteValue("Keep", 0, kHKeyCurrentUser, "x"); });
    EXPECT_NE(e.Description().find("plainfile"), std::string::npos) << e.Description();
}

TEST(RegistryDefaultPath, FollowsXdgConfigHome) {
    test::EnvGuard env;
    env.Set("XDG_CONFIG_HOME", "/xdg/conf");
    EXPECT_EQ(Registry::DefaultPath(), "/xdg/conf/vesk4710/settings.json");
    EXPECT_EQ(Registry::Create()->Path(), "/xdg/conf/vesk4710/settings.json");
    env.Set("XDG_CONFIG_HOME", "relative/ignored");
    env.Set("HOME", "/home/someone");
    EXPECT_EQ(Registry::DefaultPath(), "/home/someone/.config/vesk4710/settings.json");
    env.Set("XDG_CONFIG_HOME", nullptr);
    EXPECT_EQ(Registry::DefaultPath(), "/home/someone/.config/vesk4710/settings.json");
}

}  // namespace
}  // namespace vesk
