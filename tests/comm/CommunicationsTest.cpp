// The component's own rules, whatever the link: what is refused before sending, the trace,
// cancelling, opening devices, the embedded simulator's ports and the port settings.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <regex>
#include <sstream>
#include <thread>

#include "LinkHarness.h"
#include "components/comm/SerialLink.h"
#include "tests/testsupport/FakeRegistry.h"

namespace vesk::test {
namespace {

using comm::Param;

std::vector<std::string> FileLines(const std::filesystem::path& path) {
    std::ifstream in(path);
    std::vector<std::string> lines;
    for (std::string line; std::getline(in, line);) {
        lines.push_back(line);
    }
    return lines;
}

TEST(Requests, WhatCannotBeAskedIsRefusedWithoutSending) {
    Harness h(LinkKind::kEmbedded, 500);
    uint64_t before = h.instrument->RequestCount();
    EXPECT_EQ(ErrorOf([&] { h.Read(1); }).Number(), comm::kCommUnknownSetting);
    AutomationError wrongWay = ErrorOf([&] { h.Read(169); });
    EXPECT_EQ(wrongWay.Number(), comm::kCommUnknownSetting);
    EXPECT_NE(wrongWay.Description().find("cannot be read"), std::string::npos);
    EXPECT_EQ(ErrorOf([&] { h.Write(168); }).Number(), comm::kCommUnknownSetting);
    EXPECT_EQ(ErrorOf([&] { h.comm->Transfer(168, 1, ""); }).Number(), comm::kCommUnknownSetting);
    EXPECT_EQ(ErrorOf([&] {
                  h.Write(286, {{Param::kValue, "A\nB"}});
              }).Number(),
              comm::kCommBadParameter);
    h.comm->InstrumentCode(12);
    AutomationError other = ErrorOf([&] { h.Read(168); });
    EXPECT_EQ(other.Number(), comm::kCommUnsupportedInstrument);
    EXPECT_NE(other.Description().find("12"), std::string::npos);
    EXPECT_EQ(h.instrument->RequestCount(), before);
    h.comm->InstrumentCode(comm::kInstrumentCode4710);
    EXPECT_EQ(h.Read(168), "C");
}

TEST(Requests, FlagAndExtraShapeTheReply) {
    Harness h(LinkKind::kEmbedded, 500);
    h.Unlock();
    h.Write(123, {{Param::kChannel, "2"}, {Param::kValue, ""}});
    h.comm->params().ClearAll();
    h.comm->params().Channel("2");
    EXPECT_EQ(h.comm->ReadSetting(122, true, "none"), "none") << "extra stands for no reply";
    h.comm->params().ClearAll();
    EXPECT_EQ(h.comm->ReadSetting(18, false, ""), "Vesk Scientific,4710,A47100,1.10");
}

TEST(Trace, OneLinePerRequestWithThePasscodeHidden) {
    TempFolder traceFolder;
    auto tracePath = traceFolder.Path() / "io.log";
    {
        Harness h(LinkKind::kEmbedded, 150, tracePath.string());
        h.Unlock();
        h.Read(134, {{Param::kChannel, "1"}, {Param::kParamName, "RTPW"}});
        h.instrument->InjectFault(sim::ParseFault("noreply@id=168"));
        EXPECT_THROW(h.Read(168), AutomationError);
        h.comm->Transfer(279, 300, "2");
    }
    std::vector<std::string> lines = FileLines(tracePath);
    ASSERT_EQ(lines.size(), 4u);
    std::regex form(
        R"((\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}\.\d{3}Z)\t(\d+)\t([^\t]*)\t([^\t]*)\t(.*))");
    std::smatch m;
    ASSERT_TRUE(std::regex_match(lines[0], m, form)) << lines[0];
    EXPECT_EQ(m[2].str(), "2");
    EXPECT_EQ(m[3].str(), "Value=***");
    EXPECT_EQ(m[4].str(), "1 PASS ***");
    EXPECT_EQ(m[5].str(), "OK");
    ASSERT_TRUE(std::regex_match(lines[1], m, form)) << lines[1];
    EXPECT_EQ(m[3].str(), "Channel=1 paramname=RTPW");
    EXPECT_EQ(m[4].str(), "2 PROB:PAR? 1,RTPW");
    EXPECT_EQ(m[5].str(), "25.54321");
    ASSERT_TRUE(std::regex_match(lines[2], m, form)) << lines[2];
    EXPECT_NE(m[5].str().find("did not reply"), std::string::npos) << lines[2];
    ASSERT_TRUE(std::regex_match(lines[3], m, form)) << lines[3];
    EXPECT_EQ(m[3].str(), "Count=300 Value=2");
    EXPECT_EQ(m[4].str(), "4 LOG:DATA:LAB? 300,2");
    EXPECT_EQ(m[5].str(), "#BEGIN 100, 100 lines, #END 100");
    std::ifstream in(tracePath);
    std::stringstream all;
    all << in.rdbuf();
    EXPECT_EQ(all.str().find("1234"), std::string::npos) << "the passcode leaked";
}

TEST(Trace, UnwritableTraceIsAClearError) {
    comm::CommOptions options;
    options.tracePath = "/nonexistent-folder/io.log";
    AutomationError e = ErrorOf([&] { comm::Communications::Create(options); });
    EXPECT_EQ(e.Number(), kErrPathNotFound);
    EXPECT_NE(e.Description().find("/nonexistent-folder/io.log"), std::string::npos);
}

TEST(Cancel, EndsAWaitingRequestAndOnlyThatOne) {
    Harness h(LinkKind::kEmbedded, 10000);
    h.instrument->InjectFault(sim::ParseFault("delay:5000@id=168"));
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        h.comm->Cancel();
    });
    auto started = std::chrono::steady_clock::now();
    AutomationError e = ErrorOf([&] { h.Read(168); });
    canceller.join();
    EXPECT_EQ(e.Number(), comm::kCommCancelled);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(2500));
    h.comm->Cancel();  // nothing in flight: the next request is not affected
    EXPECT_EQ(h.Read(18), "Vesk Scientific,4710,A47100,1.10");
}

