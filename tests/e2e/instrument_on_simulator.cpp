// The channels against the simulator: every supported conversion written back so that the
// instrument holds each value under its own name and a fresh object reads the same.
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "tests/robustness/SimulatedLab.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/channel/ConversionTypes.h"
#include "vesk4710/core/CVesk4710.h"
#include "vesk4710/modules/CVesk4710Card.h"
#include "vesk4710/support/NumberText.h"

namespace vesk::test {
namespace {

class OnSimulator : public ::testing::Test {
  protected:
    std::shared_ptr<CVesk4710> Open() {
        auto unit = lab.Open();
        EXPECT_GE(unit->NumChannels(), 2);
        return unit;
    }

    std::shared_ptr<FakeUi> ui = std::make_shared<FakeUi>();
    SimulatedLab lab{72, 2000, ui};
    std::shared_ptr<sim::Instrument>& target = lab.instrument;
};

// Values each family's number formats keep exactly, in the instrument's coefficient order.
std::vector<std::pair<std::string, double>> ChosenValues(int32_t type) {
    switch (type) {
        case kConvITS90Subrange5:
            return {{"RTPW", 25.54321}, {"A4", -1.2345e-4}, {"B4", 2.5e-5}};
        case kConvITS90:
            return {{"RTPW", 25.54321}, {"A4", -1.2345e-4}, {"B4", 2.5e-5}, {"A", -1.6e-4},
                    {"B", 1.125e-5},    {"C", 3.5e-7},      {"D", -2.25e-8}};
        case kConvCVD:
            return {{"R0", 100.0123}, {"A", 0.0039083}, {"B", -0.5775}, {"C", 0.125}};
        case kConvPT100:
            return {{"R0", 99.9876}};
        case kConvThermistor:
            return {{"B0", -3.9}, {"B1", 4012.5}, {"B2", -150.25}, {"B3", 0.0025}};
        case kConvThermocouple:
            return {{"C0", 0.0012}, {"C1", -2.5e-5}, {"C2", 1.5e-7}, {"C3", 0.0}};
        default:
            return {};
    }
}

// The probe's coefficient at a place in that order (ITS-90: RTPW, low range, high range),
// written first when given.
double Coefficient(IProbe& probe, int32_t type, size_t at, std::optional<double> value = {}) {
    IConversion& c = probe.ActiveConversion();
    const auto i = static_cast<int32_t>(at);
    if (type != kConvITS90 && type != kConvITS90Subrange5) {
        if (value) {
            c.Coefficients(i, *value);
        }
        return c.Coefficients(i);
    }
    if (at == 0) {
        if (value) {
            c.RTPW(*value);
        }
        return c.RTPW();
    }
    IConversionRange& range = at <= 2 ? c.LowRange() : c.HighRange();
    const int32_t index = at <= 2 ? i - 1 : i - 3;
    if (value) {
        range.Coefficients(index, *value);
    }
    return range.Coefficients(index);
}

struct ConversionSetup {
    std::string code;
    int32_t type;
    int32_t tc;
    int32_t junction;
};

TEST_F(OnSimulator, ChannelUpdateInfoIsHeldByNameAndReadBackThroughAFreshInstrument) {
    std::vector<ConversionSetup> setups = {{"ITS", kConvITS90, 4, 0},
                                           {"ITS5", kConvITS90Subrange5, 4, 0},
                                           {"CVD", kConvCVD, 4, 0},
                                           {"TRES", kConvThermistor, 4, 0},
                                           {"RPRT", kConvPRTOhms, 4, 0},
                                           {"V", kConvVolts, 4, 0},
                                           {"RTHM", kConvThermistorOhms, 4, 0},
                                           {"PT", kConvPT100, 4, 0},
                                           {"K", kConvThermocouple, 4, 1}};
    for (int32_t tc = 0; tc < 12; ++tc) {
        setups.push_back({ThermocoupleCode(tc), kConvThermocouple, tc, tc % 2});
    }
    for (const ConversionSetup& setup : setups) {
        const auto chosen = ChosenValues(setup.type);
        for (int16_t c = 1; c <= 2; ++c) {
            SCOPED_TRACE(setup.code + " junction " + std::to_string(setup.junction) + " channel " +
                         std::to_string(c));
            auto writer = Open();
            ui->passcodes.push_back({"1234", true});
            ASSERT_TRUE(writer->ValidatePasscode(nullptr));
            auto channel = writer->GetChannelReference(c);
            ASSERT_NE(channel, nullptr);
            // Start from some other type so the chosen one is initialised afresh.
            ASSERT_TRUE(
                channel->SetConversionType(setup.type == kConvPT100 ? kConvCVD : kConvPT100, 4));
            ASSERT_TRUE(channel->SetConversionType(setup.type, setup.tc));
            channel->Probe()->Serial("E2E" + setup.code + std::to_string(c));
            channel->CalDate(Date::FromYMD(2023, 12, 31));
            channel->Resolution(c == 1 ? 2 : -1);
            channel->MINOP(-20);
            channel->MAXOP(450);
            channel->ProbeLock(c == 1);
            channel->RJCType(setup.junction);
            channel->RJCTemperature(12.5);
            for (size_t at = 0; at < chosen.size(); ++at) {
                Coefficient(*channel->Probe(), setup.type, at, chosen[at].second);
            }
            if (setup.type == kConvITS90Subrange5) {
                // Written although the query never reads them back.
                IConversionRange& high = channel->Probe()->ActiveConversion().HighRange();
                ASSERT_EQ(high.NumCoefficients(), 3);
                for (int32_t i = 0; i < 3; ++i) {
                    high.Coefficients(i, 1.5e-5 * (i + 1));
                }
            }
            ASSERT_TRUE(channel->UpdateInfo());
            // The write-back used the passcode and locked the instrument again.
            EXPECT_FALSE(target->Unlocked());
            // Each value under its own name: a pair swapped both ways would still read back.
            const sim::InstrumentState state = target->State();
            const auto& held = state.channels[static_cast<size_t>(c - 1)];
            const auto& params = held.probe.params;
            for (const auto& [name, value] : chosen) {
                EXPECT_DOUBLE_EQ(params.at(name), value) << name;
            }
            EXPECT_EQ(params.at("MINOP"), -20);
            EXPECT_EQ(params.at("MAXOP"), 450);
            EXPECT_EQ(held.probe.calDate, "2023,12,31");
            EXPECT_EQ(held.probe.locked, c == 1);
            EXPECT_EQ(held.resolution, c == 1 ? 2 : 3);

            auto reader = Open();
            auto fresh = reader->GetChannelReference(c);
            ASSERT_NE(fresh, nullptr);
            ASSERT_TRUE(fresh->QueryInfo());
            IProbe& read = *fresh->Probe();
            EXPECT_EQ(read.Serial(), UpperAscii("E2E" + setup.code + std::to_string(c)));
            EXPECT_EQ(read.ConversionType(), setup.type);
            EXPECT_EQ(fresh->ProbeType(), ProbeFamilyOf(setup.type));
            EXPECT_EQ(fresh->CalDate(), Date::FromYMD(2023, 12, 31));
            // Automatic is written as the finest resolution.
            EXPECT_EQ(fresh->Resolution(), c == 1 ? 2 : 3);
            EXPECT_EQ(fresh->MINOP(), -20);
            EXPECT_EQ(fresh->MAXOP(), 450);
            EXPECT_EQ(fresh->ProbeLock(), c == 1);
            for (size_t at = 0; at < chosen.size(); ++at) {
                EXPECT_DOUBLE_EQ(Coefficient(read, setup.type, at), chosen[at].second)
                    << chosen[at].first;
            }
            if (setup.type == kConvITS90Subrange5) {
                EXPECT_DOUBLE_EQ(params.at("A"), 1.5e-5);
                EXPECT_DOUBLE_EQ(params.at("C"), 4.5e-5);
            }
            if (setup.type == kConvThermocouple) {
                EXPECT_EQ(read.ActiveConversion().TCType(), setup.tc);
                EXPECT_EQ(fresh->RJCType(), setup.junction);
                EXPECT_DOUBLE_EQ(fresh->RJCTemperature(), 12.5);
                if (setup.junction == 1) {
                    // The internal junction's fixed characteristic went out as well.
                    ASSERT_EQ(params.count("B1"), 1u);
                    EXPECT_NEAR(params.at("B1"), 4653.1438, 1e-3);
                    EXPECT_NEAR(params.at("B3"), -4054538.5, 1.0);
                }
            }
        }
    }
    for (const auto& box : ui->boxes) {
        EXPECT_EQ(box.style & kMbCritical, 0) << box.prompt;
        EXPECT_EQ(box.prompt.find("Failed"), std::string::npos) << box.prompt;
    }
}

}  // namespace
}  // namespace vesk::test
