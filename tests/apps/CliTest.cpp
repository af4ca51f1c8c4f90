// The vesk4710 tool end to end on the embedded simulator and on vesk4710-sim over a
// pseudo-terminal and TCP: JSON output parsed, exit statuses checked.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "tests/apps/Processes.h"
#include "tests/testsupport/FakeFileSystem.h"

namespace vesk::test {
namespace {

using json = nlohmann::json;
using namespace nlohmann::literals;
using namespace std::chrono_literals;
using Args = std::vector<std::string>;
using ::testing::ContainsRegex;
using ::testing::HasSubstr;
using ::testing::MatchesRegex;

// The simulator's built-in instrument.
constexpr const char* kPasscode = "1234";

// The state and settings of the tool and the servers, one folder for the whole run.
FakeFileSystem& Scratch() {
    static FakeFileSystem folder;
    return folder;
}

std::map<std::string, std::string> Env(const std::string& f = Scratch().Root()) {
    return {{"XDG_STATE_HOME", f + "/state"},
            {"XDG_CONFIG_HOME", f + "/config"},
            {"HOME", f},
            {"TMPDIR", f}};
}

std::vector<std::string> Split(const std::string& text, char separator = '\n') {
    std::vector<std::string> parts;
    std::istringstream in(text);
    for (std::string part; std::getline(in, part, separator);) {
        if (separator == '\n' || !part.empty()) {
            parts.push_back(part);
        }
    }
    return parts;
}

// The tool run with a command line of words without spaces.
RunResult RunCli(const std::string& line, const std::string& input = {}) {
    std::vector<std::string> argv = Split(line, ' ');
    argv.insert(argv.begin(), VESK_CLI_PATH);
    return Child(argv, Env(), input).Finish(20s);
}

std::vector<json> JsonLines(const std::string& text) {
    std::vector<json> lines;
    for (const auto& line : Split(text, '\n')) {
        lines.push_back(json::parse(line));
    }
    return lines;
}

void ExpectFields(const json& actual, const json& expected) {
    for (const auto& [key, value] : expected.items()) {
        EXPECT_EQ(actual.value(key, json()), value) << key;
    }
}

// Each command line fails with the status, says why on stderr and prints nothing else.
void ExpectFailures(int status, const std::vector<std::string>& lines,
                    const std::string& prefix = {}) {
    for (const auto& line : lines) {
        const RunResult r = RunCli(prefix + line);
        EXPECT_EQ(r.status, status) << line << "\n" << r.err;
        EXPECT_TRUE(r.out.empty()) << line;
        EXPECT_FALSE(r.err.empty()) << line;
    }
}

using Link = std::optional<SimServer::Kind>;
constexpr const char* kLinkNames[] = {"Embedded", "Pty", "Tcp"};

class CliOnLink : public ::testing::TestWithParam<Link> {
  protected:
    void SetUp() override {
        if (const Link kind = GetParam()) {
            auto& server = servers_[*kind];
            if (!server) {
                server = std::make_unique<SimServer>(*kind, Env());
            }
            prefix_ = "--device " + server->Device() + " ";
        }
    }
    static void TearDownTestSuite() { servers_.clear(); }

