// The component's own rules, whatever the link: what is refused before sending, the trace,
// cancelling, opening devices, the embedded simulator's ports and the port settings.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <regex>
#include <set>
#include <thread>

#include "LinkHarness.h"
#include "components/comm/SerialLink.h"
#include "tests/testsupport/FakeRegistry.h"
#include "vesk4710/platform/SettingIds.h"

namespace vesk::test {
namespace {

using enum comm::Param;

std::string Unit(comm::Communications& session) {
    session.params().ClearAll();
    return session.ReadSetting(SET_UNITS_READ, true, "");
}

void SetUnit(comm::Communications& session, const std::string& unit) {
    session.params().ClearAll();
    session.params().Value(unit);
    session.WriteSetting(SET_UNITS_WRITE);
}

TEST(Requests, UnaskableOnesAreRefusedWithoutSendingAndFlagAndExtraShapeTheReply) {
    Harness h(LinkKind::kEmbedded, 500);
    const std::vector<std::pair<std::function<void()>, std::string>> refused = {
        {[&] { h.Read(1); }, "identifier 1 is not known"},
        {[&] { h.Read(SET_UNITS_WRITE); }, "cannot be read"},
        {[&] { h.Write(SET_UNITS_READ); }, "cannot be written"},
        {[&] { h.comm->Transfer(SET_UNITS_READ, 1, ""); }, "cannot be transferred"},
    };
    for (const auto& [request, says] : refused) {
        const AutomationError e = Raised(request);
        EXPECT_EQ(e.Number(), comm::kCommUnknownSetting);
        EXPECT_NE(e.Description().find(says), std::string::npos) << e.Description();
    }
    EXPECT_EQ(Raised([&] {
                  h.Write(SET_LOGGING_LABEL_WRITE, {{kValue, "A\nB"}});
              }).Number(),
              comm::kCommBadParameter);
    h.comm->InstrumentCode(12);
    AutomationError other = Raised([&] { h.Read(SET_UNITS_READ); });
    EXPECT_EQ(other.Number(), comm::kCommUnsupportedInstrument);
    EXPECT_NE(other.Description().find("12"), std::string::npos);
    EXPECT_EQ(h.instrument->RequestCount(), 0u);
    h.comm->InstrumentCode(comm::kInstrumentCode4710);
    EXPECT_EQ(h.Read(SET_UNITS_READ), "C");

    // The flag and the extra text shape the reply.
    h.Unlock();
    h.Write(SET_PROBE_SERIAL_WRITE, {{kChannel, "2"}, {kValue, ""}});
    h.comm->params().Channel("2");
    EXPECT_EQ(h.comm->ReadSetting(SET_PROBE_SERIAL_READ, true, "none"), "none")
        << "extra stands for no reply";
    h.comm->params().ClearAll();
    EXPECT_EQ(h.comm->ReadSetting(SET_IDENTIFICATION, false, ""),
              "Vesk Scientific,4710,A47100,1.10");
}

TEST(Trace, OneLinePerRequestWithThePasscodeHidden) {
    FakeFileSystem traceFolder;
    const std::string tracePath = traceFolder.Root() + "/io.log";
    {
        Harness h(LinkKind::kEmbedded, 150, tracePath);
        h.Unlock();
        h.Read(SET_PARAMETER_READ, {{kChannel, "1"}, {kParamName, "RTPW"}});
        h.instrument->InjectFault(sim::ParseFault("noreply@id=168"));
        EXPECT_THROW(h.Read(SET_UNITS_READ), AutomationError);
        h.comm->Transfer(SET_TRANSFER_LABEL, 300, "2");
    }
    const std::string text = traceFolder.ReadFile(tracePath);
    // Not as a word of its own: a request tag may hold the digits.
    EXPECT_FALSE(std::regex_search(text, std::regex("(^|[^\t0-9])1234([^0-9]|$)"))) << text;
    // Time, setting, parameters, request line after its tag, outcome; each tag its own.
    const std::regex stamp(R"(\d{4}-\d{2}-\d{2}T\d{2}:\d{2}:\d{2}\.\d{3}Z\t)");
    const std::regex tag(R"(\t(\d+) )");
    std::set<std::string> tags;
    for (auto m = std::sregex_iterator(text.begin(), text.end(), tag); m != std::sregex_iterator();
         ++m) {
        tags.insert((*m)[1]);
    }
    EXPECT_EQ(tags.size(), 4u);
    EXPECT_EQ(std::regex_replace(std::regex_replace(text, stamp, ""), tag, "\t# "),
              "2\tValue=***\t# PASS ***\tOK\n"
              "134\tChannel=1 paramname=RTPW\t# PROB:PAR? 1,RTPW\t25.54321\n"
              "168\t\t# UNIT?\t [error: The instrument did not reply to setting 168 (UNIT?) within "
              "150 ms]\n"
              "279\tCount=300 Value=2\t# LOG:DATA:LAB? 300,2\t#BEGIN 100, 100 lines, #END 100\n");

    comm::CommOptions options;
    options.tracePath = "/nonexistent-folder/io.log";
    AutomationError e = Raised([&] { comm::Communications::Create(options); });
    EXPECT_EQ(e.Number(), kErrPathNotFound);
    EXPECT_NE(e.Description().find("/nonexistent-folder/io.log"), std::string::npos);
}

TEST(Cancel, EndsAWaitingRequestOrTransferAndOnlyThatOne) {
    Harness h(LinkKind::kEmbedded, 10000);
    h.instrument->InjectFault(sim::ParseFault("delay:5000@id=168"));
    std::thread canceller([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        h.comm->Cancel();
    });
    auto started = std::chrono::steady_clock::now();
    AutomationError e = Raised([&] { h.Read(SET_UNITS_READ); });
    canceller.join();
    EXPECT_EQ(e.Number(), comm::kCommCancelled);
    EXPECT_LT(std::chrono::steady_clock::now() - started, std::chrono::milliseconds(2500));
    h.comm->Cancel();  // nothing in flight: the next request is not affected
    EXPECT_EQ(h.Read(SET_IDENTIFICATION), "Vesk Scientific,4710,A47100,1.10");

    // The sink hears each line as it comes; a cancel between two lines ends the transfer early,
    // keeping what arrived (it once passed for a complete transfer).
    std::string heard;
    const TransferResult r =
        h.comm->Transfer(SET_TRANSFER_ALL, 300, "", [&](std::string_view line) {
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
        AutomationError e = Raised([&] { session->ReadSetting(SET_UNITS_READ, true, ""); });
        EXPECT_EQ(e.Number(), comm::kCommLinkUnavailable) << c.device;
        EXPECT_NE(e.Description().find(c.says), std::string::npos) << e.Description();
    }
    comm::UnregisterLinkScheme("sim");
    auto unregistered = comm::Communications::Create(comm::CommOptions{});
    AutomationError e = Raised([&] { unregistered->ReadSetting(SET_UNITS_READ, true, ""); });
    EXPECT_EQ(e.Number(), comm::kCommLinkUnavailable);
    EXPECT_NE(e.Description().find("RegisterEmbeddedLink"), std::string::npos);
}

TEST(Devices, PortNumbersFindTheirDevice) {
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
    EXPECT_TRUE(fresh->IsOpen());
    fresh->Port().AutoClose(1);
    EXPECT_EQ(Unit(*fresh), "K");
    EXPECT_FALSE(fresh->IsOpen()) << "closed after every request";
    EXPECT_EQ(Unit(*open(71)), "K");
    sim::Instrument::ReleaseAll();
    comm::UnregisterLinkScheme("sim");
}

}  // namespace
}  // namespace vesk::test
