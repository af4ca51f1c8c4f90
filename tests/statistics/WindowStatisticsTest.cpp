// Synthetic readings with a known drift and a known noise must give the known numbers, and
// the stability verdict must follow the window and the limits.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "components/statistics/WindowStatistics.h"

namespace vesk::stats {
namespace {

// +a, -a, -a, +a: over every four readings at equal steps it has no mean and no slope, so
// the fitted drift is exactly the one put in and the noise adds a known variance.
double Noise(int i, double amplitude) {
    static constexpr int kPattern[] = {1, -1, -1, 1};
    return amplitude * kPattern[i % 4];
}

struct Case {
    double base, driftPerMinute, noise;
};

TEST(WindowStatisticsTest, KnownDriftAndNoiseGiveTheKnownNumbers) {
    constexpr int kN = 400;  // one reading a second; the window holds all of them
    for (const Case c : {Case{25.0, 0.0, 0.0005}, Case{150.0, 0.002, 0.001},
                         Case{-38.8344, -0.0003, 0.0}, Case{0.01, 0.5, 0.2}}) {
        SCOPED_TRACE(testing::Message() << c.base << " " << c.driftPerMinute << " " << c.noise);
        WindowStatistics stats((kN - 1) * 1000);
        for (int i = 0; i < kN; ++i) {
            ASSERT_TRUE(stats.Add(1'700'000'000'000 + i * 1000,
                                  c.base + c.driftPerMinute * i / 60.0 + Noise(i, c.noise)));
        }
        const Summary s = *stats.Current();
        const double minutes = (kN - 1) / 60.0;
        const double lineVariance =
            c.driftPerMinute * c.driftPerMinute * kN * (kN * kN - 1.0) / 12.0 / 3600.0;
        const double expectedSd = std::sqrt((lineVariance + kN * c.noise * c.noise) / (kN - 1.0));
        EXPECT_EQ(s.count, static_cast<size_t>(kN));
        EXPECT_NEAR(s.mean, c.base + c.driftPerMinute * minutes / 2, 1e-9);
        EXPECT_NEAR(s.driftPerMinute, c.driftPerMinute, 1e-9);
        EXPECT_NEAR(s.stdDev, expectedSd, 1e-9);
        const double ends = c.driftPerMinute * minutes;
        EXPECT_NEAR(s.minimum, c.base + std::min(0.0, ends) - c.noise, c.noise + 1e-9);
        EXPECT_NEAR(s.maximum, c.base + std::max(0.0, ends) + c.noise, c.noise + 1e-9);
        EXPECT_EQ(s.last - s.first, (kN - 1) * 1000);
    }
}

TEST(WindowStatisticsTest, StableOnlyOverAWholeQuietWindowAndForHowLong) {
    // 1 mK and 0.5 mK/min over ten minutes, readings every second.
    WindowStatistics stats(10 * 60 * 1000, {0.001, 0.0005});
    int t = 0;
    double level = 25.0;
    const auto feed = [&](int seconds, double drift, double noise) {
        for (int end = t + seconds; t < end; ++t, level += drift / 60.0) {
            stats.Add(t * 1000LL, level + Noise(t, noise));
        }
    };
    feed(600, 0.0, 0.0004);
    EXPECT_EQ(stats.State(), Stability::kCollecting) << "the readings span 599 s of 600";
    feed(1, 0.0, 0.0004);
    EXPECT_EQ(stats.State(), Stability::kStable);
    EXPECT_EQ(stats.StableSince(), 600'000);
    feed(299, 0.0, 0.0004);
    EXPECT_EQ(stats.StableFor(t * 1000LL), 300'000);
    EXPECT_EQ(stats.Current()->count, 601u) << "only the last ten minutes count";

    // A drift of 2 mK/min soon shows in the window's slope; the stable run is over.
    feed(120, 0.002, 0.0004);
    EXPECT_EQ(stats.State(), Stability::kUnstable);
    EXPECT_FALSE(stats.StableSince());
    EXPECT_EQ(stats.StableFor(t * 1000LL), 0);
    // A short window sees only the drift; noise over the limit is unstable on its own.
    stats.Window(60 * 1000);
    EXPECT_NEAR(stats.Current()->driftPerMinute, 0.002, 1e-4);
    feed(61, 0.0, 0.003);
    EXPECT_EQ(stats.State(), Stability::kUnstable);
    stats.SetLimits({0.01, 0.01});
    EXPECT_EQ(stats.State(), Stability::kStable) << "wider limits judge at once";

    EXPECT_FALSE(stats.Add(0, 25.0)) << "a reading from the past";
    EXPECT_FALSE(stats.Add(t * 1000LL, std::numeric_limits<double>::quiet_NaN()));
    stats.Clear();
    EXPECT_FALSE(stats.Current());
    EXPECT_EQ(stats.State(), Stability::kCollecting);
    EXPECT_EQ(DurationText(59'999), "59 s");
    EXPECT_EQ(DurationText(245'000), "4 min 05 s");
    EXPECT_EQ(DurationText(7'380'000), "2 h 03 min");
}

}  // namespace
}  // namespace vesk::stats