    RunResult Cli(const std::string& line, const std::string& input = {}) {
        RunResult r = RunCli(prefix_ + line, input);
        EXPECT_FALSE(r.timedOut) << "vesk4710 did not finish";
        return r;
    }
    std::string Ok(const std::string& line) {
        const RunResult r = Cli(line);
        EXPECT_EQ(r.status, 0) << line << "\n" << r.err;
        return r.out;
    }
    json CliJson(const std::string& line) { return json::parse(Ok("--json " + line)); }
    void Fails(int status, const std::vector<std::string>& lines) {
        ExpectFailures(status, lines, prefix_);
    }
    static inline std::map<SimServer::Kind, std::unique_ptr<SimServer>>
        servers_;         // kept for the run
    std::string prefix_;  // --device and where, for the servers
};

// The instrument as the simulator starts (each test that changes it puts it back).
constexpr const char* kInfo =
    R"({"autoPower":false,"calDate":"2024-01-15","channels":[{"channel":1,"conversionName":)"
    R"("ITS-90","conversionType":0,"enabled":true,"resolution":3,"serial":"S1001"},{"channel":2,)"
    R"("conversionName":"Thermocouple Type K","conversionType":20,"enabled":true,"resolution":-1,)"
    R"("serial":"TC2002"}],"firmware":1.1,"identification":"Vesk Scientific,4710,A47100,1.10",)"
    R"("interval":-1,"model":"4710","numChannels":2,"numModules":2,"passcodeState":1,)"
    R"("protectCalParams":true,"protectConversion":true,"scanChannels":"1,2","scanMode":0,)"
    R"("serial":"A47100","units":0})";
constexpr const char* kChannel2 =
    R"({"calDate":"2023-08-21","channel":2,"coefficients":{"C0":0.0012,"C1":-2e-05,"C2":0.0,)"
    R"("C3":0.0},"conversionName":"Thermocouple Type K","conversionType":20,"enabled":true,)"
    R"("maxop":1000,"minop":-50,"probeLock":false,"probeType":2,"resolution":-1,)"
    R"("rjcTemperature":0.0,"rjcType":1,"serial":"TC2002"})";

TEST_P(CliOnLink, InfoDescribesTheInstrumentItsModulesAndChannels) {
    EXPECT_EQ(Ok("--json info"), std::string(kInfo) + "\n");
    const json full = CliJson("info --channels")["channels"];
    EXPECT_EQ(full[0]["coefficients"]["A4"], -1.2e-4);
    EXPECT_EQ(full[1], json::parse(kChannel2));

    // Each channel's own state, not the first channel's.
    const RunResult text = Cli("info");
    EXPECT_THAT(text.out, HasSubstr("\nChannel 2: on, probe TC2002, Thermocouple Type K"));
    // Only the embedded simulator is announced.
    EXPECT_EQ(text.err.find("embedded simulator") != std::string::npos, !GetParam());
}

TEST_P(CliOnLink, ReadGivesTimeStampedReadingsInEveryFormat) {
    const auto lines = JsonLines(Ok("--json read 1 2 --count 2 --every 0.05"));
    ASSERT_EQ(lines.size(), 4u);
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i]["channel"], i % 2 == 0 ? 1 : 2);
        EXPECT_EQ(lines[i]["unit"], "C");
        EXPECT_THAT(lines[i]["time"].get<std::string>(),
                    MatchesRegex(R"([0-9]{4}(-[0-9]{2}){2}T[0-9]{2}(:[0-9]{2}){2}\.[0-9]{3})"
                                 R"([-+][0-9]{2}:[0-9]{2})"));
        EXPECT_NEAR(lines[i]["value"].get<double>(), i % 2 == 0 ? 25.0 : 150.0, 2.0);
    }

    const auto rows = Split(Ok("read 1 --csv"));
    ASSERT_EQ(rows.size(), 6u);
    EXPECT_EQ(rows[4], "sequence,time,instrument,serial,channel,probe,value,unit,conversion");
    EXPECT_THAT(rows[5], MatchesRegex(R"(1,[-0-9T:.+]+,\S+,A47100,1,S1001,2[45]\.[0-9]+,C,ITS)"));

    // Raw: ohms of the platinum probe, the thermocouple's emf in millivolts.
    EXPECT_THAT(Ok("read --raw 1 2"),
                MatchesRegex("\\S+ +1 +2[78]\\.[0-9]+ OHM\n\\S+ +2 +[56]\\.[0-9]+ mV\n"));
    // Without channels: every channel of the instrument, in order.
    EXPECT_THAT(Ok("read"),
                MatchesRegex("\\S+ +1 +2[45]\\.[0-9]+ C\n\\S+ +2 +1[45][0-9]\\.[0-9]+ C\n"));
}

TEST_P(CliOnLink, GetAndSetWriteThroughTheInstrument) {
    EXPECT_EQ(Ok("get units"), "C\n");
    EXPECT_EQ(Ok("set Units F"), "F\n");
    for (const std::string line : {"units C", "interval 10", "interval auto", "scanchannels 2",
                                   "scanchannels 1,2", "autopower on", "autopower off"}) {
        EXPECT_EQ(Ok("set " + line), line.substr(line.find(' ') + 1) + "\n");
    }

    // Refused values never reach the instrument.
    Fails(2, {"set units X", "set interval 7", "set scanchannels 1,3", "set scanchannels 1,1",
              "set resolution 4", "set model 4711", "get resolution", "set label FAR_TOO_LONG"});
    EXPECT_EQ(Ok("get units"), "C\n");
}

