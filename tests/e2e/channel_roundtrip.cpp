// Channels against the simulator: every supported conversion is read completely, and what
// UpdateInfo writes reads back the same through a fresh instrument object.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "components/comm/Communications.h"
#include "components/probes/Probe.h"
#include "simulator/EmbeddedLink.h"
#include "simulator/Instrument.h"
#include "tests/testsupport/Fakes.h"
#include "vesk4710/channel/CVesk4710Channel.h"
#include "vesk4710/channel/modConversionTypes.h"
#include "vesk4710/core/CVesk4710.h"

namespace vesk::test {
namespace {

class ChannelOnSimulator : public ::testing::Test {
  protected:
    void SetUp() override {
        sim::SimOptions options;
        options.persist = false;
        options.reset = true;
        target = sim::Instrument::Create(options);
        host = std::make_shared<FakeHost>();
        auto instrumentModel = target;
        host->commFactory = [instrumentModel] {
            comm::CommOptions commOptions;
            commOptions.device = "embedded";
            return comm::Communications::Create(commOptions,
                                                [instrumentModel](const comm::LinkRequest&) {
                                                    return sim::ConnectEmbedded(instrumentModel);
                                                });
        };
        host->probeFactory = [] { return probes::Probe::Create(); };
    }

    // A fresh instrument object with its module tree read from the simulator.
    std::shared_ptr<CVesk4710> Open() {
        auto instrument = CVesk4710::Create(host);
        EXPECT_TRUE(instrument->InitializeCommunications());
        EXPECT_TRUE(instrument->QueryInfo());
        EXPECT_GE(instrument->NumChannels(), 2);
        return instrument;
    }

    std::vector<std::string> ErrorBoxes() const {
        std::vector<std::string> out;
        for (const auto& box : host->ui.boxes) {
            if ((box.style & kMbCritical) != 0 || box.prompt.find("Failed") != std::string::npos ||
                box.prompt.find("Aborted") != std::string::npos) {
                out.push_back(box.prompt);
            }
        }
        return out;
    }

