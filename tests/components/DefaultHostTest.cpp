#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "components/comm/Communications.h"
#include "components/registry/Registry.h"
#include "host/DefaultHost.h"
#include "tests/testsupport/FakeFileSystem.h"
#include "vesk4710/support/AutomationError.h"

namespace vesk {
namespace {

class DefaultHostTest : public ::testing::Test {
  protected:
    void TearDown() override { Host::SetDefault(nullptr); }
    test::FakeFileSystem tmp;
    HostOptions Options() {
        HostOptions o;
        o.registryPath = tmp.Root() + "/settings.json";
        o.console = false;
        return o;
    }
};

TEST_F(DefaultHostTest, WiresTheRealComponentsAndBecomesTheProcessDefault) {
    Host::SetDefault(nullptr);
    EXPECT_THROW(Host::Default(), AutomationError);
    UseDefaultComponents(Options());
    auto host = Host::Default();
    ASSERT_TRUE(host);

    // One settings store per host, at the configured place, shared by the components.
    auto reg = host->CreateRegistry();
    EXPECT_EQ(reg, host->CreateRegistry());
    reg->WriteValue("COMAutoClose", 0, kHKeyCurrentUser, "1");
    EXPECT_EQ(Registry::Create(tmp.Root() + "/settings.json")
                  ->ReadValue("COMAutoClose", 0, kHKeyCurrentUser, ""),
              "1");
    EXPECT_EQ(host->CreateOutputFile()->Registry(), reg);

    // A fresh session per call, where the library expects one.
    auto c1 = host->CreateCommunications();
    EXPECT_NE(c1, host->CreateCommunications());
    auto comm = std::dynamic_pointer_cast<comm::Communications>(c1);
    ASSERT_TRUE(comm);
    EXPECT_EQ(comm->Options().device, "sim");
    EXPECT_EQ(comm->Options().registry, reg) << "port names come from the host's settings";
}

}  // namespace
}  // namespace vesk
