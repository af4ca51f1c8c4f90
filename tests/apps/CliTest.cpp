// The vesk4710 tool end to end: every command against the embedded simulator and against
// vesk4710-sim on a pseudo-terminal and on TCP, JSON output parsed, exit statuses checked.
#include <gtest/gtest.h>
#include <signal.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "tests/apps/Processes.h"

namespace vesk::test {
namespace {

using json = nlohmann::json;
using namespace std::chrono_literals;

// The simulator's built-in instrument.
constexpr const char* kPasscode = "1234";

// One scratch folder and the servers for the whole run; the tool and the servers keep their
// state and settings in it.
class World : public ::testing::Environment {
  public:
    static World& Get() {
        static World* world = new World;
        return *world;
    }
    std::map<std::string, std::string> Env() const {
        return {{"XDG_STATE_HOME", folder_->Path() + "/state"},
                {"XDG_CONFIG_HOME", folder_->Path() + "/config"},
                {"HOME", folder_->Path()},
                {"TMPDIR", folder_->Path()}};
    }
    const std::string& Folder() const { return folder_->Path(); }
    SimServer& Server(SimServer::Kind kind) {
        auto& slot = kind == SimServer::Kind::Pty ? pty_ : tcp_;
        if (!slot) {
            slot = std::make_unique<SimServer>(kind, Env());
        }
        return *slot;
    }
    void TearDown() override {
        pty_.reset();
        tcp_.reset();
        folder_.reset();
    }

  private:
    World() : folder_(std::make_unique<ScratchFolder>()) {}
    std::unique_ptr<ScratchFolder> folder_;
    std::unique_ptr<SimServer> pty_;
    std::unique_ptr<SimServer> tcp_;
};

[[maybe_unused]] auto* const kWorld = ::testing::AddGlobalTestEnvironment(&World::Get());

RunResult RunCli(const std::vector<std::string>& args, const std::string& input = {},
                 std::chrono::milliseconds timeout = 20s) {
    std::vector<std::string> argv = {VESK_CLI_PATH};
    argv.insert(argv.end(), args.begin(), args.end());
    return Child(argv, World::Get().Env(), input).Finish(timeout);
}

json ParseJson(const std::string& text) {
    try {
        return json::parse(text);
    } catch (const std::exception& e) {
        ADD_FAILURE() << "not JSON: " << text;
        return json();
    }
}

std::vector<json> JsonLines(const std::string& text) {
    std::vector<json> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty()) {
            lines.push_back(ParseJson(line));
        }
    }
    return lines;
}

std::vector<std::string> Lines(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        lines.push_back(line);
    }
    return lines;
}