TEST_P(CliOnLink, ProtectedWritesAskForThePasscode) {
    // No passcode given and no terminal: the write is refused and nothing changes.
    RunResult r = Cli("set serial B9");
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, HasSubstr("passcode"));
    EXPECT_EQ(Ok("get serial"), "A47100\n");

    // A wrong answer is told as the library tells it, then the next one is tried.
    r = Cli("--json --passcode 9999 --passcode 1234 set serial B9");
    EXPECT_EQ(r.out, "{\"name\":\"serial\",\"value\":\"B9\"}\n");
    EXPECT_THAT(r.err, HasSubstr(R"({"message":{"caption":"Vesk Scientific","style":64,)"
                                 R"("text":"The passcode entered is incorrect."}})"));
    Ok("--passcode 1234 set serial A47100");

    EXPECT_EQ(CliJson("--passcode 1234 passcode")["accepted"], true);
    EXPECT_EQ(Cli("--passcode 0000 passcode").status, 1);
}

TEST_P(CliOnLink, ChannelShowsAndChangesItsSettings) {
    EXPECT_EQ(Ok("--json channel 2"), std::string(kChannel2) + "\n");
    json ch = CliJson(
        "--passcode 1234 channel 2 set rjc external rjctemp 5 C1 -3e-05 conversion J probelock on");
    ExpectFields(ch, R"({"conversionName": "Thermocouple Type J", "rjcType": 0,
        "rjcTemperature": 5.0, "probeLock": true})"_json);
    EXPECT_DOUBLE_EQ(ch["coefficients"]["C1"].get<double>(), -3e-5);
    Ok("--passcode 1234 channel 2 set conversion K rjc internal rjctemp 0 c0 0.0012 c1 -2e-05 "
       "probelock off");
    EXPECT_EQ(Ok("--json channel 2"), std::string(kChannel2) + "\n");

    // Unprotected settings need no passcode; a protected one names itself when it is missing,
    // and the locked instrument is not touched.
    ExpectFields(CliJson("channel 1 set resolution 2 minop 7 caldate 2023-11-03"),
                 {{"resolution", 2}, {"minop", 7}, {"calDate", "2023-11-03"}});
    const RunResult locked = Cli("channel 1 set serial NEW1 resolution 1");
    EXPECT_EQ(locked.status, 1);
    EXPECT_THAT(locked.err, HasSubstr("probe serial number of channel 1 needs"));
    EXPECT_EQ(CliJson("channel 1")["resolution"], 2);
    ExpectFields(CliJson("channel 1 set resolution 3 caldate 2023-11-02 minop -200"),
                 {{"serial", "S1001"}, {"minop", -200}, {"resolution", 3}});
    // Bad names and values are usage errors; C0 belongs to thermocouples only.
    Fails(2, {"channel 1 set nope 1", "channel 1 set C0 1", "channel 1 set resolution 5",
              "channel 1 set conversion XYZ", "channel 1 set rjctemp 99", "channel 1 set serial",
              "channel 3"});
}

TEST_P(CliOnLink, LogStatusLabelAndClear) {
    const json status = CliJson("log status");
    ExpectFields(status, {{"demandLogCount", 300}, {"demandLogPoints", 1000}, {"label", "DEMAND"}});
    EXPECT_EQ(Ok("log label BATH_B"), "BATH_B\n");
    Ok("log label DEMAND");

    // Clearing asks first; a no leaves the log alone.
    Fails(1, {"--no log clear demand"});
    EXPECT_EQ(CliJson("log status")["demandLogCount"], 300);
    // The automatic log downloads through its own transfer; once cleared, a download of it
    // did nothing and says so with status 1.
    FakeFileSystem folder;
    const json files = CliJson("download --log auto --folder " + folder.Root())["files"];
    ASSERT_EQ(files.size(), 1u);
    EXPECT_THAT(folder.ReadFile(files[0]), HasSubstr("# log: auto\n"));
    Ok("--yes log clear auto");
    Fails(1, {"download --log auto --folder " + folder.Root()});
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(folder.Root()), {}), 1);
    Fails(2, {"log label NINECHARS", "log clear everything"});
}