TEST(Cancel, StopsATransferKeepingItsReadings) {
    Harness h(LinkKind::kTcp, 5000);
    h.instrument->InjectFault(sim::ParseFault("early:5@id=278"));
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        h.comm->Cancel();
    });
    TransferResult r = h.comm->Transfer(278, 300, "");
    canceller.join();
    EXPECT_TRUE(r.endedEarly);
    EXPECT_EQ(std::count(r.text.begin(), r.text.end(), '\r'), 5);
}

TEST(Devices, UnopenableDevicesAreClearErrors) {
    TempFolder folder;
    std::ofstream(folder.Path() / "plain.txt") << "not a terminal";
    struct Case {
        std::string device;
        std::string says;
    };
    for (const Case& c : std::vector<Case>{
             {"/nonexistent/ttyX", "/nonexistent/ttyX"},
             {(folder.Path() / "plain.txt").string(), "not a terminal"},
             {"tcp://127.0.0.1:1", "tcp://127.0.0.1:1"},
             {"tcp://nohostport", "HOST:PORT"},
         }) {
        comm::CommOptions options;
        options.device = c.device;
        options.timeoutMs = 300;
        auto session = comm::Communications::Create(options);
        AutomationError e = ErrorOf([&] { session->ReadSetting(168, true, ""); });
        EXPECT_EQ(e.Number(), comm::kCommLinkUnavailable) << c.device;
        EXPECT_NE(e.Description().find(c.says), std::string::npos) << e.Description();
    }
    comm::UnregisterLinkScheme("sim");
    auto unregistered = comm::Communications::Create(comm::CommOptions{});
    AutomationError e = ErrorOf([&] { unregistered->ReadSetting(168, true, ""); });
    EXPECT_EQ(e.Number(), comm::kCommLinkUnavailable);
    EXPECT_NE(e.Description().find("RegisterEmbeddedLink"), std::string::npos);
}

