// vesk4710 record as a lab runs it: killed at random moments, its simulator link dropped and
// restored, info and download through its endpoint, export refusing to replace a file.
#include <csignal>
#include <fstream>
#include <random>
#include <regex>

#include "tests/apps/Processes.h"
#include "tests/recorder/RecorderFixture.h"

namespace vesk::test {

namespace {

using namespace std::chrono_literals;

class RecordCommandTest : public RecorderTest {
  protected:
    std::map<std::string, std::string> Env() const {
        return {{"XDG_STATE_HOME", (dir_ / "state").string()},
                {"XDG_CONFIG_HOME", (dir_ / "config").string()},
                {"HOME", dir_.string()}};
    }
    RunResult Run(std::vector<std::string> args) const {
        args.insert(args.begin(), VESK_CLI_PATH);
        return Child(args, Env()).Finish(30s);
    }
    std::string Db() const { return (dir_ / "r.db").string(); }
    // A figure of a database the recorder may still be making; 0 until it is made.
    int64_t Soon(const std::string& sql) const {
        try {
            return Count(sql);
        } catch (const std::exception&) {
            return 0;
        }
    }
    int64_t Stored() const { return Soon("SELECT COALESCE(MAX(seq), 0) FROM readings"); }
};

// The highest sequence the recorder said it committed.
int64_t LastCommitted(const std::string& err) {
    static const std::regex said("up to #([0-9]+)");
    int64_t last = 0;
    for (std::sregex_iterator it(err.begin(), err.end(), said), end; it != end; ++it) {
        last = std::max<int64_t>(last, std::stoll((*it)[1]));
    }
    return last;
}

}  // namespace

TEST_F(RecordCommandTest, KilledAtRandomMomentsItLosesNothingCommitted) {
    std::mt19937 random(std::random_device{}());
    int64_t committed = 0;
    for (int kill = 0; kill < 6; ++kill) {
        Child recorder({VESK_CLI_PATH, "--device", "sim:61", "record", "--db", Db(), "--channels",
                        "1,2", "--every", "10ms", "--verbose"},
                       Env());
        // Killed at a random moment once it has stored something new.
        const int64_t before = Stored();
        for (int wait = 0; wait < 100 && Stored() <= before; ++wait) {
            std::this_thread::sleep_for(50ms);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(random() % 500));
        recorder.Signal(SIGKILL);
        // What it said it committed (a kill between a commit and its word may hide the last).
        committed = std::max(committed, LastCommitted(recorder.Finish(10s).err));
        EXPECT_EQ(
            Count("SELECT COUNT(*) FROM pragma_integrity_check WHERE integrity_check != 'ok'"), 0);
        // Sequence numbers are dense: every reading up to the last commit it told is there.
        EXPECT_EQ(Count("SELECT COUNT(*) FROM readings WHERE seq <= " + std::to_string(committed)),
                  committed);
    }
    EXPECT_GT(committed, 0);
    // The next run tells the time the recorder was gone as a gap, and records again.
    EXPECT_EQ(
        Run({"--device", "sim:61", "record", "--db", Db(), "--every", "10ms", "--for", "300ms"})
            .status,
        0);
    EXPECT_GE(Count("SELECT COUNT(*) FROM gaps WHERE reason LIKE '%ended without stopping%' AND "
                    "ended_us IS NOT NULL"),
              5);
    const RunResult status = Run({"record", "status", "--db", Db()});
    EXPECT_NE(status.out.find("sim-61  stopped  device sim:61  serial A47100"), std::string::npos)
        << status.out;
}

TEST_F(RecordCommandTest, ADroppedLinkIsAGapWithItsReasonAndRecordingResumes) {
    const std::string link = (dir_ / "tty4710").string();
    // The instrument's link drops at its 60th request and comes back behind the same name.
    SimServer sim(SimServer::Kind::Pty, Env(), {"--link", link, "--fault", "drop@req=60"});
    Child recorder({VESK_CLI_PATH, "--device", link, "--timeout", "500", "record", "--db", Db(),
                    "--channels", "1,2", "--every", "50ms"},
                   Env());
    rec::TimeUs ended = 0;
    for (int n = 0; n < 100 && ended == 0; ++n) {
        std::this_thread::sleep_for(100ms);
        ended = Soon("SELECT COALESCE(MAX(ended_us), 0) FROM gaps");
    }
    std::this_thread::sleep_for(500ms);
    recorder.Signal(SIGTERM);
    const RunResult r = recorder.Finish(10s);
    EXPECT_EQ(r.status, 0) << r.err;
    EXPECT_NE(r.err.find("recording again"), std::string::npos) << r.err;
    ASSERT_GT(ended, 0) << r.err;
    EXPECT_EQ(Count("SELECT COUNT(*) FROM gaps WHERE reason LIKE '%dropped%'"), 1);
    EXPECT_GT(Count("SELECT COUNT(*) FROM readings, gaps WHERE time_us < started_us"), 0);
    EXPECT_GT(Count("SELECT COUNT(*) FROM readings, gaps WHERE time_us >= ended_us"), 4);
    EXPECT_EQ(Count("SELECT COUNT(*) FROM readings, gaps WHERE time_us > started_us AND "
                    "time_us < ended_us"),
              0);
}

TEST_F(RecordCommandTest, InfoAndDownloadWorkThroughTheEndpointWhileRecording) {
    Child recorder({VESK_CLI_PATH, "--device", "sim:62", "record", "--db", Db(), "--channels",
                    "1,2", "--every", "20ms", "--serve", "tcp://127.0.0.1:0"},
                   Env());
    const std::string line = recorder.ReadLine(10s);  // "sim-62 tcp://127.0.0.1:PORT"
    const std::string endpoint = line.substr(line.find(' ') + 1);
    ASSERT_EQ(endpoint.rfind("tcp://127.0.0.1:", 0), 0u) << line;
    Child info({VESK_CLI_PATH, "--device", endpoint, "info"}, Env());
    Child download(
        {VESK_CLI_PATH, "--device", endpoint, "download", "--folder", (dir_ / "dl").string()},
        Env());
    const RunResult i = info.Finish(20s);
    const RunResult d = download.Finish(20s);
    recorder.Signal(SIGINT);
    EXPECT_EQ(recorder.Finish(10s).status, 0);
    EXPECT_EQ(i.status, 0) << i.err;
    EXPECT_NE(i.out.find("Serial           A47100"), std::string::npos) << i.out;
    ASSERT_EQ(d.status, 0) << d.err;
    std::ifstream file(d.out.substr(0, d.out.find('\n')));
    const auto lines = std::count(std::istreambuf_iterator<char>(file), {}, '\n');
    EXPECT_EQ(lines, 300 + 7);  // every reading of the log under the file's heading
    EXPECT_EQ(Count("SELECT COUNT(*) FROM gaps"), 0);
    EXPECT_EQ(Count("SELECT COUNT(*) % 2 FROM readings"), 0);

    const std::string out = (dir_ / "day.csv").string();
    EXPECT_EQ(Run({"export", "--db", Db(), "-o", out}).status, 0);
    const RunResult again = Run({"export", "--db", Db(), "-o", out});
    EXPECT_EQ(again.status, 1);
    EXPECT_NE(again.err.find("Will not replace"), std::string::npos) << again.err;
    EXPECT_EQ(Run({"export", "--db", Db(), "--from", "tomorrow"}).status, 2);
}

}  // namespace vesk::test
