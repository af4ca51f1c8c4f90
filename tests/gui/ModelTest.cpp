// The application's toolkit-neutral parts: reading buffer, export, chart axes, device targets.
#include <gtest/gtest.h>

#include <ctime>
#include <fstream>
#include <tuple>

#include "apps/vesk4710-gui/model/ChartScale.h"
#include "apps/vesk4710-gui/model/Recording.h"
#include "apps/vesk4710-gui/model/TimeWindow.h"
#include "components/comm/CommErrors.h"
#include "tests/gui/GuiTestSupport.h"
#include "vesk4710/channel/ConversionTypes.h"

namespace vesk::gui {
namespace {

constexpr Millis kSecond = 1000;
constexpr Millis kMinute = 60 * kSecond;

// The comma-decimal locale for one test, where the machine has it.
struct GermanLocale {
    GermanLocale() {
        try {
            previous = std::locale::global(std::locale("de_DE.UTF-8"));
        } catch (const std::runtime_error&) {  // not installed: the C locale's run still counts
        }
    }
    ~GermanLocale() { std::locale::global(previous); }
    std::locale previous;
};

// ---- reading buffer ----

TEST(ReadingBuffer, ExportWritesTheOneLayoutInTimeOrderWithPeriodDecimalsInAnyLocale) {
    const GermanLocale german;
    test::TempDir dir;
    ReadingBuffer buffer;
    std::tm local{.tm_sec = 56,
                  .tm_min = 34,
                  .tm_hour = 12,
                  .tm_mday = 7,
                  .tm_mon = 2,
                  .tm_year = 124,
                  .tm_isdst = -1};
    const Millis t0 = static_cast<Millis>(std::mktime(&local)) * 1000 + 789;
    ASSERT_TRUE(buffer.Add(2, t0, 149.5, "\u00B0C"));
    ASSERT_TRUE(buffer.Add(1, t0, 25.0123, "\u00B0C"));
    ASSERT_TRUE(buffer.Add(1, t0 + 1001, -0.5, "\u00B0C"));
    ASSERT_TRUE(buffer.Add(2, t0 + 1001, 1e-05, "V"));
    ChannelInfo one;
    one.number = 1;
    one.serial = "S1001";
    one.conversionCode = "ITS";
    const std::string path = dir.File("readings.csv");
    ASSERT_EQ(ExportReadings(buffer, path, "sim", "A47100", {one}), "");
    const std::string text = test::FakeFileSystem::ReadFile(path);
    const auto at = [](Millis t) { return files::IsoTime(t * 1000, 3, LocalUtcOffset(t)); };
    const auto row = [&at](int n, Millis t, const std::string& rest) {
        return std::to_string(n) + "," + at(t) + rest + "\n";
    };
    EXPECT_EQ(text.substr(text.find("\nsequence,") + 1),
              "sequence,time,instrument,serial,channel,probe,value,unit,conversion\n" +
                  row(1, t0, ",sim,A47100,1,S1001,25.0123,C,ITS") +
                  row(2, t0, ",sim,A47100,2,,149.5,C,") +
                  row(3, t0 + 1001, ",sim,A47100,1,S1001,-0.5,C,ITS") +
                  row(4, t0 + 1001, ",sim,A47100,2,,1e-05,V,"));
    EXPECT_TRUE(at(t0).starts_with("2024-03-07T12:34:56.789")) << "local time with its offset";
}

TEST(ReadingBuffer, KeepsTheRetentionTimeAndRefusesReadingsFromThePast) {
    ReadingBuffer buffer(10 * kMinute);
    const Millis t0 = 1'700'000'000'000;
    for (int i = 0; i <= 20; ++i) {
        ASSERT_TRUE(buffer.Add(1, t0 + i * kMinute, i, "\u00B0C"));
    }
    EXPECT_FALSE(buffer.Add(1, t0 + 5 * kMinute, 99.0, "\u00B0C")) << "a clock step back";
    EXPECT_TRUE(buffer.Add(2, t0 + 5 * kMinute, 7.0, "\u00B0C")) << "each channel has its own";

    buffer.Prune(t0 + 20 * kMinute);
    ASSERT_EQ(buffer.Count(1), 11u) << "minutes 10 to 20";
    EXPECT_EQ(buffer.Count(2), 0u) << "minute 5 is past the retention";
    EXPECT_EQ(buffer.FirstTime(), t0 + 10 * kMinute);
    EXPECT_EQ(buffer.Latest(1)->value, 20.0);
    EXPECT_EQ(buffer.ValueRange(1, t0 + 12 * kMinute, t0 + 15 * kMinute), std::pair(12.0, 15.0));
}

TEST(ReadingBuffer, AUnitChangeStartsThePlotAnew) {
    ReadingBuffer buffer;
    const Millis t0 = 1'700'000'000'000;
    buffer.Add(1, t0, 25.0, "\u00B0C");
    buffer.Add(1, t0 + kSecond, 25.1, "\u00B0C");
    buffer.Add(1, t0 + 2 * kSecond, 77.2, "\u00B0F");
    buffer.Add(1, t0 + 3 * kSecond, 77.4, "\u00B0F");

    EXPECT_EQ(buffer.Unit(1), "\u00B0F");
    const auto plot = buffer.PlotSamples(1);
    ASSERT_EQ(plot.size(), 2u);
    EXPECT_EQ(plot.front().value, 77.2);
    const auto range = buffer.ValueRange(1, t0, t0 + 3 * kSecond);
    EXPECT_EQ(range->first, 77.2) << "Celsius values would squash the Fahrenheit scale";
}

TEST(ReadingBuffer, ExportReplacesTheFileWholeOrReportsWhyNot) {
    test::TempDir dir;
    ReadingBuffer buffer;
    buffer.Add(1, 1'700'000'000'000, 25.0, "\u00B0C");
    const auto exportTo = [&](const std::string& path) {
        return ExportReadings(buffer, path, "sim", "A47100", {});
    };
    const std::string path = dir.File("readings.csv");
    std::ofstream(path) << "an older export that is much longer than the new one\n\n\n\n\n\n\n";
    EXPECT_EQ(exportTo(path), "");
    EXPECT_EQ(std::ranges::count(test::FakeFileSystem::ReadFile(path), '\n'), 6)
        << "four # lines, header, reading";

    EXPECT_NE(exportTo(dir.File("no-such-folder/readings.csv")).find("no-such-folder"),
              std::string::npos);
    // A folder in the way: the temporary file is written, the rename fails and is cleaned up.
    std::filesystem::create_directories(dir.File("taken/inside"));
    EXPECT_NE(exportTo(dir.File("taken")), "");
    EXPECT_TRUE(std::filesystem::is_directory(dir.File("taken")));
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(dir.Path()), {}), 2)
        << "no temporary file is left behind";
}