TEST(Devices, PortNumbersFindTheirDevice) {
    EXPECT_EQ(comm::BaudFromCode(6), 9600);
    EXPECT_EQ(comm::BaudFromCode(0), 110);
    EXPECT_EQ(comm::BaudFromCode(10), 115200);
    EXPECT_FALSE(comm::BaudFromCode(11));
    EXPECT_FALSE(comm::BaudFromCode(-1));
    EXPECT_EQ(comm::SerialDeviceForPort(1, nullptr), "/dev/ttyS0");

    // A port configured in the per-user settings reaches the simulator's terminal.
    sim::SimOptions simOptions;
    simOptions.persist = false;
    auto instrument = sim::Instrument::Create(simOptions);
    sim::PtyServer server(instrument);
    auto registry = std::make_shared<FakeRegistry>();
    registry->values["COMPort3"] = server.Path();
    EXPECT_EQ(comm::SerialDeviceForPort(3, registry.get()), server.Path());
    EXPECT_EQ(comm::SerialDeviceForPort(4, registry.get()), "/dev/ttyS3");

    comm::CommOptions options;
    options.device = "port";
    options.registry = registry;
    auto session = comm::Communications::Create(options);
    session->Port().BaudRateCode(7);
    session->Port().PortNumber(3);
    session->params().ClearAll();
    EXPECT_EQ(session->ReadSetting(168, true, ""), "C");
    EXPECT_NE(session->LinkDescription().find("19200 baud"), std::string::npos);
    session->Port().BaudRateCode(42);
    EXPECT_FALSE(session->IsOpen()) << "a new rate needs the port opened again";
    AutomationError e = ErrorOf([&] { session->ReadSetting(168, true, ""); });
    EXPECT_EQ(e.Number(), comm::kCommLinkUnavailable);
    EXPECT_NE(e.Description().find("baud-rate code 42"), std::string::npos);
}

TEST(Devices, AutoCloseClosesAfterEveryRequest) {
    Harness h(LinkKind::kTcp, 1000);
    h.Read(168);
    EXPECT_TRUE(h.comm->IsOpen());
    h.comm->Port().AutoClose(1);
    EXPECT_EQ(h.Read(168), "C");
    EXPECT_FALSE(h.comm->IsOpen());
    h.Write(169, {{Param::kValue, "K"}});
    EXPECT_EQ(h.Read(168), "K");
    EXPECT_FALSE(h.comm->IsOpen());
}

TEST(EmbeddedSimulator, EachPortIsOneInstrumentSharedBySessions) {
    TempFolder folder;
    sim::SimOptions defaults;
    defaults.stateDir = folder.Path().string();
    sim::RegisterEmbeddedLink(defaults);
    auto open = [](int32_t port, const std::string& device = "sim") {
        comm::CommOptions options;
        options.device = device;
        auto session = comm::Communications::Create(options);
        session->Port().PortNumber(port);
        return session;
    };
    auto first = open(71);
    auto second = open(71);
    auto other = open(72);
    first->params().ClearAll();
    first->params().Value("F");
    first->WriteSetting(169);
    second->params().ClearAll();
    EXPECT_EQ(second->ReadSetting(168, true, ""), "F");
    other->params().ClearAll();
    EXPECT_EQ(other->ReadSetting(168, true, ""), "C");
    auto named = open(1, "sim:72");
    named->params().ClearAll();
    named->params().Value("K");
    named->WriteSetting(169);
    EXPECT_EQ(other->ReadSetting(168, true, ""), "K");
    EXPECT_NE(first->LinkDescription().find("port 71"), std::string::npos);
    EXPECT_EQ(ErrorOf([&] { open(1, "sim:x")->ReadSetting(168, true, ""); }).Number(),
              comm::kCommLinkUnavailable);
    sim::Instrument::ReleaseAll();
    // The state outlives the process's instruments.
    EXPECT_TRUE(std::filesystem::exists(folder.Path() / "sim-71.json"));
    auto again = open(71);
    again->params().ClearAll();
    EXPECT_EQ(again->ReadSetting(168, true, ""), "F");
    sim::Instrument::ReleaseAll();

    // A reset the program asks for happens once, not again when the link is reopened.
    defaults.reset = true;
    sim::RegisterEmbeddedLink(defaults);
    auto fresh = open(71);
    fresh->params().ClearAll();
    EXPECT_EQ(fresh->ReadSetting(168, true, ""), "C");
    fresh->params().Value("K");
    fresh->WriteSetting(169);
    fresh->Port().AutoClose(1);
    fresh->params().ClearAll();
    EXPECT_EQ(fresh->ReadSetting(168, true, ""), "K");
    EXPECT_EQ(open(71)->ReadSetting(168, true, ""), "K");
    sim::Instrument::ReleaseAll();
    comm::UnregisterLinkScheme("sim");
}

}  // namespace
}  // namespace vesk::test
