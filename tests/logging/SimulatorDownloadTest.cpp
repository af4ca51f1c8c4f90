// Downloads from the simulated instrument through the real communications component: the
// files hold exactly the readings the instrument sent, however they are split.
#include <charconv>
#include <cmath>
#include <map>

#include "components/comm/Communications.h"
#include "simulator/EmbeddedLink.h"
#include "simulator/Instrument.h"
#include "tests/logging/LoggingFixture.h"
#include "vesk4710/support/modStrings.h"

namespace vesk::test {
namespace {

struct RawReading {
    std::string seq, date, time, channel, labelNumber, label, value, unit;
};

// The raw transfer file parsed on its own terms.
std::vector<RawReading> ParseRaw(const std::string& raw) {
    std::vector<RawReading> out;
    std::istringstream in(raw);
    for (std::string line; std::getline(in, line, '\r');) {
        std::vector<std::string> f;
        std::istringstream fields(line + ",");  // keeps a trailing empty field
        for (std::string field; std::getline(fields, field, ',');) {
            f.push_back(field);
        }
        if (f.size() == 8) {
            out.push_back({f[0], f[1], f[2], f[3], f[4], f[5], f[6], f[7]});
        }
    }
    return out;
}

double Number(const std::string& text) {
    double v = 0;
    std::from_chars(text.data(), text.data() + text.size(), v);
    return v;
}

class SimulatorDownload : public LoggingTest {
  protected:
    void SetUp() override {
        sim::SimOptions options;
        options.persist = false;
        options.reset = true;
        target = sim::Instrument::Create(options);
        LoggingTest::SetUp();
        auto model = target;
        host->commFactory = [model] {
            comm::CommOptions commOptions;
            commOptions.device = "embedded";
            commOptions.timeoutMs = 300;
            return comm::Communications::Create(commOptions, [model](const comm::LinkRequest&) {
                return sim::ConnectEmbedded(model);
            });
        };
        ASSERT_TRUE(instrument->InitializeCommunications());
        ASSERT_TRUE(instrument->QueryDemandLogStatus());
        held = instrument->DemandLogCount();
        ASSERT_GT(held, 50);
    }

    // Every row of a file checked against the reading it came from.
    void ExpectRowsMatch(const std::vector<std::string>& rows, const std::vector<RawReading>& raw,
                         int decimals) {
        ASSERT_EQ(rows.size(), raw.size());
        for (size_t i = 0; i < rows.size(); ++i) {
            const RawReading& r = raw[i];
            std::string date = r.date;
            std::replace(date.begin(), date.end(), '/', '-');
            const std::string prefix =
                r.seq + "," + date + "T" + r.time + "+00:00," + r.channel + "," + r.labelNumber +
                "," + (r.label.find(' ') == 0 ? "\"" + r.label + "\"" : r.label) + ",";
            ASSERT_EQ(rows[i].rfind(prefix, 0), 0u) << rows[i] << " vs " << prefix;
            const std::string rest = rows[i].substr(prefix.size());
            const std::string value = rest.substr(0, rest.find(','));
            EXPECT_EQ(rest.substr(rest.find(',') + 1), r.unit);
            const size_t point = value.find('.');
            EXPECT_EQ(point == std::string::npos ? 0 : value.size() - point - 1,
                      static_cast<size_t>(decimals))
                << value;
            EXPECT_NEAR(Number(value), Number(r.value), 0.5 * std::pow(10.0, -decimals) + 1e-9);
        }
    }

    std::shared_ptr<sim::Instrument> target;
    int16_t held = 0;
};

TEST_F(SimulatorDownload, WholeDemandLogToOneFile) {
    ASSERT_TRUE(Download(DOWNLOAD_SINGLE_FILE, 0, 3));
    const auto raw = ParseRaw(Raw());
    EXPECT_EQ(raw.size(), static_cast<size_t>(held));
    ASSERT_EQ(DownloadedNames().size(), 1u);
    ExpectRowsMatch(Rows(DownloadedNames()[0]), raw, 3);
    EXPECT_TRUE(host->ui.boxes.empty()) << Prompts().front();
}

TEST_F(SimulatorDownload, OneFilePerLabelSplitsTheLogExactly) {
    ASSERT_TRUE(Download(DOWNLOAD_MULTIPLE_FILES, 0, 2));
    const auto raw = ParseRaw(Raw());
    std::map<std::string, std::vector<RawReading>> byLabel;
    for (const auto& r : raw) {
        byLabel[r.label].push_back(r);
    }
    ASSERT_GE(byLabel.size(), 2u);
    auto names = DownloadedNames();
    ASSERT_EQ(names.size(), byLabel.size());
    size_t rows = 0;
    for (const auto& name : names) {
        auto fileRows = Rows(name);
        ASSERT_FALSE(fileRows.empty());
        // The file's label is the one in its first row.
        std::string label = fileRows[0];
        for (int i = 0; i < 4; ++i) {
            label = label.substr(label.find(',') + 1);
        }
        label = label.substr(0, label.find(','));
        ASSERT_TRUE(byLabel.count(label)) << name;
        ExpectRowsMatch(fileRows, byLabel[label], 2);
        rows += fileRows.size();
    }
    EXPECT_EQ(rows, raw.size());
}

TEST_F(SimulatorDownload, OneLabelOnlyAndAnEmptyLabel) {
    ASSERT_TRUE(Download(DOWNLOAD_SINGLE_FILE, 2, 1));
    const auto raw = ParseRaw(Raw());
    ASSERT_FALSE(raw.empty());
    for (const auto& r : raw) {
        EXPECT_EQ(r.labelNumber, "2");
    }
    EXPECT_LT(raw.size(), static_cast<size_t>(held));
    ExpectRowsMatch(Rows(DownloadedNames().at(0)), raw, 1);

    // A label without readings: the instrument aborts the transfer.
    std::filesystem::remove_all(downloads);
    EXPECT_TRUE(Download(DOWNLOAD_SINGLE_FILE, 24, 1));
    EXPECT_EQ(Prompts(), std::vector<std::string>{LoadResString(290)});
    EXPECT_TRUE(DownloadedNames().empty());
}

}  // namespace
}  // namespace vesk::test