// The chart follows the newest readings and stretches a young session; panning holds the view
// until it reaches now again; zooming keeps the live right edge or the time under the mouse.
TEST(TimeWindow, FollowsPansAndZoomsWithinItsBounds) {
    TimeWindow window(10 * kMinute);
    Millis now = 1'700'000'000'000;
    EXPECT_EQ(window.Visible(now, now - 2 * kMinute).from, now - 2 * kMinute);
    EXPECT_EQ(window.Visible(now, now - kSecond).Span(), TimeWindow::kMinSpan);

    const Millis first = now - 24 * 3600 * kSecond;
    window.Pan(-5 * kMinute, now, first);
    EXPECT_FALSE(window.Following());
    const TimeRange held = window.Visible(now, first);
    EXPECT_EQ(held.to, now - 5 * kMinute);
    now += 2 * kMinute;
    EXPECT_EQ(window.Visible(now, first).to, held.to) << "a held view does not creep";
    window.Pan(3 * kMinute, now, first);
    EXPECT_FALSE(window.Following()) << "still a minute short of now";
    window.Pan(5 * kMinute, now, first);
    EXPECT_TRUE(window.Following());

    window.Zoom(0.5, now - 8 * kMinute, now, first);
    EXPECT_EQ(window.Visible(now, first).Span(), 5 * kMinute);
    EXPECT_EQ(window.Visible(now, first).to, now);
    window.Pan(-20 * kMinute, now, first);
    const TimeRange before = window.Visible(now, first);
    const Millis anchor = before.from + before.Span() / 4;
    window.Zoom(2.0, anchor, now, first);
    const TimeRange after = window.Visible(now, first);
    EXPECT_EQ(after.Span(), 10 * kMinute);
    EXPECT_EQ(after.from + after.Span() / 4, anchor);
    for (const auto& [factor, bound] :
         {std::pair{0.5, TimeWindow::kMinSpan},
          {4.0, TimeWindow::kMaxSpan},
          {0.0, TimeWindow::kMaxSpan},
          {std::numeric_limits<double>::quiet_NaN(), TimeWindow::kMaxSpan}}) {
        for (int i = 0; i < 50; ++i) {
            window.Zoom(factor, anchor, now, first);
        }
        EXPECT_EQ(window.Span(), bound) << factor << ": bounded, and nonsense changes nothing";
    }
}

TEST(ChartScale, ValueTicksAreRoundAndTheAxisEndsOnThem) {
    struct Case {
        double low, high;
        int target;
        double first, step;
        int count, decimals;
        double axisLow, axisHigh;
    };
    for (const Case& c : {
             Case{24.9437, 25.0523, 5, 24.96, 0.02, 5, 2, 24.94, 25.06},
             Case{149.612, 150.4008, 6, 149.7, 0.1, 8, 1, 149.6, 150.5},
             Case{-0.0042, 0.0031, 4, -0.004, 0.002, 4, 3, -0.006, 0.004},
             Case{0.0, 1000.0, 5, 0.0, 200.0, 6, 0, 0.0, 1000.0},
         }) {
        SCOPED_TRACE(c.low);
        const ValueTicks t = TicksFor(c.low, c.high, c.target);
        EXPECT_NEAR(t.first, c.first, 1e-12);
        EXPECT_DOUBLE_EQ(t.step, c.step);
        EXPECT_EQ(t.count, c.count);
        EXPECT_EQ(t.decimals, c.decimals);
        const auto [low, high] = AxisRange(c.low, c.high, c.target);
        EXPECT_NEAR(low, c.axisLow, 1e-12);
        EXPECT_NEAR(high, c.axisHigh, 1e-12);
    }
    const auto [low, high] = AxisRange(25.0, 25.0, 5);
    EXPECT_LT(low, 25.0) << "a flat line gets a band";
    EXPECT_GT(high, 25.0);
    EXPECT_EQ(TicksFor(1.0, 1.0, 5).count, 0);
}