TEST_P(CliOnLink, DownloadWritesFilesAndNamesThem) {
    // File names carry the time to the second: each download gets its own folder.
    FakeFileSystem scratch;
    const std::string& base = scratch.Root();
    const json single = CliJson("download --folder " + base + "/single --decimals 2")["files"];
    ASSERT_EQ(single.size(), 1u);
    const std::string content = Scratch().ReadFile(single[0]);
    EXPECT_GE(Split(content).size(), 300u);
    EXPECT_THAT(content, ContainsRegex(R"(,[0-9]+\.[0-9]{2},C)"));

    const auto files = CliJson("download --folder " + base + "/multiple --multiple")["files"];
    EXPECT_EQ(std::set<std::string>(files.begin(), files.end()).size(), 3u);
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(base + "/multiple"), {}), 3);

    const auto named = Split(Ok("download --folder " + base + "/label --label 2"));
    ASSERT_EQ(named.size(), 1u);
    EXPECT_TRUE(std::filesystem::exists(named[0]));
    Fails(2, {"download --label 26", "download --log weekly"});
}

TEST_P(CliOnLink, CalibrationShowSetAndDate) {
    const json shown = CliJson("cal show");
    EXPECT_EQ(shown["calDate"], "2024-01-15");
    EXPECT_EQ(shown["ranges"]["LO_OHMS"][1], R"({"point": 2, "reference": 100.0,
        "value": 100.00154})"_json);
    EXPECT_EQ(CliJson("--passcode 1234 cal set mv 1 -0.5 -0.4985"), R"({"range": "MV", "points": [
        {"point": 1, "reference": -0.5, "value": -0.4985},
        {"point": 2, "reference": 100.0, "value": 100.0032}]})"_json);
    Ok("--passcode 1234 cal set MV 1 0 0.0004");
    EXPECT_EQ(CliJson("cal show"), shown);

    Fails(1, {"cal set MV 1 0 1"});  // locked, no passcode
    // Point 3 of HI_OHMS would skip point 2.
    Fails(2, {"cal set XX_OHMS 1 0 1", "cal set HI_OHMS 3 0 1", "cal set MV 1 zero 1",
              "cal date 2024-02-30", "cal date 2999-01-01"});
    EXPECT_EQ(Ok("cal date"), "2024-01-15\n");
}

TEST_P(CliOnLink, CallInvokesMembersByName) {
    // The label comes back through the by-reference argument.
    json j = CliJson("call QueryLoggingLabel \"\"");
    EXPECT_TRUE(j["value"] == true && j["args"].size() == 1 && j["args"][0].is_string()) << j;
    j = CliJson("call FillRTLSUnitsList nothing");
    EXPECT_EQ(j["args"][0]["object"], "ListBox");
    EXPECT_EQ(j["args"][0]["items"][0]["data"], -2);

    RunResult r = Cli("call Frobnicate");
    EXPECT_EQ(r.status, 1);
    EXPECT_THAT(r.err, HasSubstr("Object doesn't support this property or method [error 438"));
    EXPECT_THAT(
        Cli("call QueryMeasurement -1").err,
        ContainsRegex(
            "vesk4710: error: [A-Z][^[]+ \\[error 0x800403E9, CVesk4710 - QueryMeasurement\\]\n$"));
}

TEST_P(CliOnLink, ScriptRunsLateBoundLinesOnOneObject) {
    const std::string script = R"(# one instrument, one session
call QueryInfo nothing false
get Model
set Resolution 7
get Resolution
get changed
channel 1 call QueryInfo
channel 1 get Resolution
module 0 get ModuleName
set SystemClock 2024-03-07
get SystemClock
module 5 get ModuleName
frobnicate Model
)";
    RunResult r = Cli("--json script", script);
    EXPECT_EQ(r.status, 1);  // two lines failed
    const auto lines = JsonLines(r.out);
    ASSERT_EQ(lines.size(), 12u) << r.out;
    const json values = {true, "4710", nullptr, 3, true, true, 3, "PRT", nullptr, "2024-03-07"};
    for (size_t i = 0; i < values.size(); ++i) {
        EXPECT_EQ(lines[i], json({{"value", values[i]}})) << i;
    }
    ExpectFields(lines[10]["error"], {{"line", 12}, {"number", static_cast<int32_t>(0x800403EAu)}});
    EXPECT_EQ(lines[11]["error"]["source"], "vesk4710 script");
    r = Cli("--json script --stop-on-error -", script);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(JsonLines(r.out).size(), 11u);
}

