// The component's own rules, whatever the link: what is refused before sending, the trace,
// cancelling, opening devices, the embedded simulator's ports and the port settings.
#include <gtest/gtest.h>

#include <algorithm>
#include <regex>
#include <set>
#include <sstream>
#include <thread>

#include "LinkHarness.h"
#include "components/comm/SerialLink.h"
#include "tests/testsupport/FakeRegistry.h"

namespace vesk::test {
namespace {

using comm::Param;

std::string Unit(comm::Communications& session) {
    session.params().ClearAll();
    return session.ReadSetting(168, true, "");
}

void SetUnit(comm::Communications& session, const std::string& unit) {
    session.params().ClearAll();
    session.params().Value(unit);
    session.WriteSetting(169);
}

TEST(Requests, UnaskableOnesAreRefusedWithoutSendingAndFlagAndExtraShapeTheReply) {
    Harness h(LinkKind::kEmbedded, 500);
    uint64_t before = h.instrument->RequestCount();
    EXPECT_EQ(Raised([&] { h.Read(1); }).Number(), comm::kCommUnknownSetting);
    AutomationError wrongWay = Raised([&] { h.Read(169); });
    EXPECT_EQ(wrongWay.Number(), comm::kCommUnknownSetting);
    EXPECT_NE(wrongWay.Description().find("cannot be read"), std::string::npos);
    EXPECT_EQ(Raised([&] { h.Write(168); }).Number(), comm::kCommUnknownSetting);
    EXPECT_EQ(Raised([&] { h.comm->Transfer(168, 1, ""); }).Number(), comm::kCommUnknownSetting);
    EXPECT_EQ(Raised([&] {
                  h.Write(286, {{Param::kValue, "A\nB"}});
              }).Number(),
              comm::kCommBadParameter);
    h.comm->InstrumentCode(12);
    AutomationError other = Raised([&] { h.Read(168); });
    EXPECT_EQ(other.Number(), comm::kCommUnsupportedInstrument);
    EXPECT_NE(other.Description().find("12"), std::string::npos);
    EXPECT_EQ(h.instrument->RequestCount(), before);
    h.comm->InstrumentCode(comm::kInstrumentCode4710);
    EXPECT_EQ(h.Read(168), "C");

    // The flag and the extra text shape the reply.
    h.Unlock();
    h.Write(123, {{Param::kChannel, "2"}, {Param::kValue, ""}});
    h.comm->params().ClearAll();
    h.comm->params().Channel("2");
    EXPECT_EQ(h.comm->ReadSetting(122, true, "none"), "none") << "extra stands for no reply";
    h.comm->params().ClearAll();
    EXPECT_EQ(h.comm->ReadSetting(18, false, ""), "Vesk Scientific,4710,A47100,1.10");
}

TEST(Trace, OneLinePerRequestWithThePasscodeHidden) {
    FakeFileSystem traceFolder;
    const std::string tracePath = traceFolder.Root() + "/io.log";
    {
        Harness h(LinkKind::kEmbedded, 150, tracePath);
        h.Unlock();
        h.Read(134, {{Param::kChannel, "1"}, {Param::kParamName, "RTPW"}});
        h.instrument->InjectFault(sim::ParseFault("noreply@id=168"));
        EXPECT_THROW(h.Read(168), AutomationError);
        h.comm->Transfer(279, 300, "2");
    }
    const std::string text = traceFolder.ReadFile(tracePath);
    EXPECT_EQ(text.find("1234"), std::string::npos) << "the passcode leaked";
    // Time, setting, parameters, request line after its tag, outcome.
    const std::regex form(
        R"(\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}\.\d{3}Z\t(\d+)\t([^\t]*)\t(\d+) ([^\t]*)\t(.*))");
    std::vector<std::vector<std::string>> lines;
    std::set<std::string> tags;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) {
        std::smatch m;
        ASSERT_TRUE(std::regex_match(line, m, form)) << line;
        lines.push_back({m[1], m[2], m[4], m[5]});
        tags.insert(m[3]);
    }
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(tags.size(), 4u) << "every request has a tag of its own";
    using V = std::vector<std::string>;
    EXPECT_EQ(lines[0], (V{"2", "Value=***", "PASS ***", "OK"}));
    EXPECT_EQ(lines[1], (V{"134", "Channel=1 paramname=RTPW", "PROB:PAR? 1,RTPW", "25.54321"}));
    EXPECT_NE(lines[2][3].find("did not reply"), std::string::npos) << lines[2][3];
    EXPECT_EQ(lines[3], (V{"279", "Count=300 Value=2", "LOG:DATA:LAB? 300,2",
                           "#BEGIN 100, 100 lines, #END 100"}));

