// The shared endpoint while recording: clients' replies never cross, a client's log transfer
// becomes a gap with its reason, hung or hostile clients disturb nothing, a client's write is seen.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <vector>

#include "components/comm/CommErrors.h"
#include "components/comm/Communications.h"
#include "simulator/Faults.h"
#include "tests/apps/Processes.h"
#include "tests/recorder/RecorderFixture.h"
#include "tests/testsupport/Raised.h"
#include "vesk4710/platform/SettingIds.h"

namespace vesk::test {

namespace {

constexpr const char* kIdentification = "Vesk Scientific,4710,A47100,1.10";

std::shared_ptr<comm::Communications> Client(const std::string& endpoint, int timeoutMs = 3000) {
    comm::CommOptions o;
    o.device = endpoint;
    o.timeoutMs = timeoutMs;
    return comm::Communications::Create(o);
}

int RawClient(const std::string& endpoint) {
    sockaddr_in sa{};
    sa.sin_family = AF_INET;
    sa.sin_port = htons(static_cast<uint16_t>(std::stoi(endpoint.substr(endpoint.rfind(':') + 1))));
    sa.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    const int fd = ::socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(::connect(fd, reinterpret_cast<sockaddr*>(&sa), sizeof sa), 0);
    return fd;
}

}  // namespace

TEST_F(RecorderTest, ClientsWithTheSameTagsGetTheirOwnRepliesAndNoReadingIsLost) {
    rec::Recorder recorder(Config(41, std::chrono::milliseconds(20), "tcp://127.0.0.1:0"));
    recorder.Start();
    const std::string endpoint = recorder.Endpoints().at(0);
    ASSERT_TRUE(WaitRounds(recorder, 2));

    // Every client numbers its requests from 1: the tags on the endpoint collide all the time.
    const std::pair<int32_t, std::string> asks[] = {
        {SET_IDENTIFICATION, kIdentification}, {SET_UNITS_READ, "C"}, {SET_NUM_MODULES, "2"}};
    std::atomic<int> crossed{0};
    std::atomic<int> answered{0};
    std::vector<std::thread> clients;
    for (const auto& [setting, expected] : asks) {
        clients.emplace_back([&, setting, expected] {
            auto c = Client(endpoint);
            for (int n = 0; n < 60; ++n) {
                c->params().ClearAll();
                (c->ReadSetting(setting, true, "") == expected ? answered : crossed)++;
            }
        });
    }
    clients.emplace_back([&] {
        auto c = Client(endpoint);
        for (int n = 0; n < 3; ++n) {
            const TransferResult t = c->Transfer(SET_TRANSFER_ALL, 0, "");
            const bool whole =
                !t.endedEarly && std::count(t.text.begin(), t.text.end(), '\r') == 300;
            (whole ? answered : crossed)++;
        }
    });
    for (auto& t : clients) {
        t.join();
    }
    recorder.Stop();
    EXPECT_EQ(crossed, 0);
    EXPECT_EQ(answered, 3 * 60 + 3);
    // Two readings a round, every round stored, none outside the rounds.
    EXPECT_EQ(Count("SELECT COUNT(*) FROM readings"), static_cast<int64_t>(2 * recorder.Rounds()));
    EXPECT_EQ(Count("SELECT COUNT(*) FROM gaps"), 0);
}

TEST_F(RecorderTest, ALateReplyIsNeverTakenForAnotherClientsAnswer) {
    rec::RecorderConfig config = Config(45, std::chrono::hours(1), "tcp://127.0.0.1:0");
    config.instruments[0].timeout = std::chrono::milliseconds(300);
    rec::Recorder recorder(config);
    recorder.Start();
    ASSERT_TRUE(WaitRounds(recorder, 1, true));
    // The units reply comes after the endpoint gave up, as the next same-tag request goes out.
    Simulator(45)->InjectFault(sim::ParseFault(FaultAt("delay:500", SET_UNITS_READ)));
    auto late = Client(recorder.Endpoints().at(0), 400);
    EXPECT_EQ(Raised([&] { late->ReadSetting(SET_UNITS_READ, true, ""); }).Number(),
              comm::kCommTimeout);
    auto next = Client(recorder.Endpoints().at(0));
    EXPECT_EQ(next->ReadSetting(SET_IDENTIFICATION, true, ""), kIdentification);
    recorder.Stop();
}

TEST_F(RecorderTest, AnEndpointThatIsNoPortIsRefused) {
    rec::Recorder recorder(Config(46, std::chrono::hours(1), "tcp://127.0.0.1:70000"));
    EXPECT_NE(Raised([&] { recorder.Start(); }).Description().find("70000"), std::string::npos);
}

TEST_F(RecorderTest, ALongTransferIsAGapWithItsReasonAndRecordingGoesOn) {
    rec::Recorder recorder(Config(42, std::chrono::milliseconds(50), "tcp://127.0.0.1:0"));
    recorder.Start();
    ASSERT_TRUE(WaitRounds(recorder, 2));
    Simulator(42)->InjectFault(sim::ParseFault(FaultAt("delay:1500", SET_TRANSFER_ALL)));
    EXPECT_FALSE(Client(recorder.Endpoints().at(0))->Transfer(SET_TRANSFER_ALL, 0, "").endedEarly);
    ASSERT_TRUE(WaitRounds(recorder, 3));
    recorder.Stop();
    SQLite::Database db(Config(42, {}).database);
    SQLite::Statement gap(db, "SELECT reason, ended_us - started_us FROM gaps");
    ASSERT_TRUE(gap.executeStep());
    const std::string reason = gap.getColumn(0).getString();
    EXPECT_NE(reason.find("lent to client 127.0.0.1:"), std::string::npos) << reason;
    EXPECT_NE(reason.find("LOG:DATA?"), std::string::npos) << reason;
    EXPECT_GE(gap.getColumn(1).getInt64(), 1'000'000);
    EXPECT_FALSE(gap.executeStep());
    EXPECT_GT(Count("SELECT COUNT(*) FROM readings r, gaps g WHERE r.time_us > g.ended_us"), 0);
}

TEST_F(RecorderTest, HungAndHostileClientsDisturbNothingAndAChangeOfUnitsIsNeverMisattributed) {
    rec::Recorder recorder(Config(43, std::chrono::milliseconds(20), "tcp://127.0.0.1:0"));
    recorder.Start();
    const std::string endpoint = recorder.Endpoints().at(0);
    ASSERT_TRUE(WaitRounds(recorder, 1));
    // Clients that never read, stop half way, send what no instrument reads, or disable it.
    const int silent = RawClient(endpoint);
    ASSERT_GT(::write(silent, "7 LOG:DATA? 0\n", 14), 0);
    const int half = RawClient(endpoint);
    ASSERT_GT(::write(half, "8 UNI", 5), 0);
    auto c = Client(endpoint);
    EXPECT_EQ(Raised([&] { c->WriteSetting(SET_DISABLE_SERIAL); }).Number(),
              comm::kCommInstrumentErrorBase + 5);
    EXPECT_TRUE(WaitRounds(recorder, 20));
    const int noisy = RawClient(endpoint);
    ASSERT_GT(::write(noisy, "9 \"open\n", 8), 0);
    char reply[200] = {};
    ASSERT_GT(::read(noisy, reply, sizeof reply - 1), 0);
    EXPECT_EQ(std::string(reply).rfind("9 !ERR 1 ", 0), 0u) << reply;
    for (const char* units : {"F", "C"}) {
        c->params().Value(units);
        c->WriteSetting(SET_UNITS_WRITE);
        ASSERT_TRUE(WaitRounds(recorder, 3));
    }
    for (int fd : {silent, half, noisy}) {
        ::close(fd);
    }
    recorder.Stop();
    EXPECT_EQ(Count("SELECT COUNT(*) FROM gaps"), 0);
    // Channel 1 sits near 25 C, 77 F: each reading's unit matches its value.
    EXPECT_GT(Count("SELECT COUNT(*) FROM readings_view WHERE channel = 1 AND unit = 'F'"), 0);
    EXPECT_EQ(Count("SELECT COUNT(*) FROM readings_view WHERE channel = 1 AND NOT ("
                    "(unit = 'C' AND value BETWEEN 20 AND 30) OR (unit = 'F' AND value BETWEEN 70 "
                    "AND 85))"),
              0);
}

}  // namespace vesk::test