INSTANTIATE_TEST_SUITE_P(Links, CliOnLink,
                         ::testing::Values(Link(), SimServer::Kind::Pty, SimServer::Kind::Tcp),
                         [](const auto& info) { return kLinkNames[info.index]; });

TEST(Cli, BadArgumentsAreUsageErrors) {
    ExpectFailures(2, {"", "frobnicate", "--baud 1234 info", "--yes --no info", "--timeout 0 info",
                       "info --bogus"});
    ExpectFailures(2, {"read --count -1", "read --every -2", "read 0", "read 9", "get", "set units",
                       "channel", "channel one", "log", "log clear"});
    ExpectFailures(2, {"download --decimals 12", "cal", "cal set MV 9 0 0", "call",
                       "call --channel 1 --module 0 Model", "call Mo-del"});
    ExpectFailures(
        2, {"watch --window 0", "watch --every 0", "watch --max-sd -1", "members CVesk9999"});
    // The settings list is part of get's help.
    EXPECT_THAT(RunCli("get --help").out, HasSubstr("scanchannels"));
    // A port where nothing listens (a link that fails mid-run: CliTrust).
    ExpectFailures(1, {"--device tcp://127.0.0.1:1 info"});
    EXPECT_THAT(RunCli("--device tcp://127.0.0.1:1 info").err, HasSubstr("could not be opened"));
}

// A script waits for a bath to settle: status 0 once stable, 1 at the time-out.
TEST(Cli, WatchEndsWhenEveryChannelIsStableOrFailsAtTheTimeout) {
    const RunResult settled = RunCli("watch 1 --window 1 --every 0.2 --max-sd 1 --max-drift 10");
    ASSERT_EQ(settled.status, 0) << settled.err;
    const auto lines = Split(settled.out);
    ASSERT_GE(lines.size(), 5u) << "a line per round until the window is covered";
    EXPECT_THAT(lines.front(), HasSubstr("collecting"));
    EXPECT_THAT(lines.back(), ContainsRegex(R"(  1  stable +mean 2[45]\.[0-9]+ C)"));

    const RunResult restless =
        RunCli("--json watch 1 2 --window 5 --every 0.2 --max-sd 0 --timeout 0.5");
    EXPECT_EQ(restless.status, 1);
    EXPECT_THAT(restless.err, HasSubstr("not stable after 0.5 s: channel 1, 2"));
    EXPECT_THAT(restless.out, HasSubstr(R"("channel":2,"count":2,)"));
}

// From the environment, a file, a descriptor or a pipe, the passcode unlocks a protected write
// and shows nowhere: not in the output, the messages or the trace.
TEST(Cli, PasscodeFromTheEnvironmentAFileOrAPipeStaysSecret) {
    const std::string own = Scratch().Root() + "/passcode";
    const std::string shared = own + "-shared";
    for (const auto& [path, mode] : {std::pair{own, 0600}, {shared, 0640}}) {
        std::ofstream(path) << kPasscode << "\n";
        ::chmod(path.c_str(), mode);
    }
    const std::tuple<std::vector<std::string>, std::string, std::string, int> cases[] = {
        // arguments, VESK4710_PASSCODE, standard input, exit status
        {{"set", "serial", "P1"}, kPasscode, "", 0},
        {{"--passcode-file", own, "set", "serial", "P2"}, "", "", 0},
        {{"--passcode-file", "/dev/fd/0", "set", "serial", "P3"}, "", "1234\n", 0},
        {{"--passcode-file", "-", "set", "serial", "P4"}, "", "9999\n1234\n", 0},  // a line a try
        {{"--passcode-file", shared, "set", "serial", "P5"}, kPasscode, "", 1},
        {{"--passcode-file", "-", "script"}, "", "1234\n", 2},
    };
    int n = 0;
    for (const auto& [args, variable, input, status] : cases) {
        const std::string trace = Scratch().Root() + "/trace-" + std::to_string(++n);
        std::vector<std::string> argv = {VESK_CLI_PATH, "--json", "--trace", trace};
        argv.insert(argv.end(), args.begin(), args.end());
        auto env = Env();
        env["VESK4710_PASSCODE"] = variable;
        const RunResult r = Child(argv, env, input).Finish(20s);
        EXPECT_EQ(r.status, status) << n << r.err;
        if (status == 0) {
            EXPECT_EQ(json::parse(r.out)["value"], "P" + std::to_string(n));
        }
        // Not as a word of its own: a request tag beside it in the trace may hold the digits.
        for (const std::string& text : {r.out, r.err, Scratch().ReadFile(trace)}) {
            EXPECT_THAT(text, Not(ContainsRegex("(^|[^\t0-9])1234([^0-9]|$)"))) << n;
        }
    }
    // Back to the serial the other tests expect.
    EXPECT_EQ(RunCli("--passcode 1234 set serial A47100").status, 0);
}

