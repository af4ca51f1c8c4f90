// The recorder publishing to Debian's own mosquitto and prometheus servers, each started here on
// a free loopback port with its own configuration in a fresh folder.
#include <gtest/gtest.h>
#include <httplib.h>

#include <SQLiteCpp/SQLiteCpp.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <nlohmann/json.hpp>

#include "tests/apps/Processes.h"
#include "tests/testsupport/FakeFileSystem.h"

namespace vesk::test {

namespace {

using namespace std::chrono_literals;
using nlohmann::json;

// Whether something accepts connections on the port within five seconds.
bool Listening(int port) {
    for (int i = 0; i < 100; ++i) {
        if (httplib::Client("127.0.0.1", port).Get("/").error() != httplib::Error::Connection) {
            return true;
        }
        std::this_thread::sleep_for(50ms);
    }
    return false;
}

// A subscriber to the test broker on the port.
std::vector<std::string> Subscriber(int port, std::vector<std::string> args) {
    std::vector<std::string> argv = {"/usr/bin/mosquitto_sub",
                                     "-h",
                                     "127.0.0.1",
                                     "-p",
                                     std::to_string(port),
                                     "-u",
                                     "u",
                                     "-P",
                                     "s3cret"};
    argv.insert(argv.end(), args.begin(), args.end());
    return argv;
}

class PublishTest : public ::testing::Test {
  protected:
    void SetUp() override { std::filesystem::create_directories(dir_ / "state"); }

    std::string Path(const std::string& name) const { return (dir_ / name).string(); }
    void Write(const std::string& name, const std::string& text) const {
        std::ofstream(Path(name)) << text;
    }
    // The recorder on two embedded simulators with the sections given.
    std::unique_ptr<Child> Recorder(const std::string& sections) const {
        Write("r.toml", "database = \"r.db\"\n[retry]\nfirst = \"100ms\"\nmax = \"300ms\"\n" +
                            sections +
                            "\n[[instrument]]\nname = \"bath-a\"\ndevice = \"sim:71\"\n" +
                            "every = \"50ms\"\n[[instrument]]\nname = \"bath-b\"\n" +
                            "device = \"sim:72\"\nchannels = [2]\nevery = \"50ms\"\n");
        return std::make_unique<Child>(
            std::vector<std::string>{VESK_CLI_PATH, "record", "--config", Path("r.toml")},
            std::map<std::string, std::string>{{"HOME", dir_.string()},
                                               {"XDG_STATE_HOME", Path("state")}});
    }
    std::unique_ptr<Child> Broker(int port) const {
        // Logins only: the recorder's password must reach the broker.
        Child({"/usr/bin/mosquitto_passwd", "-c", "-b", Path("passwd"), "u", "s3cret"}, {})
            .Finish(10s);
        Write("mosquitto.conf", "listener " + std::to_string(port) +
                                    " 127.0.0.1\nallow_anonymous false\npassword_file " +
                                    Path("passwd") + "\npersistence true\n" +
                                    // Run as root, it would drop to a user who cannot save.
                                    "user " + (::getuid() == 0 ? "root" : "mosquitto") + "\n" +
                                    "autosave_interval 1\npersistence_location " + dir_.string() +
                                    "/\n");
        auto broker = std::make_unique<Child>(
            std::vector<std::string>{"/usr/sbin/mosquitto", "-c", Path("mosquitto.conf")},
            std::map<std::string, std::string>{});
        EXPECT_TRUE(Listening(port)) << "mosquitto did not start";
        return broker;
    }
    json Query(const std::string& sql) const {
        SQLite::Database db(Path("r.db"), SQLite::OPEN_READWRITE);
        db.setBusyTimeout(5000);
        SQLite::Statement q(db, sql);
        json rows = json::array();
        while (q.executeStep()) {
            json row = json::array();
            for (int c = 0; c < q.getColumnCount(); ++c) {
                const SQLite::Column col = q.getColumn(c);
                row.push_back(col.isInteger() ? json(col.getInt64())
                              : col.isFloat() ? json(col.getDouble())
                                              : json(col.getString()));
            }
            rows.push_back(row);
        }
        return rows;
    }