    std::shared_ptr<sim::Instrument> target;
    std::shared_ptr<FakeHost> host;
};

// Coefficient names the instrument keeps for each family.
std::vector<std::string> CoefficientNames(int32_t type) {
    switch (type) {
        case kConvITS90:
            return {"RTPW", "A4", "B4", "A", "B", "C", "D"};
        case kConvITS90Subrange5:
            return {"RTPW", "A4", "B4"};
        case kConvCVD:
            return {"R0", "A", "B", "C"};
        case kConvPT100:
            return {"R0"};
        case kConvThermistor:
            return {"B0", "B1", "B2", "B3"};
        case kConvThermocouple:
            return {"C0", "C1", "C2", "C3"};
        default:
            return {};
    }
}

// The probe's value for an instrument coefficient name.
double ProbeValue(IProbe& probe, int32_t type, const std::string& name) {
    IConversion& c = probe.ActiveConversion();
    const auto names = CoefficientNames(type);
    const auto at = std::find(names.begin(), names.end(), name) - names.begin();
    switch (type) {
        case kConvITS90:
        case kConvITS90Subrange5:
            if (name == "RTPW") {
                return c.RTPW();
            }
            return at <= 2 ? c.LowRange().Coefficients(static_cast<int32_t>(at - 1))
                           : c.HighRange().Coefficients(static_cast<int32_t>(at - 3));
        default:
            return c.Coefficients(static_cast<int32_t>(at));
    }
}

void SetProbeValue(IProbe& probe, int32_t type, const std::string& name, double value) {
    IConversion& c = probe.ActiveConversion();
    const auto names = CoefficientNames(type);
    const auto at = std::find(names.begin(), names.end(), name) - names.begin();
    switch (type) {
        case kConvITS90:
        case kConvITS90Subrange5:
            if (name == "RTPW") {
                c.RTPW(value);
            } else if (at <= 2) {
                c.LowRange().Coefficients(static_cast<int32_t>(at - 1), value);
            } else {
                c.HighRange().Coefficients(static_cast<int32_t>(at - 3), value);
            }
            break;
        default:
            c.Coefficients(static_cast<int32_t>(at), value);
    }
}

// Values that survive each family's number formats unchanged.
std::map<std::string, double> ChosenValues(int32_t type) {
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

struct ConversionSetup {
    std::string code;
    int32_t type;
    int32_t tc;
};

std::vector<ConversionSetup> SupportedSetups() {
    std::vector<ConversionSetup> all = {{"ITS", kConvITS90, 4},
                                        {"ITS5", kConvITS90Subrange5, 4},
                                        {"CVD", kConvCVD, 4},
                                        {"TRES", kConvThermistor, 4},
                                        {"RPRT", kConvPRTOhms, 4},
                                        {"V", kConvVolts, 4},
                                        {"RTHM", kConvThermistorOhms, 4},
                                        {"PT", kConvPT100, 4}};
    for (int32_t tc = 0; tc < 12; ++tc) {
        all.push_back({ThermocoupleCode(tc), kConvThermocouple, tc});
    }
    return all;
}

TEST_F(ChannelOnSimulator, QueryInfoReadsEveryChannelForEverySupportedConversion) {
    for (const ConversionSetup& setup : SupportedSetups()) {
        SCOPED_TRACE(setup.code);
        // Distinct values per channel, written straight into the instrument model.
        target->Modify([&](sim::InstrumentState& state) {
            for (size_t i = 0; i < state.channels.size(); ++i) {
                auto& probe = state.channels[i].probe;
                probe.conversion = setup.code;
                probe.serial = "p" + setup.code + std::to_string(i + 1);
                probe.calDate = "2022,7," + std::to_string(10 + i);
                probe.locked = i % 2 == 0;
                state.channels[i].resolution = static_cast<int32_t>(i % 4);
                probe.params.clear();
                for (const auto& [name, value] : ChosenValues(setup.type)) {
                    probe.params[name] = value * static_cast<double>(i + 1);
                }
                probe.params["MINOP"] = -10.0 * static_cast<double>(i + 1);
                probe.params["MAXOP"] = 400.0 + static_cast<double>(i);
                probe.params["RJTYPE"] = static_cast<double>(i % 2);
                probe.params["RJTEMP"] = 20.5 + static_cast<double>(i);
            }
        });
        // A fresh object each time: a channel already on a thermocouple keeps its letter.
        auto instrument = Open();
        for (int16_t c = 1; c <= instrument->NumChannels(); ++c) {
            SCOPED_TRACE(c);
            auto channel = instrument->GetChannelReference(c);
            ASSERT_NE(channel, nullptr);
            ASSERT_TRUE(channel->QueryInfo());
            const sim::InstrumentState state = target->State();
            const auto& modelled = state.channels[static_cast<size_t>(c - 1)];
            IProbe& probe = *channel->Probe();
            EXPECT_EQ(probe.ConversionType(), setup.type);
            EXPECT_EQ(channel->ProbeType(), ProbeFamilyOf(setup.type));
            EXPECT_EQ(probe.Serial(), UpperAscii(modelled.probe.serial));
            EXPECT_EQ(channel->CalDate(), Date::FromYMD(2022, 7, 9 + c));
            EXPECT_EQ(channel->ProbeLock(), modelled.probe.locked);
            EXPECT_EQ(channel->Resolution(), modelled.resolution);
            EXPECT_EQ(channel->MINOP(), -10 * c);
            EXPECT_EQ(channel->MAXOP(), 399 + c);
            for (const auto& [name, value] : ChosenValues(setup.type)) {
                EXPECT_DOUBLE_EQ(ProbeValue(probe, setup.type, name), value * c) << name;
            }
            if (setup.type == kConvThermocouple) {
                EXPECT_EQ(probe.ActiveConversion().TCType(), setup.tc);
                EXPECT_EQ(channel->RJCType(), (c - 1) % 2);
                EXPECT_DOUBLE_EQ(channel->RJCTemperature(), 19.5 + c);
            } else if (setup.type == kConvVolts) {
                EXPECT_EQ(channel->RJCType(), 1);
                EXPECT_EQ(channel->RJCTemperature(), 0.0);
            }
        }
    }
    EXPECT_EQ(ErrorBoxes(), std::vector<std::string>{});
}

TEST_F(ChannelOnSimulator, UpdateInfoReadsBackTheSameThroughAFreshInstrument) {
    std::vector<std::pair<ConversionSetup, int32_t>> cases;  // setup, junction type
    for (const ConversionSetup& setup : SupportedSetups()) {
        cases.emplace_back(setup, setup.tc % 2);
    }
    cases.emplace_back(ConversionSetup{"K", kConvThermocouple, 4}, 0);
    cases.emplace_back(ConversionSetup{"K", kConvThermocouple, 4}, 1);

    for (const auto& [setup, junction] : cases) {
        for (int16_t c = 1; c <= 2; ++c) {
            SCOPED_TRACE(setup.code + " junction " + std::to_string(junction) + " channel " +
                         std::to_string(c));
            auto writer = Open();
            host->ui.passcodes.push_back({"1234", true});
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
            channel->RJCType(junction);
            channel->RJCTemperature(12.5);
            for (const auto& [name, value] : ChosenValues(setup.type)) {
                SetProbeValue(*channel->Probe(), setup.type, name, value);
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

            auto reader = Open();
            auto fresh = reader->GetChannelReference(c);
            ASSERT_NE(fresh, nullptr);
            ASSERT_TRUE(fresh->QueryInfo());
            IProbe& written = *channel->Probe();
            IProbe& read = *fresh->Probe();
            EXPECT_EQ(read.Serial(), UpperAscii("E2E" + setup.code + std::to_string(c)));
            EXPECT_EQ(read.Serial(), written.Serial());
            EXPECT_EQ(read.ConversionType(), setup.type);
            EXPECT_EQ(fresh->CalDate(), Date::FromYMD(2023, 12, 31));
            // Automatic is written as the finest resolution.
            EXPECT_EQ(fresh->Resolution(), c == 1 ? 2 : 3);
            EXPECT_EQ(fresh->Resolution(), channel->Resolution());
            EXPECT_EQ(fresh->MINOP(), -20);
            EXPECT_EQ(fresh->MAXOP(), 450);
            EXPECT_EQ(fresh->ProbeLock(), c == 1);
            for (const auto& [name, value] : ChosenValues(setup.type)) {
                EXPECT_DOUBLE_EQ(ProbeValue(read, setup.type, name), value) << name;
                EXPECT_DOUBLE_EQ(ProbeValue(written, setup.type, name), value) << name;
            }
            if (setup.type == kConvITS90Subrange5) {
                const sim::InstrumentState state = target->State();
                const auto& params = state.channels[static_cast<size_t>(c - 1)].probe.params;
                EXPECT_DOUBLE_EQ(params.at("A"), 1.5e-5);
                EXPECT_DOUBLE_EQ(params.at("C"), 4.5e-5);
            }
            if (setup.type == kConvThermocouple) {
                EXPECT_EQ(read.ActiveConversion().TCType(), setup.tc);
                EXPECT_EQ(fresh->RJCType(), junction);
                EXPECT_DOUBLE_EQ(fresh->RJCTemperature(), 12.5);
                const sim::InstrumentState state = target->State();
                const auto& params = state.channels[static_cast<size_t>(c - 1)].probe.params;
                if (junction == 1) {
                    // The internal junction's fixed characteristic went out as well.
                    ASSERT_EQ(params.count("B1"), 1u);
                    EXPECT_NEAR(params.at("B1"), 4653.1438, 1e-3);
                    EXPECT_NEAR(params.at("B3"), -4054538.5, 1.0);
                }
            }
        }
    }
    EXPECT_EQ(ErrorBoxes(), std::vector<std::string>{});
}

TEST_F(ChannelOnSimulator, ProtectedWriteWithoutPasscodeFailsAndLeavesTheInstrumentAsItWas) {
    auto writer = Open();
    auto channel = writer->GetChannelReference(1);
    ASSERT_NE(channel, nullptr);
    ASSERT_TRUE(channel->QueryInfo());
    const std::string before = target->State().channels[0].probe.serial;
    channel->Probe()->Serial("NOPASS");
    EXPECT_FALSE(channel->UpdateInfo());
    EXPECT_EQ(target->State().channels[0].probe.serial, before);
    ASSERT_FALSE(ErrorBoxes().empty());
    EXPECT_EQ(host->ui.boxes.back().prompt, "Failed to successfully update 'Probe serial number'.");
    // The channel stays usable.
    EXPECT_TRUE(channel->QueryInfo());
    EXPECT_EQ(channel->Probe()->Serial(), before);
}

}  // namespace
}  // namespace vesk::test
