// The database and what comes out of it: runs, gaps, status and the publishing watermark;
// the CSV layout and JSON lines of export; the configuration file's errors.
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "components/readingfile/ReadingFile.h"
#include "recorder/Export.h"
#include "tests/recorder/RecorderFixture.h"
#include "tests/testsupport/Raised.h"

namespace vesk::test {

namespace {

constexpr rec::TimeUs kT0 = 1709814896250000;  // 2024-03-07T12:34:56.250Z

rec::Reading At(int64_t instrument, int32_t channel, rec::TimeUs time, std::string text) {
    rec::Reading r;
    r.instrument = instrument;
    r.source = {"A47100", channel, "S100" + std::to_string(channel), "ITS", "C"};
    r.time = time;
    r.value = std::stod(text);
    r.text = std::move(text);
    return r;
}

std::string Export(rec::Store& store, const rec::ExportOptions& options) {
    std::string out;
    rec::ExportReadings(store, options, [&](std::string_view piece) { out += piece; });
    return out;
}

}  // namespace

TEST_F(RecorderTest, StoreKeepsReadingsGapsAndStatusAcrossRuns) {
    const std::string path = (dir_ / "r.db").string();
    {
        rec::Store store(path);
        store.BeginRun();
        const int64_t bath = store.Instrument("bath", "sim:9");
        store.SetSerial(bath, "A47100");
        EXPECT_TRUE(store.Append(At(bath, 1, kT0, "25.0100")));
        store.OpenGap(bath, kT0 + 1000000, "link dropped");
        // Another recorder may not write into the same database meanwhile.
        rec::Store second(path);
        EXPECT_NE(Raised([&] { second.BeginRun(); }).Description().find("Another recorder"),
                  std::string::npos);
        store.Flush();
        const auto status = store.Status();
        ASSERT_EQ(status.size(), 1u);
        EXPECT_EQ(status[0].state, "gap");
        EXPECT_EQ(status[0].gapReason, "link dropped");
        EXPECT_EQ(status[0].readings, 1);
        EXPECT_EQ(status[0].serial, "A47100");
        store.CloseGap(bath, kT0 + 3000000);
        EXPECT_TRUE(store.Append(At(bath, 1, kT0 + 3000000, "25.0200")));
        store.SetPublishedUpTo("mqtt", 1);
        store.SetPublishedUpTo("mqtt", 0);  // a watermark never goes back
        store.EndRun();
    }
    rec::Store reopened(path, true);
    EXPECT_EQ(reopened.SchemaVersion(), rec::kSchemaVersion);
    EXPECT_EQ(reopened.PublishedUpTo("mqtt"), 1);
    EXPECT_EQ(reopened.Status().at(0).state, "stopped");
    EXPECT_EQ(reopened.Status().at(0).readings, 2);
    EXPECT_EQ(Count("SELECT COUNT(*) FROM gaps WHERE ended_us = started_us + 2000000"), 1);
    ASSERT_TRUE(reopened.LastRun()->stopped.has_value());
}

TEST_F(RecorderTest, AFullDiskHoldsReadingsBackInOrderUntilThereIsRoomAgain) {
    rec::Store store((dir_ / "r.db").string());
    store.BeginRun();
    const int64_t bath = store.Instrument("bath", "sim:9");
    store.Append(At(bath, 1, kT0, "25.0100"));
    store.Flush();
    // The database may grow no further: every commit fails as on a full disk.
    const int64_t pages = store.Db().execAndGet("PRAGMA page_count").getInt64();
    store.Db().exec("PRAGMA max_page_count=" + std::to_string(pages));
    for (int n = 1; n <= 3000; ++n) {
        ASSERT_TRUE(store.Append(At(bath, 1, kT0 + n * 1000, std::to_string(n) + ".5")));
    }
    store.Flush();
    EXPECT_NE(store.WriterError().find("full"), std::string::npos) << store.WriterError();
    store.Db().exec("PRAGMA max_page_count=1000000");
    for (int wait = 0; wait < 300 && !store.WriterError().empty(); ++wait) {
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    store.Flush();
    EXPECT_EQ(store.WriterError(), "");
    EXPECT_EQ(Count("SELECT COUNT(*) FROM readings"), 3001);
    // Nothing dropped or reordered: sequence and time still go together.
    EXPECT_EQ(Count("SELECT COUNT(*) FROM readings WHERE time_us != " + std::to_string(kT0) +
                    " + (seq - 1) * 1000"),
              0);
    store.EndRun();
}

TEST_F(RecorderTest, StoreRefusesWhatItCannotRead) {
    const std::string junk = (dir_ / "junk.db").string();
    std::ofstream(junk) << "no database at all, but long enough to look like one.....";
    EXPECT_EQ(Raised([&] { rec::Store s(junk); }).Number(), kErrDeviceIO);
    const std::string newer = (dir_ / "newer.db").string();
    {
        SQLite::Database db(newer, SQLite::OPEN_READWRITE | SQLite::OPEN_CREATE);
        db.exec("PRAGMA user_version=99");
    }
    EXPECT_NE(Raised([&] { rec::Store s(newer); }).Description().find("newer"), std::string::npos);
    EXPECT_EQ(Raised([&] { rec::Store s((dir_ / "none.db").string(), true); }).Number(),
              kErrFileNotFound);
}

TEST_F(RecorderTest, ExportWritesTheCommonLayoutAndJsonLines) {
    rec::Store store((dir_ / "r.db").string());
    store.BeginRun();
    const int64_t bath = store.Instrument("bath", "sim:9");
    const int64_t cell = store.Instrument("cell", "sim:10");
    for (int n = 0; n < 4; ++n) {
        store.Append(At(bath, 1 + n % 2, kT0 + n * 1000000, n == 0 ? "25.0100" : "-2.5e-05"));
    }
    store.Append(At(cell, 1, kT0, "0.0100"));
    store.AddGap(bath, kT0 + 500000, kT0 + 900000, "the link was lent to client 1");
    store.Flush();

    rec::ExportOptions bathOnly;
    bathOnly.instrument = "bath";
    bathOnly.from = kT0 + 1;
    bathOnly.to = kT0 + 3000000;
    const std::string csv = Export(store, bathOnly);
    EXPECT_NE(csv.find("# gap: bath from 2024-03-07T12:34:56.750+00:00 to "
                       "2024-03-07T12:34:57.150+00:00: the link was lent to client 1\n"),
              std::string::npos)
        << csv;
    EXPECT_NE(csv.find("\nsequence,time,instrument,serial,channel,probe,value,unit,conversion\n"
                       "2,2024-03-07T12:34:57.250+00:00,bath,A47100,2,S1002,-2.5e-05,C,ITS\n"
                       "3,2024-03-07T12:34:58.250+00:00,bath,A47100,1,S1001,-2.5e-05,C,ITS\n"),
              std::string::npos)
        << csv;
    EXPECT_EQ(csv.find("cell"), std::string::npos);

    rec::ExportOptions json;
    json.jsonLines = true;
    json.channel = 1;
    std::istringstream lines(Export(store, json));
    std::vector<nlohmann::json> rows;
    for (std::string line; std::getline(lines, line);) {
        rows.push_back(nlohmann::json::parse(line));
    }
    ASSERT_EQ(rows.size(), 4u);  // the gap and three readings of channel 1
    EXPECT_EQ(rows[0]["type"], "gap");
    EXPECT_EQ(rows[1]["text"], "25.0100");  // the instrument's digits, trailing zero kept
    EXPECT_EQ(rows[1]["value"], 25.01);
    EXPECT_EQ(rows[3]["instrument"], "cell");
    store.EndRun();
}

TEST_F(RecorderTest, ExportedFilesNeverReplaceAnEarlierOne) {
    const std::string path = (dir_ / "out.csv").string();
    {
        files::AtomicFile first(path);
        first.Write("first\n");
        files::AtomicFile racing(path);  // made before the first is in place
        racing.Write("second\n");
        first.Commit();
        EXPECT_EQ(Raised([&] { racing.Commit(); }).Number(), kErrDeviceIO);
        EXPECT_EQ(Raised([&] { files::AtomicFile again(path); }).Number(), kErrDeviceIO);
        files::AtomicFile abandoned((dir_ / "never.csv").string());
        abandoned.Write("lost on purpose");
    }
    std::stringstream text;
    text << std::ifstream(path).rdbuf();
    EXPECT_EQ(text.str(), "first\n");
    // No temporary file is left behind, and the abandoned one never appeared.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir_), {}), 1);
}

TEST_F(RecorderTest, TimesAndDurationsAreReadStrictly) {
    const struct {
        const char* text;
        rec::TimeUs expected;
    } times[] = {{"2024-03-07", 1709769600000000},
                 {"2024-03-07T12:34:56.25", kT0},
                 {"2024-03-07T12:34:56.25Z", kT0},
                 {"2024-03-07T13:34:56.25+01:00", kT0},
                 {"2024-03-07 07:34:56.25-05:00", kT0},
                 {"2024-02-30", -1},
                 {"2024-03-07T25:00", -1},
                 {"yesterday", -1}};
    for (const auto& t : times) {
        if (t.expected < 0) {
            EXPECT_EQ(Raised([&] { rec::ParseTime(t.text, "--from"); }).Number(),
                      kErrInvalidProcedureCall)
                << t.text;
        } else {
            EXPECT_EQ(rec::ParseTime(t.text, "--from"), t.expected) << t.text;
        }
    }
    EXPECT_EQ(rec::ParseDuration("1.5s", "every").count(), 1500);
    EXPECT_EQ(rec::ParseDuration("2m", "every").count(), 120000);
    EXPECT_EQ(rec::ParseDuration("new", "every", true).count(), 0);
    for (const char* bad : {"new", "0s", "-1s", "1d", "25h", "s"}) {
        EXPECT_EQ(Raised([&] { rec::ParseDuration(bad, "every"); }).Number(),
                  kErrInvalidProcedureCall)
            << bad;
    }
}

TEST_F(RecorderTest, ConfigurationErrorsNameTheKey) {
    // Each text follows a database and an instrument "a" on "sim".
    const std::pair<std::string, std::string> cases[] = {
        {"chanels=[1]\n", "unknown key 'chanels'"},
        {"every='fast'\n", "instrument[1].every"},
        {"[[instrument]]\nname='a'\ndevice='sim:2'\n", "named twice"},
        {"channels='1'\n", "instrument[1].channels"},
        {"baud='fast'\n", "instrument[1].baud"},
        {"[retry]\nfirst='1m'\nmax='1s'\n", "retry"},
        {"[mqtt]\npassword='s3cret'\n", "mqtt.password"},
        {"[mqtt]\ntopic_prefix='lab/#'\n", "mqtt.topic_prefix"},
        {"[mqtt]\ntls=true\nca_file='missing.pem'\n", "mqtt.ca_file"},
        {"[mqtt]\nhost=12\n", "mqtt.host"},
        {"[mqtt]\nqos=2\n", "'qos'"},
        {"[prometheus]\nlisten='localhost'\n", "prometheus.listen"},
    };
    const std::string path = (dir_ / "recorder.toml").string();
    const auto refused = [&](const std::string& text) {
        std::ofstream(path) << text;
        return Raised([&] { rec::LoadConfig(path); }).Description();
    };
    for (const auto& [text, named] : cases) {
        const std::string said =
            refused("database='r.db'\n[[instrument]]\nname='a'\ndevice='sim'\n" + text);
        EXPECT_NE(said.find(named), std::string::npos) << said;
        EXPECT_EQ(said.find("s3cret"), std::string::npos) << said;
    }
    EXPECT_NE(refused("database='r.db'\n[[instrument]]\nname='a b'\ndevice='sim'\n")
                  .find("instrument name 'a b'"),
              std::string::npos);
    EXPECT_NE(refused("database = \n").find("recorder.toml:1"), std::string::npos);
    std::ofstream(path) << "database='sub/r.db'\n[[instrument]]\nname='bath-1'\ndevice='sim:3'\n"
                           "channels=[1,2]\nevery='new'\nserve='tcp://127.0.0.1:4711'\n";
    const rec::RecorderConfig config = rec::LoadConfig(path);
    EXPECT_EQ(config.database, (dir_ / "sub/r.db").string());  // beside the file
    EXPECT_EQ(config.instruments.at(0).every.count(), 0);
    EXPECT_EQ(config.instruments.at(0).channels, (std::vector<int32_t>{1, 2}));
}

}  // namespace vesk::test