TEST(ChartScale, TimeTicksFallOnRoundLocalTimes) {
    const Millis t0 = 1'700'000'017'000;  // 22:13:37 UTC
    const int32_t india = 5 * 3600 + 1800;
    const TimeTicks seconds = TimeTicksFor(t0, t0 + 50 * kSecond, 6, 0);
    EXPECT_EQ(seconds.step, 10 * kSecond);
    EXPECT_EQ(seconds.label, TimeLabel::kSeconds);
    EXPECT_EQ(seconds.times.front(), t0 + 3 * kSecond);
    const TimeTicks hours = TimeTicksFor(t0, t0 + 4 * 3600 * kSecond, 6, india);
    EXPECT_EQ(hours.step, 3600 * kSecond);
    for (Millis t : hours.times) {
        EXPECT_EQ((t / 1000 + india) % 3600, 0) << "on the local hour, not the UTC one";
    }
    EXPECT_EQ(TimeTicksFor(t0, t0 + 3 * 24 * 3600 * kSecond, 6, 0).label, TimeLabel::kDayAndTime);
}

// A device is read into its kind and given back as typed, or refused with a reason.
TEST(ConnectionTarget, ReadsEveryKindOfDeviceOrRefusesItWithAReason) {
    // A null host marks a refusal.
    for (const auto& [device, kind, host] :
         {std::tuple{"sim", LinkKind::Simulator, ""},
          {"sim:3", LinkKind::Simulator, ""},
          {"tcp://lab-pc.local:4710", LinkKind::Network, "lab-pc.local"},
          {"tcp://[::1]:5000", LinkKind::Network, "[::1]"},
          {"/dev/ttyUSB0", LinkKind::Serial, ""},
          {"tcp://host", LinkKind::Network, nullptr},
          {"tcp://host:0", LinkKind::Network, nullptr},
          {"tcp://host:99999", LinkKind::Network, nullptr},
          {"sim:256", LinkKind::Simulator, nullptr},
          {"COM1", LinkKind::Serial, nullptr},
          {"", LinkKind::Serial, nullptr}}) {
        SCOPED_TRACE(device);
        std::string why;
        const auto target = ConnectionTarget::Parse(device, 19200, &why);
        ASSERT_EQ(target.has_value(), host != nullptr) << why;
        if (target) {
            EXPECT_EQ(target->kind, kind);
            EXPECT_EQ(target->host, host);
            EXPECT_EQ(target->Device(), device);
        } else {
            EXPECT_FALSE(why.empty());
        }
    }
    EXPECT_EQ(ConnectionTarget::Parse("/dev/ttyUSB0", 19200)->Describe(),
              "/dev/ttyUSB0 at 19200 baud");
    std::string why;
    EXPECT_FALSE(ConnectionTarget::Parse("/dev/ttyS0", 1234, &why));
    EXPECT_NE(why.find("1234"), std::string::npos) << why;
}

TEST(SessionRules, PollPeriodUnitsScanListsAndFailureTexts) {
    for (const auto& [conversion, units, text] : {
             std::tuple<int32_t, int32_t, const char*>{kConvThermocouple, kUnitsKelvin, "K"},
             {kConvVolts, UNITS_DEGREESC, "mV"},  // emf whatever the units
             {kConvThermocouple, UNITS_RAW_VALUE, "mV"},
             {kConvPRTOhms, UNITS_DEGREESC, "\u03A9"},
             {kConvITS90, UNITS_RAW_VALUE, "\u03A9"},
         }) {
        EXPECT_EQ(UnitTextFor(conversion, units), text) << conversion << " " << units;
    }
    EXPECT_EQ(ParseChannelList(" 1-3, 5,2"), (std::vector<int16_t>{1, 2, 3, 5}));
    EXPECT_EQ(ParseChannelList("3-1,x,0,,7"), (std::vector<int16_t>{7}));
    EXPECT_EQ(ParseChannelList("1-32767").size(), 1000u) << "a hostile list stays bounded";

    Failure f;
    f.during = "reading channel 2";
    f.number = comm::kCommTimeout;
    f.description = "Unable to successfully query measurement.";
    EXPECT_EQ(f.Text(), "reading channel 2: no reply from the instrument in time (error " +
                            std::to_string(comm::kCommTimeout) + ")");
    f.number = comm::kCommMalformedReply;
    EXPECT_NE(f.Text().find("Unable to successfully query measurement."), std::string::npos);
}

}  // namespace
}  // namespace vesk::gui