    FakeFileSystem scratch_;  // a fresh folder, removed afterwards
    const std::filesystem::path dir_{scratch_.Root()};
};

}  // namespace

// Each key's refusal is in the configuration tests; here, that nothing starts and no password
// shows.
TEST_F(PublishTest, ABadSectionStopsTheRecorderBeforeAnythingStartsAndNeverShowsThePassword) {
    const RunResult r =
        Recorder("[mqtt]\nport = 70000\nusername = \"u\"\npassword = \"s3cret\"")->Finish(20s);
    EXPECT_EQ(r.status, 2);
    EXPECT_NE(r.err.find("mqtt.port"), std::string::npos) << r.err;
    EXPECT_EQ(r.err.find("s3cret"), std::string::npos) << r.err;
    EXPECT_FALSE(std::filesystem::exists(Path("r.db")));
}

TEST_F(PublishTest, MqttGetsEveryReadingOnceInOrderAcrossABrokerOutageAndTheLastWill) {
    const int port = FreePort();
    auto broker = Broker(port);
    Child sub(Subscriber(port, {"-t", "lab/#", "-v", "-q", "1", "-c", "-i", "vesk-test-sub"}), {});
    std::this_thread::sleep_for(300ms);
    auto recorder = Recorder("[mqtt]\nport = " + std::to_string(port) +
                             "\ntopic_prefix = \"lab\"\nusername = \"u\"\npassword = \"s3cret\"" +
                             "\nkeep_alive = \"5s\"");
    std::map<std::string, std::vector<json>> readings;  // by instrument
    std::map<std::string, json> status;
    // Reads what the subscriber got until done() holds; false when it did not in time.
    auto until = [&](const std::function<bool()>& done, std::chrono::seconds limit) {
        const auto deadline = std::chrono::steady_clock::now() + limit;
        while (!done()) {
            const std::string line = sub.ReadLine(200ms);
            if (std::chrono::steady_clock::now() > deadline) {
                return false;
            }
            const size_t space = line.find(' ');
            if (space == std::string::npos) {
                continue;
            }
            const std::string topic = line.substr(0, space);
            json payload = json::parse(line.substr(space + 1));
            payload["topic"] = topic;
            const std::string instrument = topic.substr(4, 6);
            if (topic.size() > 7 && topic.substr(topic.size() - 7) == "/status") {
                status[instrument] = payload;
            } else {
                readings[instrument].push_back(payload);
            }
        }
        return true;
    };
    auto count = [&](size_t n) {
        return [&, n] { return readings["bath-a"].size() >= n && readings["bath-b"].size() >= n; };
    };
    // The status follows once the instrument has told its serial number.
    ASSERT_TRUE(until(
        [&] {
            return count(20)() && status["bath-b"].contains("serial") &&
                   status["bath-b"]["serial"] != "";
        },
        20s));
    EXPECT_EQ(status["bath-a"]["state"], "online");
    EXPECT_EQ(status["bath-b"]["serial"], "A47100");

    // Readings recorded while the broker is away arrive when it is back, once and in order;
    // one whose acknowledgement was lost as it stopped may come again (QoS 1). The broker
    // hangs, then dies, once it has saved the subscriber's session.
    for (int i = 0; i < 50 && !std::filesystem::exists(dir_ / "mosquitto.db"); ++i) {
        std::this_thread::sleep_for(100ms);
    }
    broker->Signal(SIGSTOP);
    const int64_t beforeStop = Query("SELECT MAX(seq) FROM readings")[0][0];
    std::this_thread::sleep_for(6s);  // past keep_alive: the recorder gives up on it
    broker.reset();
    std::this_thread::sleep_for(1000ms);
    const int64_t during = Query("SELECT MAX(seq) FROM readings")[0][0];
    ASSERT_GT(during, beforeStop + 10);
    broker = Broker(port);
    ASSERT_TRUE(until(
        [&] {
            return readings["bath-a"].back()["seq"] > during &&
                   readings["bath-b"].back()["seq"] > during;
        },
        30s));
    for (const char* instrument : {"bath-a", "bath-b"}) {
        std::vector<json> got;
        for (const json& r : readings[instrument]) {
            if (got.empty() || r["seq"] > got.back()["seq"]) {
                got.push_back(r);
            } else {
                EXPECT_LE(r["seq"], beforeStop) << instrument << ": repeated or late " << r;
            }
        }
        const json stored = Query(
            "SELECT seq, channel, value, unit, instrument_serial, probe_serial FROM readings_view "
            "WHERE instrument = '" +
            std::string(instrument) + "' AND seq <= " + got.back()["seq"].dump() + " ORDER BY seq");
        ASSERT_EQ(got.size(), stored.size()) << instrument << ": lost readings";
        for (size_t n = 0; n < got.size(); ++n) {
            const json& r = got[n];
            ASSERT_EQ(json::array(
                          {r["seq"], r["channel"], r["value"], r["unit"], r["serial"], r["probe"]}),
                      stored[n])
                << instrument << " reading " << n;
            EXPECT_EQ(r["topic"],
                      "lab/" + std::string(instrument) + "/" + stored[n][1].dump() + "/reading");
        }
    }

    // A newcomer sees both statuses at once (retained); a killed recorder leaves its will.
    const RunResult retained =
        Child(Subscriber(port, {"-t", "lab/+/status", "-C", "2"}), {}).Finish(10s);
    EXPECT_EQ(retained.out.find("\"offline\""), std::string::npos) << retained.out;
    EXPECT_NE(retained.out.find("\"online\""), retained.out.rfind("\"online\"")) << retained.out;
    recorder->Signal(SIGKILL);
    const RunResult killed = recorder->Finish(5s);
    EXPECT_EQ(killed.err.find("s3cret"), std::string::npos);
    EXPECT_NE(killed.err.find("no acknowledgement for 5 s"), std::string::npos) << killed.err;
    ASSERT_TRUE(until(
        [&] {
            return status["bath-a"]["state"] == "offline" && status["bath-b"]["state"] == "offline";
        },
        15s));
}

TEST_F(PublishTest, PrometheusScrapesTheLatestValueTheDatabaseHolds) {
    const int metrics = FreePort();
    auto recorder =
        Recorder("[prometheus]\nlisten = \"127.0.0.1:" + std::to_string(metrics) + "\"");
    const int port = FreePort();
    Write("prometheus.yml",
          "global:\n  scrape_interval: 1s\nscrape_configs:\n  - job_name: vesk\n" +
              std::string("    static_configs:\n      - targets: ['127.0.0.1:") +
              std::to_string(metrics) + "']\n");
    Child prometheus({"/usr/bin/prometheus", "--config.file=" + Path("prometheus.yml"),
                      "--storage.tsdb.path=" + Path("tsdb"),
                      "--web.listen-address=127.0.0.1:" + std::to_string(port)},
                     {});
    ASSERT_TRUE(Listening(metrics));
    httplib::Client api("127.0.0.1", port);
    json result;
    for (int i = 0; i < 60 && result.size() < 2; ++i) {
        std::this_thread::sleep_for(500ms);
        const httplib::Params query = {
            {"time", std::to_string(std::time(nullptr))},
            {"query", "{__name__=~\"vesk4710_reading(_sequence)?\",instrument=\"bath-b\"}"}};
        const auto reply = api.Get("/api/v1/query", query, httplib::Headers{});
        if (reply && reply->status == 200) {
            result = json::parse(reply->body)["data"]["result"];
        }
    }
    ASSERT_EQ(result.size(), 2u) << result.dump();
    std::map<std::string, double> got;
    for (const json& series : result) {
        got[series["metric"]["__name__"]] = std::stod(series["value"][1].get<std::string>());
    }
    const json& labels = result[0]["metric"];
    const json stored = Query(
        "SELECT value, channel, unit, instrument_serial, probe_serial FROM readings_view WHERE seq "
        "= " +
        std::to_string(static_cast<int64_t>(got["vesk4710_reading_sequence"])));
    ASSERT_EQ(stored.size(), 1u);
    EXPECT_EQ(got["vesk4710_reading"], stored[0][0].get<double>());
    EXPECT_EQ(labels["channel"], stored[0][1].dump());
    EXPECT_EQ(labels["unit"], stored[0][2]);
    EXPECT_EQ(labels["serial"], stored[0][3]);
    EXPECT_EQ(labels["probe"], stored[0][4]);
}

}  // namespace vesk::test