bool Contains(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

enum class Link { Embedded, Pty, Tcp };

std::string LinkName(const ::testing::TestParamInfo<Link>& info) {
    switch (info.param) {
        case Link::Embedded:
            return "Embedded";
        case Link::Pty:
            return "Pty";
        case Link::Tcp:
            return "Tcp";
    }
    return "";
}

class CliOnLink : public ::testing::TestWithParam<Link> {
  protected:
    void SetUp() override {
#ifndef VESK_SIM_PATH
        if (GetParam() != Link::Embedded) {
            GTEST_SKIP() << "vesk4710-sim is not built";
        }
#endif
        if (GetParam() == Link::Pty) {
            device_ = World::Get().Server(SimServer::Kind::Pty).Device();
        } else if (GetParam() == Link::Tcp) {
            device_ = World::Get().Server(SimServer::Kind::Tcp).Device();
        }
    }

    // The tool on this link; a run that does not finish fails the test.
    RunResult Cli(std::vector<std::string> args, const std::string& input = {}) {
        if (!device_.empty()) {
            args.insert(args.begin(), {"--device", device_});
        }
        RunResult r = RunCli(args, input);
        EXPECT_FALSE(r.timedOut) << "vesk4710 did not finish";
        return r;
    }
    // A run expected to succeed, its stdout parsed.
    json CliJson(std::vector<std::string> args) {
        args.insert(args.begin(), "--json");
        const RunResult r = Cli(args);
        EXPECT_EQ(r.status, 0) << r.err;
        return ParseJson(r.out);
    }

    std::string device_;
};

TEST_P(CliOnLink, InfoDescribesTheInstrumentItsModulesAndChannels) {
    const json j = CliJson({"info"});
    for (const char* key : {"identification", "model", "serial", "firmware", "units", "interval",
                            "scanMode", "scanChannels", "autoPower", "calDate", "numModules",
                            "numChannels", "passcodeState", "channels"}) {
        EXPECT_TRUE(j.contains(key)) << key;
    }
    EXPECT_EQ(j["model"], "4710");
    EXPECT_EQ(j["serial"], "A47100");
    EXPECT_DOUBLE_EQ(j["firmware"].get<double>(), 1.1);
    EXPECT_EQ(j["units"], 0);
    EXPECT_EQ(j["scanChannels"], "1,2");
    EXPECT_EQ(j["calDate"], "2024-01-15");
    EXPECT_EQ(j["numModules"], 2);
    EXPECT_EQ(j["passcodeState"], 1);  // the instrument's passcode locks it
    ASSERT_EQ(j["channels"].size(), 2u);
    const json& ch1 = j["channels"][0];
    EXPECT_EQ(ch1["channel"], 1);
    EXPECT_EQ(ch1["enabled"], true);
    EXPECT_EQ(ch1["serial"], "S1001");
    EXPECT_EQ(ch1["conversionType"], 0);
    EXPECT_EQ(ch1["conversionName"], "ITS-90");
    EXPECT_EQ(ch1["resolution"], 3);
    EXPECT_FALSE(ch1.contains("coefficients"));
    EXPECT_EQ(j["channels"][1]["serial"], "TC2002");
    EXPECT_EQ(j["channels"][1]["conversionType"], 20);

    const json full = CliJson({"info", "--channels"});
    ASSERT_EQ(full["channels"].size(), 2u);
    EXPECT_DOUBLE_EQ(full["channels"][0]["coefficients"]["RTPW"].get<double>(), 25.54321);
    EXPECT_DOUBLE_EQ(full["channels"][0]["coefficients"]["A4"].get<double>(), -1.2e-4);
    EXPECT_DOUBLE_EQ(full["channels"][1]["coefficients"]["C0"].get<double>(), 0.0012);
    EXPECT_EQ(full["channels"][1]["calDate"], "2023-08-21");

    const RunResult text = Cli({"info"});
    EXPECT_EQ(text.status, 0) << text.err;
    EXPECT_TRUE(std::regex_search(text.out, std::regex("Model +4710")));
    EXPECT_TRUE(Contains(text.out, "Channel 2: off, probe TC2002, Thermocouple Type K"));
    // Only the embedded simulator is announced.
    EXPECT_EQ(Contains(text.err, "embedded simulator"), GetParam() == Link::Embedded);
}

TEST_P(CliOnLink, ReadGivesTimeStampedReadingsInEveryFormat) {
    const RunResult r = Cli({"--json", "read", "1", "2", "--count", "2", "--every", "0.05"});
    ASSERT_EQ(r.status, 0) << r.err;
    const auto lines = JsonLines(r.out);
    ASSERT_EQ(lines.size(), 4u);
    const std::regex iso(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d)");
    for (size_t i = 0; i < lines.size(); ++i) {
        EXPECT_EQ(lines[i]["channel"], i % 2 == 0 ? 1 : 2);
        EXPECT_EQ(lines[i]["unit"], "C");
        EXPECT_TRUE(std::regex_match(lines[i]["time"].get<std::string>(), iso));
        const double expected = i % 2 == 0 ? 25.0 : 150.0;
        EXPECT_NEAR(lines[i]["value"].get<double>(), expected, 2.0);
    }

    const RunResult csv = Cli({"read", "1", "--csv"});
    ASSERT_EQ(csv.status, 0) << csv.err;
    const auto rows = Lines(csv.out);
    ASSERT_EQ(rows.size(), 2u);
    EXPECT_EQ(rows[0], "time,channel,value,unit");
    EXPECT_TRUE(std::regex_match(rows[1], std::regex(R"([-0-9T:]+,1,2[45]\.\d+,C)"))) << rows[1];

    // Raw: ohms of the platinum probe, the thermocouple's emf in millivolts.
    const auto raw = JsonLines(Cli({"--json", "read", "--raw", "1", "2"}).out);
    ASSERT_EQ(raw.size(), 2u);
    EXPECT_EQ(raw[0]["unit"], "OHM");
    EXPECT_NEAR(raw[0]["value"].get<double>(), 28.1, 1.0);
    EXPECT_EQ(raw[1]["unit"], "mV");
    EXPECT_NEAR(raw[1]["value"].get<double>(), 6.1, 0.5);

    // Without channels: every channel of the instrument, in order.
    const RunResult plain = Cli({"read"});
    ASSERT_EQ(plain.status, 0) << plain.err;
    ASSERT_EQ(Lines(plain.out).size(), 2u) << plain.out;
    EXPECT_TRUE(std::regex_match(Lines(plain.out).at(0), std::regex(R"(\S+ +1 +2[45]\.\d+ C)")));
    EXPECT_TRUE(std::regex_match(Lines(plain.out).at(1), std::regex(R"(\S+ +2 +\S+ C)")));
}

TEST_P(CliOnLink, GetAndSetWriteThroughTheInstrument) {
    EXPECT_EQ(Cli({"get", "units"}).out, "C\n");
    RunResult r = Cli({"set", "Units", "F"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "F\n");
    EXPECT_EQ(CliJson({"get", "units"}), json({{"name", "units"}, {"value", "F"}}));
    EXPECT_EQ(Cli({"set", "units", "C"}).status, 0);

    EXPECT_EQ(Cli({"set", "interval", "10"}).out, "10\n");
    EXPECT_EQ(Cli({"set", "interval", "auto"}).out, "auto\n");
    EXPECT_EQ(Cli({"set", "scanchannels", "2"}).out, "2\n");
    EXPECT_EQ(Cli({"set", "scanchannels", "1,2"}).out, "1,2\n");
    EXPECT_EQ(Cli({"set", "autopower", "on"}).out, "true\n");
    EXPECT_EQ(Cli({"set", "autopower", "off"}).out, "false\n");
    EXPECT_EQ(CliJson({"get", "model"})["value"], "4710");
    EXPECT_EQ(CliJson({"get", "numchannels"})["value"], 2);

    // Refused values never reach the instrument.
    for (std::vector<std::string> bad : {std::vector<std::string>{"set", "units", "X"},
                                         {"set", "interval", "7"},
                                         {"set", "scanchannels", "1,3"},
                                         {"set", "scanchannels", "1,1"},
                                         {"set", "resolution", "4"},
                                         {"set", "model", "4711"},
                                         {"get", "resolution"},
                                         {"set", "label", "FAR_TOO_LONG"}}) {
        r = Cli(bad);
        EXPECT_EQ(r.status, 2) << bad[1] << " " << bad[2];
        EXPECT_TRUE(r.out.empty());
    }
    EXPECT_EQ(Cli({"get", "units"}).out, "C\n");
}

TEST_P(CliOnLink, ProtectedWritesAskForThePasscode) {
    // No passcode given and no terminal: the write is refused and nothing changes.
    RunResult r = Cli({"set", "serial", "B9"});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(Contains(r.err, "passcode")) << r.err;
    EXPECT_EQ(Cli({"get", "serial"}).out, "A47100\n");

    // A wrong answer is told as the library tells it, then the next one is tried.
    r = Cli({"--json", "--passcode", "9999", "--passcode", kPasscode, "set", "serial", "B9"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(ParseJson(r.out), json({{"name", "serial"}, {"value", "B9"}}));
    bool told = false;
    for (const json& line : JsonLines(r.err)) {
        if (line.contains("message")) {
            EXPECT_EQ(line["message"]["caption"], "Vesk Scientific");
            told = told || Contains(line["message"]["text"].get<std::string>(), "incorrect");
        }
    }
    EXPECT_TRUE(told) << r.err;
    // The trace records the exchange but never the passcode.
    const std::string trace =
        World::Get().Folder() + "/trace-" + std::to_string(static_cast<int>(GetParam())) + ".log";
    EXPECT_EQ(Cli({"--trace", trace, "--passcode", kPasscode, "set", "serial", "A47100"}).status,
              0);
    std::ifstream in(trace);
    const std::string traced((std::istreambuf_iterator<char>(in)),
                             std::istreambuf_iterator<char>());
    EXPECT_TRUE(Contains(traced, "A47100"));
    EXPECT_FALSE(Contains(traced, kPasscode));

    // Afterwards the instrument is locked again.
    EXPECT_EQ(CliJson({"passcode", "--status"})["passcodeState"], 1);
    const json accepted = CliJson({"--passcode", kPasscode, "passcode"});
    EXPECT_EQ(accepted["accepted"], true);
    r = Cli({"--passcode", "0000", "passcode"});
    EXPECT_EQ(r.status, 1);
}

TEST_P(CliOnLink, ChannelShowsAndChangesItsSettings) {
    json ch = CliJson({"channel", "2"});
    EXPECT_EQ(ch["conversionName"], "Thermocouple Type K");
    EXPECT_EQ(ch["rjcType"], 1);
    EXPECT_DOUBLE_EQ(ch["coefficients"]["C1"].get<double>(), -2e-5);

    ch = CliJson({"--passcode", kPasscode, "channel", "2", "set", "rjc", "external", "rjctemp", "5",
                  "C1", "-3e-05", "conversion", "J", "probelock", "on"});
    EXPECT_EQ(ch["conversionName"], "Thermocouple Type J");
    EXPECT_EQ(ch["rjcType"], 0);
    EXPECT_DOUBLE_EQ(ch["rjcTemperature"].get<double>(), 5.0);
    EXPECT_DOUBLE_EQ(ch["coefficients"]["C1"].get<double>(), -3e-5);
    EXPECT_EQ(ch["probeLock"], true);
    // What the instrument keeps, read afresh.
    ch = CliJson({"channel", "2"});
    EXPECT_EQ(ch["conversionName"], "Thermocouple Type J");
    EXPECT_DOUBLE_EQ(ch["coefficients"]["C1"].get<double>(), -3e-5);

    ch = CliJson({"--passcode", kPasscode, "channel", "2", "set", "conversion", "K", "rjc",
                  "internal", "rjctemp", "0", "c1", "-2e-05", "probelock", "off"});
    EXPECT_EQ(ch["conversionName"], "Thermocouple Type K");
    EXPECT_EQ(ch["rjcType"], 1);

    // Without the passcode the locked instrument is not touched.
    RunResult r = Cli({"channel", "1", "set", "serial", "NEW1"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(CliJson({"channel", "1"})["serial"], "S1001");
    // Bad names and values are usage errors.
    for (std::vector<std::string> bad :
         {std::vector<std::string>{"channel", "1", "set", "nope", "1"},
          {"channel", "1", "set", "C0", "1"},  // not a TC
          {"channel", "1", "set", "resolution", "5"},
          {"channel", "1", "set", "conversion", "XYZ"},
          {"channel", "1", "set", "rjctemp", "99"},
          {"channel", "1", "set", "serial"},
          {"channel", "3"}}) {
        EXPECT_EQ(Cli(bad).status, 2) << bad.back();
    }
}

TEST_P(CliOnLink, LogStatusLabelAndClear) {
    const json status = CliJson({"log", "status"});
    EXPECT_EQ(status["demandLogCount"], 300);
    EXPECT_EQ(status["demandLogPoints"], 1000);
    const std::string label = status["label"];

    EXPECT_EQ(Cli({"log", "label", "BATH_B"}).out, "BATH_B\n");
    EXPECT_EQ(CliJson({"log", "label"})["label"], "BATH_B");
    EXPECT_EQ(Cli({"log", "label", label}).status, 0);
    EXPECT_EQ(Cli({"log", "label", "NINECHARS"}).status, 2);

    // Clearing asks first; a no leaves the log alone.
    RunResult r = Cli({"--no", "log", "clear", "demand"});
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(CliJson({"log", "status"})["demandLogCount"], 300);
    r = Cli({"--yes", "log", "clear", "auto"});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(Cli({"log", "clear", "everything"}).status, 2);
}

TEST_P(CliOnLink, DownloadWritesFilesAndNamesThem) {
    // File names carry the time to the second: each download gets its own folder.
    const std::string base =
        World::Get().Folder() + "/dl-" + std::to_string(static_cast<int>(GetParam()));
    std::string folder = base + "/single";
    json j = CliJson({"download", "--folder", folder, "--decimals", "2"});
    ASSERT_EQ(j["files"].size(), 1u);
    const std::string file = j["files"][0];
    EXPECT_EQ(std::filesystem::path(file).parent_path(), std::filesystem::path(folder));
    std::ifstream in(file);
    std::string content((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    // Every one of the 300 readings, with two decimals.
    EXPECT_GE(Lines(content).size(), 300u);
    EXPECT_TRUE(std::regex_search(content, std::regex(R"(,\d+\.\d\d,C)")))
        << content.substr(0, 400);

    j = CliJson({"download", "--folder", base + "/multiple", "--multiple"});
    EXPECT_EQ(j["files"].size(), 3u);  // three labels in the demand log
    std::set<std::string> distinct;
    for (const auto& f : j["files"]) {
        EXPECT_TRUE(std::filesystem::exists(f.get<std::string>()));
        distinct.insert(f.get<std::string>());
    }
    EXPECT_EQ(distinct.size(), 3u);

    const RunResult text = Cli({"download", "--folder", base + "/label", "--label", "2"});
    EXPECT_EQ(text.status, 0) << text.err;
    ASSERT_EQ(Lines(text.out).size(), 1u);
    EXPECT_TRUE(std::filesystem::exists(Lines(text.out)[0]));
    EXPECT_EQ(Cli({"download", "--label", "26"}).status, 2);
    EXPECT_EQ(Cli({"download", "--log", "weekly"}).status, 2);
}

TEST_P(CliOnLink, CalibrationShowSetAndDate) {
    json j = CliJson({"cal", "show"});
    EXPECT_EQ(j["calDate"], "2024-01-15");
    ASSERT_EQ(j["ranges"]["LO_OHMS"].size(), 3u);
    EXPECT_DOUBLE_EQ(j["ranges"]["LO_OHMS"][1]["reference"].get<double>(), 100.0);
    EXPECT_DOUBLE_EQ(j["ranges"]["LO_OHMS"][1]["value"].get<double>(), 100.00154);
    const size_t mvPoints = j["ranges"]["MV"].size();

    // Rewrite MV's first point (the simulator's state lives on within this run).
    j = CliJson({"--passcode", kPasscode, "cal", "set", "mv", "1", "-0.5", "-0.4985"});
    EXPECT_EQ(j["range"], "MV");
    ASSERT_EQ(j["points"].size(), mvPoints);
    EXPECT_DOUBLE_EQ(j["points"][0]["reference"].get<double>(), -0.5);
    EXPECT_DOUBLE_EQ(j["points"][0]["value"].get<double>(), -0.4985);
    EXPECT_DOUBLE_EQ(CliJson({"cal", "show"})["ranges"]["MV"][0]["value"].get<double>(), -0.4985);
    EXPECT_EQ(Cli({"--passcode", kPasscode, "cal", "set", "MV", "1", "0", "0.0004"}).status, 0);

    EXPECT_EQ(Cli({"cal", "set", "MV", "1", "0", "1"}).status, 1);  // locked, no passcode
    EXPECT_EQ(Cli({"cal", "set", "XX_OHMS", "1", "0", "1"}).status, 2);
    EXPECT_EQ(Cli({"cal", "set", "HI_OHMS", "3", "0", "1"}).status, 2);  // skips point 2
    EXPECT_EQ(Cli({"cal", "set", "MV", "1", "zero", "1"}).status, 2);

    EXPECT_EQ(Cli({"cal", "date"}).out, "2024-01-15\n");
    EXPECT_EQ(CliJson({"--passcode", kPasscode, "cal", "date", "2023-12-31"})["calDate"],
              "2023-12-31");
    EXPECT_EQ(Cli({"--passcode", kPasscode, "cal", "date", "2024-01-15"}).out, "2024-01-15\n");
    EXPECT_EQ(Cli({"cal", "date", "2024-02-30"}).status, 2);
    EXPECT_EQ(Cli({"cal", "date", "2999-01-01"}).status, 2);
}

TEST_P(CliOnLink, CallInvokesMembersByName) {
    json j = CliJson({"call", "Model"});
    EXPECT_EQ(j, json({{"value", "4710"}}));
    // The label comes back through the by-reference argument.
    j = CliJson({"call", "QueryLoggingLabel", "\"\""});
    EXPECT_EQ(j["value"], true);
    ASSERT_EQ(j["args"].size(), 1u);
    EXPECT_TRUE(j["args"][0].is_string());
    j = CliJson({"call", "--channel", "1", "QueryInfo"});
    EXPECT_EQ(j["value"], true);
    EXPECT_EQ(CliJson({"call", "--module", "1", "ModuleName"})["value"], "PRT");
    EXPECT_EQ(CliJson({"call", "GetChannelReference", "2"})["value"],
              json({{"object", "CVesk4710Channel"}}));
    j = CliJson({"call", "FillRTLSUnitsList", "nothing"});
    EXPECT_EQ(j["args"][0]["object"], "ListBox");
    EXPECT_EQ(j["args"][0]["items"][0]["data"], -2);
    EXPECT_NEAR(CliJson({"call", "QueryMeasurement", "1"})["value"].get<double>(), 25.0, 2.0);

    RunResult r = Cli({"call", "Frobnicate"});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(Contains(r.err, "error 438: Object doesn't support this property or method"))
        << r.err;
    r = Cli({"--json", "call", "Modules", "7"});
    EXPECT_EQ(r.status, 1);
    const json e = ParseJson(r.err.substr(r.err.rfind("{\"error\"")));
    EXPECT_EQ(e["error"]["number"], static_cast<int32_t>(0x800403EAu));
    EXPECT_EQ(e["error"]["source"], "CVesk4710 - Modules");
    r = Cli({"call", "QueryMeasurement", "-1"});
    EXPECT_TRUE(Contains(r.err, "error 0x800403E9")) << r.err;
    EXPECT_TRUE(Contains(Cli({"call", "UpdateScanMode", "1", "2", "3"}).err, "error 450"));
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
call QueryLoggingLabel ""
set SystemClock 2024-03-07
get SystemClock
module 5 get ModuleName
frobnicate Model
call QueryMeasurement 1
)";
    RunResult r = Cli({"--json", "script"}, script);
    EXPECT_EQ(r.status, 1);  // two lines failed
    const auto lines = JsonLines(r.out);
    ASSERT_EQ(lines.size(), 14u) << r.out;
    EXPECT_EQ(lines[0], json({{"value", true}}));
    EXPECT_EQ(lines[1], json({{"value", "4710"}}));
    EXPECT_EQ(lines[2], json({{"value", nullptr}}));
    EXPECT_EQ(lines[3], json({{"value", 3}}));
    EXPECT_EQ(lines[4], json({{"value", true}}));
    EXPECT_EQ(lines[6]["value"], 3);
    EXPECT_EQ(lines[7]["value"], "PRT");
    EXPECT_TRUE(lines[8]["args"][0].is_string());
    EXPECT_EQ(lines[10], json({{"value", "2024-03-07"}}));
    EXPECT_EQ(lines[11]["error"]["number"], static_cast<int32_t>(0x800403EAu));
    EXPECT_TRUE(lines[12].contains("error"));
    EXPECT_NEAR(lines[13]["value"].get<double>(), 25.0, 2.0);

    // Stopping at the first error leaves the rest undone.
    r = Cli({"--json", "script", "--stop-on-error", "-"}, script);
    EXPECT_EQ(r.status, 1);
    EXPECT_EQ(JsonLines(r.out).size(), 12u);

    // From a file, in text.
    const std::string path = World::Get().Folder() + "/ok.script";
    std::ofstream(path) << "get Model\nchannel 2 get ActualChannel\n";
    r = Cli({"script", path});
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_EQ(r.out, "4710\n2\n");
}

INSTANTIATE_TEST_SUITE_P(Links, CliOnLink, ::testing::Values(Link::Embedded, Link::Pty, Link::Tcp),
                         LinkName);

TEST(Cli, MembersListEachClassInInterfaceOrder) {
    RunResult r = RunCli({"members"});
    ASSERT_EQ(r.status, 0);
    const auto lines = Lines(r.out);
    EXPECT_EQ(lines.front(), "1 DVCICommError let");
    EXPECT_EQ(lines.back(), "81 Communications get");
    EXPECT_TRUE(std::find(lines.begin(), lines.end(), "39 QueryInfo method") != lines.end());
    // No instrument is needed to list members.
    EXPECT_TRUE(r.err.empty()) << r.err;

    const json card = ParseJson(RunCli({"--json", "members", "CVesk4710Card"}).out);
    EXPECT_EQ(card["class"], "CVesk4710Card");
    EXPECT_EQ(card["members"].size(), 16u);
    EXPECT_EQ(card["members"].back()["id"], 14);
    EXPECT_EQ(card["members"].back()["name"], "Channels");
    const json channel = ParseJson(RunCli({"--json", "members", "channel"}).out);
    EXPECT_EQ(channel["members"][0], json({{"id", 1}, {"name", "CalDate"}, {"kind", "get"}}));
    EXPECT_EQ(RunCli({"members", "CVesk9999"}).status, 2);
}

TEST(Cli, BadArgumentsAreUsageErrors) {
    const std::vector<std::vector<std::string>> cases = {
        {},
        {"frobnicate"},
        {"--baud", "1234", "info"},
        {"--yes", "--no", "info"},
        {"--timeout", "0", "info"},
        {"info", "--bogus"},
        {"read", "--count", "-1"},
        {"read", "--every", "-2"},
        {"read", "0"},
        {"read", "9"},
        {"get"},
        {"get", "nonsense"},
        {"set", "units"},
        {"channel"},
        {"channel", "one"},
        {"log"},
        {"log", "clear"},
        {"download", "--decimals", "12"},
        {"cal"},
        {"cal", "set", "MV", "9", "0", "0"},
        {"call"},
        {"call", "--channel", "1", "--module", "0", "Model"},
        {"script", "/nonexistent/script.txt"},
    };
    for (const auto& args : cases) {
        const RunResult r = RunCli(args);
        std::string joined;
        for (const auto& a : args) {
            joined += a + " ";
        }
        EXPECT_EQ(r.status, 2) << joined << "\n" << r.err;
        EXPECT_TRUE(r.out.empty()) << joined;
        EXPECT_FALSE(r.err.empty()) << joined;
    }
}

TEST(Cli, EveryCommandHasHelp) {
    for (std::vector<std::string> args : {std::vector<std::string>{"--help"},
                                          {"info", "--help"},
                                          {"read", "--help"},
                                          {"get", "--help"},
                                          {"set", "--help"},
                                          {"channel", "--help"},
                                          {"channel", "1", "set", "--help"},
                                          {"passcode", "--help"},
                                          {"log", "status", "--help"},
                                          {"log", "clear", "--help"},
                                          {"log", "label", "--help"},
                                          {"download", "--help"},
                                          {"cal", "show", "--help"},
                                          {"cal", "set", "--help"},
                                          {"cal", "date", "--help"},
                                          {"members", "--help"},
                                          {"call", "--help"},
                                          {"script", "--help"}}) {
        const RunResult r = RunCli(args);
        EXPECT_EQ(r.status, 0) << args[0];
        EXPECT_TRUE(Contains(r.out, "Usage:")) << args[0];
    }
    // The settings list is part of get's help.
    EXPECT_TRUE(Contains(RunCli({"get", "--help"}).out, "scanchannels"));
}

#ifdef VESK_SIM_PATH

// A link that drops mid-run ends the command with status 1 and says so.
TEST(CliLink, DroppedLinkEndsWithStatusOneAndAClearMessage) {
    SimServer server(SimServer::Kind::Tcp, World::Get().Env());
    Child reader({VESK_CLI_PATH, "--device", server.Device(), "read", "1", "--count", "0",
                  "--every", "0.05"},
                 World::Get().Env());
    ASSERT_FALSE(reader.ReadLine(10s).empty());
    server.Kill();
    const RunResult r = reader.Finish(10s);
    EXPECT_FALSE(r.timedOut);
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(Contains(r.err, "dropped")) << r.err;
}

TEST(CliLink, InjectedFaultsGiveStatusOne) {
    {
        SimServer server(SimServer::Kind::Pty, World::Get().Env(), {"--fault", "drop@id=12"});
        const RunResult r = RunCli({"--device", server.Device(), "read", "1"});
        EXPECT_EQ(r.status, 1);
        EXPECT_TRUE(Contains(r.err, "the link to the instrument was dropped")) << r.err;
    }
    {
        SimServer server(SimServer::Kind::Tcp, World::Get().Env(), {"--fault", "noreply@id=18"});
        const RunResult r =
            RunCli({"--json", "--device", server.Device(), "--timeout", "300", "info"});
        EXPECT_EQ(r.status, 1);
        const auto lines = JsonLines(r.err);
        ASSERT_FALSE(lines.empty());
        EXPECT_TRUE(lines.back().contains("error")) << r.err;
        EXPECT_EQ(lines.back()["error"]["source"], "CVesk4710 - QueryInfo");
    }
    // Nothing listens there.
    const RunResult r = RunCli({"--device", "tcp://127.0.0.1:1", "info"});
    EXPECT_EQ(r.status, 1);
    EXPECT_TRUE(Contains(r.err, "could not be opened")) << r.err;
}

#endif

TEST(Cli, CtrlCStopsReadingCleanly) {
    for (std::vector<std::string> wait :
         {std::vector<std::string>{"--every", "0.05"}, std::vector<std::string>{"--new"}}) {
        std::vector<std::string> argv = {VESK_CLI_PATH, "read", "1", "--count", "0"};
        argv.insert(argv.end(), wait.begin(), wait.end());
        Child reader(argv, World::Get().Env());
        ASSERT_FALSE(reader.ReadLine(10s).empty()) << wait[0];
        reader.Signal(SIGINT);
        const RunResult r = reader.Finish(10s);
        EXPECT_FALSE(r.timedOut) << wait[0];
        EXPECT_EQ(r.status, 0) << wait[0] << r.err;
    }
}

}  // namespace
}  // namespace vesk::test