// Runs misled by what another left (a late reply, a shared state) or misleading (a silent unlock,
// a hidden cause or member): the tool (or program) with its files in a folder of its own.
Child Start(const FakeFileSystem& folder, Args args, const char* program = VESK_CLI_PATH) {
    args.insert(args.begin(), program);
    return Child(args, Env(folder.Root()));
}

TEST(CliTrust, TwoRunsAtOnceShareTheStateAndLoseNothing) {
    FakeFileSystem folder;
    const std::string state = folder.Root() + "/state/vesk4710/sim-1.json";
    for (int round = 1; round <= 12; ++round) {
        const std::string units = round % 2 == 0 ? "F" : "K";
        Child a = Start(folder, {"set", "units", units});
        Child b = Start(folder, {"set", "scanseqdelay", std::to_string(round)});
        ASSERT_EQ(a.Finish(20s).status + b.Finish(20s).status, 0);
        ExpectFields(json::parse(std::ifstream(state)),
                     {{"units", units}, {"scanSeqDelay", round}});
    }
    EXPECT_FALSE(folder.FileExists(state + ".bad")) << "one run's saving taken for damage";
    // A change the state file cannot take fails the run that made it, and is not kept.
    const RunResult full = Start(folder,
                                 {"-c", "trap '' XFSZ; ulimit -f 0; exec \"$@\"", "sh",
                                  VESK_CLI_PATH, "set", "units", "C"},
                                 "/bin/sh")
                               .Finish(20s);
    EXPECT_EQ(full.status, 1);
    EXPECT_NE(full.err.find("cannot store the state in " + state), std::string::npos) << full.err;
    EXPECT_EQ(json::parse(std::ifstream(state))["units"], "F");
}

// read shows the reading the instrument sent, digit for digit, or fails.
TEST(CliReading, ShowsTheInstrumentsDigitsAndRefusesANonNumber) {
    const std::tuple<std::string, const char*, int, const char*> cases[] = {
        // fault, command, exit status, shown
        {FaultAt("reply:25.1000", SET_TEMPERATURE), "read 1", 0, "  25.1000 C\n"},
        {FaultAt("reply:6146.000", SET_RAW_MILLI), "read --raw 2", 0, "  6.146000 mV\n"},
        {FaultAt("reply:-0.5", SET_RAW_MILLI), "read --csv --raw 2", 0, ",-0.0005,mV,K\n"},
        {FaultAt("reply:OVER", SET_TEMPERATURE), "read 1", 1,
         "reading \"OVER\" of channel 1 is not a number"},
        // Channel 1 says off.
        {FaultAt("reply:1", SET_CHANNEL_STATE, 3), "--json read", 0,
         "{\"channel\":2,\"sequence\":1,"},
    };
    for (const auto& [fault, command, status, shown] : cases) {
        SimServer server(SimServer::Kind::Tcp, Env(), {"--fault", fault});
        const RunResult r = RunCli("--device " + server.Device() + " " + command);
        EXPECT_EQ(r.status, status) << fault << r.err;
        EXPECT_THAT(r.out + r.err, HasSubstr(shown)) << fault;
    }
}