    comm::CommOptions options;
    options.tracePath = "/nonexistent-folder/io.log";
    AutomationError e = Raised([&] { comm::Communications::Create(options); });
    EXPECT_EQ(e.Number(), kErrPathNotFound);
    EXPECT_NE(e.Description().find("/nonexistent-folder/io.log"), std::string::npos);
}

TEST(Cancel, EndsAWaitingRequestOrTransferAndOnlyThatOne) {
    Harness h(LinkKind::kEmbedded, 10000);
    auto cancelSoon = [&] {
        return std::thread([&] {
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            h.comm->Cancel();
        });
    };
    h.instrument->InjectFault(sim::ParseFault("delay:5000@id=168"));
    std::thread canceller = cancelSoon();
    auto started = std::chrono::steady_clock::now();
    AutomationError e = Raised([&] { h.Read(168); });
    canceller.join();
    EXPECT_EQ(e.Number(), comm::kCommCancelled);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(2500));
    h.comm->Cancel();  // nothing in flight: the next request is not affected
    EXPECT_EQ(h.Read(18), "Vesk Scientific,4710,A47100,1.10");

    // A transfer stops, keeping the readings it has.
    h.instrument->InjectFault(sim::ParseFault("early:5@id=278"));
    canceller = cancelSoon();
    TransferResult r = h.comm->Transfer(278, 300, "");
    canceller.join();
    EXPECT_TRUE(r.endedEarly);
    EXPECT_EQ(r.reason, "cancelled");
    EXPECT_EQ(std::count(r.text.begin(), r.text.end(), '\r'), 5);

    // The sink hears each line as it comes; a cancel between two lines is an early end too
    // (it once passed for a complete transfer).
    std::string heard;
    r = h.comm->Transfer(278, 300, "", [&](std::string_view line) {
        heard += line;
        h.comm->Cancel();
    });
    EXPECT_TRUE(r.endedEarly && r.reason == "cancelled");
    EXPECT_EQ(heard, r.text);
    EXPECT_EQ(std::count(r.text.begin(), r.text.end(), '\r'), 1);
}

TEST(Devices, UnopenableDevicesAreClearErrors) {
    FakeFileSystem folder;
    folder.WriteFile(folder.Root() + "/plain.txt", "not a terminal");
    struct Case {
        std::string device;
        std::string says;
    };
    for (const Case& c : std::vector<Case>{
             {"/nonexistent/ttyX", "/nonexistent/ttyX"},
             {folder.Root() + "/plain.txt", "not a terminal"},
             {"tcp://127.0.0.1:1", "tcp://127.0.0.1:1"},
             {"tcp://nohostport", "HOST:PORT"},
         }) {
        comm::CommOptions options;
        options.device = c.device;
        options.timeoutMs = 300;
        auto session = comm::Communications::Create(options);
        AutomationError e = Raised([&] { session->ReadSetting(168, true, ""); });
        EXPECT_EQ(e.Number(), comm::kCommLinkUnavailable) << c.device;
        EXPECT_NE(e.Description().find(c.says), std::string::npos) << e.Description();
    }
    comm::UnregisterLinkScheme("sim");
    auto unregistered = comm::Communications::Create(comm::CommOptions{});
    AutomationError e = Raised([&] { unregistered->ReadSetting(168, true, ""); });
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
    EXPECT_EQ(Unit(*session), "C");
    EXPECT_NE(session->LinkDescription().find("19200 baud"), std::string::npos);
    session->Port().BaudRateCode(42);
    EXPECT_FALSE(session->IsOpen()) << "a new rate needs the port opened again";
    AutomationError e = Raised([&] { Unit(*session); });
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
    FakeFileSystem folder;
    sim::SimOptions defaults;
    defaults.stateDir = folder.Root();
    sim::RegisterEmbeddedLink(defaults);
    auto open = [](int32_t port, const std::string& device = "sim") {
        comm::CommOptions options;
        options.device = device;
        auto session = comm::Communications::Create(options);
        session->Port().PortNumber(port);
        return session;
    };
    auto first = open(71);
    auto other = open(72);
    SetUnit(*first, "F");
    EXPECT_EQ(Unit(*open(71)), "F");
    EXPECT_EQ(Unit(*other), "C");
    SetUnit(*open(1, "sim:72"), "K");
    EXPECT_EQ(Unit(*other), "K");
    EXPECT_NE(first->LinkDescription().find("port 71"), std::string::npos);
    EXPECT_EQ(Raised([&] { Unit(*open(1, "sim:x")); }).Number(), comm::kCommLinkUnavailable);
    sim::Instrument::ReleaseAll();
    // The state outlives the process's instruments.
    EXPECT_TRUE(folder.FileExists(folder.Root() + "/sim-71.json"));
    EXPECT_EQ(Unit(*open(71)), "F");
    sim::Instrument::ReleaseAll();

    // A reset the program asks for happens once, not again when the link is reopened.
    defaults.reset = true;
    sim::RegisterEmbeddedLink(defaults);
    auto fresh = open(71);
    EXPECT_EQ(Unit(*fresh), "C");
    SetUnit(*fresh, "K");
    fresh->Port().AutoClose(1);
    EXPECT_EQ(Unit(*fresh), "K");
    EXPECT_EQ(Unit(*open(71)), "K");
    sim::Instrument::ReleaseAll();
    comm::UnregisterLinkScheme("sim");
}

}  // namespace
}  // namespace vesk::test
