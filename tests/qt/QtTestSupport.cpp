#include "tests/qt/QtTestSupport.h"

#include "simulator/EmbeddedLink.h"
#include "tests/qt/QtTestApplication.h"

namespace vesk::qttest {

namespace {

[[maybe_unused]] const auto* const kEnvironment =
    ::testing::AddGlobalTestEnvironment(new qttest::QtTestApplication("test_qt"));

}  // namespace

void QtDialogTest::SetUp() {
    ui = std::make_shared<QtUi>();
    ui->SetUrlOpener([this](const QUrl& url) {
        helpOpened.push_back(url);
        return true;
    });
    // A fresh simulated instrument for every test, kept in memory only.
    sim::SimOptions simulator;
    simulator.persist = false;
    simulator.reset = true;
    sim::RegisterEmbeddedLink(simulator);
    HostOptions options;
    options.console = false;
    options.ui = ui;
    options.registryPath = (dir / "settings.json").string();
    host = MakeDefaultHost(options);
    instrument = CVesk4710::Create(host);
    instrument->SetRegistry(host->CreateRegistry());
    ASSERT_TRUE(instrument->InitializeCommunications());
}

}  // namespace vesk::qttest