// A signal in mid-transfer stops it within a second; the raw file holds every reading received
// even after kill -9, and Ctrl-C and SIGTERM also write them all to a file marked incomplete.
TEST(CliDownload, SignalsInMidTransferKeepEveryReadingReceived) {
    SimServer server(SimServer::Kind::Tcp, Env(),
                     {"--fault", FaultAt("early:100", SET_TRANSFER_ALL, 3)});
    for (const auto& [signal, status] : {std::pair{SIGINT, 130}, {SIGTERM, 143}, {SIGKILL, -1}}) {
        // Its temporary files (trace, raw transfer) and the download in a folder of its own.
        FakeFileSystem folder;
        Child cli = Start(folder, {"--device", server.Device(), "--timeout", "30000", "download",
                                   "--folder", folder.Root()});
        const auto received = [&] {
            return Split(folder.ReadFile(folder.Root() + "/TMPDWNLD.LOG"), '\r').size();
        };
        for (int i = 0; i < 200 && received() < 100; ++i) {
            std::this_thread::sleep_for(50ms);
        }
        const auto signalled = std::chrono::steady_clock::now();
        cli.Signal(signal);
        const RunResult r = cli.Finish(10s);
        EXPECT_LT(std::chrono::steady_clock::now() - signalled, 1s) << signal;
        EXPECT_EQ(r.status, status) << r.err;
        EXPECT_EQ(received(), 100u) << signal;
        if (signal != SIGKILL) {
            ASSERT_FALSE(r.out.empty()) << r.err;
            const auto csv = Split(folder.ReadFile(Split(r.out).front()));
            // Header block, blank line, column names, the readings and the mark.
            EXPECT_EQ(csv.size(), 108u);
            EXPECT_THAT(csv.back(), HasSubstr("100 readings received; the transfer ended early "
                                              "(cancelled)"));
        }
    }
}

TEST(CliTrust, OnASerialLineNoRunIsMisledOrMisleads) {
    const auto write = [](Args more) {
        more.insert(more.begin(), {"--timeout", "200", "--passcode", "1234"});
        return more;
    };
    const Args minop = write({"channel", "1", "set", "minop", "5"});
    const std::string writing = "writing the MINOP of channel 1 failed: The instrument ";
    const std::string parameter = std::to_string(SET_PARAMETER_WRITE);
    const std::string counts = "\" is not two counts";
    // Server options, then runs: arguments, status, and stdout (status 0) or a part of stderr.
    using Steps = std::vector<std::tuple<Args, int, std::string>>;
    const std::vector<std::pair<Args, Steps>> cases = {
        // A reply that comes after its run gave up is not the next run's answer.
        {{"--fault", FaultAt("delay:800", SET_UNITS_WRITE)},
         {{write({"set", "units", "F"}), 1, ""}, {{"get", "interval"}, 0, "auto\n"}}},
        // A lock lost with the link is tried on a new one; failing that, the run says so.
        {{"--fault", "drop@req=7"},
         {{write({"set", "caldate", "2024-05-01"}), 0, "2024-05-01\n"},
          {{"get", "passcodestate"}, 0, "locked\n"}}},
        {{"--fault", "drop@req=7", "--fault", "drop@req=8"},
         {{write({"set", "caldate", "2024-05-01"}), 1, "may be left unlocked"},
          {{"get", "passcodestate"}, 0, "unlocked\n"}}},
        // A failed channel write names the instrument's reason, not only the setting.
        {{"--fault", FaultAt("error:3", SET_PARAMETER_WRITE)},
         {{minop, 1, writing + "refused setting " + parameter + " (PROB:PAR)"}}},
        // A garbled channel state or log status is no "off" and no empty log.
        {{"--fault", FaultAt("reply:1x", SET_CHANNEL_STATE, 9)},
         {{{"info"}, 1, "\"1x\" is not a whole number"}}},
        {{"--fault", FaultAt("reply:700,abc", SET_DEMAND_LOG_STATUS, 2)},
         {{{"download"}, 1, "\"700,abc" + counts}, {{"log", "status"}, 1, "\"700,abc" + counts}}},
        // A dropped link or a missing reply says so, naming the member.
        {{"--fault", FaultAt("drop", SET_TEMPERATURE)},
         {{{"read", "1"}, 1, "the link to the instrument was dropped"}}},
        {{"--fault", FaultAt("noreply", SET_IDENTIFICATION)},
         {{{"--timeout", "200", "--json", "info"}, 1, "\"source\":\"CVesk4710 - QueryInfo\""}}},
    };
    for (auto [options, steps] : cases) {
        FakeFileSystem folder;
        options.insert(options.end(), {"--link", folder.Root() + "/tty"});
        SimServer sim(SimServer::Kind::Pty, {}, options);
        for (auto [args, status, says] : steps) {
            args.insert(args.begin(), {"--device", sim.Device()});
            const RunResult r = Start(folder, args).Finish(20s);
            EXPECT_EQ(r.status, status) << options[1] << r.err;
            EXPECT_TRUE(status == 0 ? r.out == says : r.err.find(says) != std::string::npos)
                << options[1] << ": " << r.out << r.err;
        }
    }
}

}  // namespace
}  // namespace vesk::test
