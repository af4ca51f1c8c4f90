#pragma once
// What the simulator's request handlers share: a command's arguments by parameter, the refusal
// they throw (it becomes an error reply), and the instrument's strict value rules.
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "components/comm/CommErrors.h"
#include "components/comm/Protocol.h"
#include "simulator/InstrumentState.h"

namespace vesk::sim {

// One reply: its lines, without terminators.
using Lines = std::vector<std::string>;

struct SimError {
    int32_t code;
    std::string text;
};

int32_t Code(comm::InstrumentError e);
std::string Upper(std::string text);
std::optional<double> StrictNumber(std::string_view text);
std::optional<int32_t> StrictInt(std::string_view text);
// "2024,3,7" (leading zeros allowed) -> "2024,3,7"; nullopt for anything that is no date.
std::optional<std::string> NormalizedDate(std::string_view text);
std::string Number(double value);
// Volts need more places than degrees and ohms.
std::string ValueText(const Reading& r);
bool ValidSerial(std::string_view text, size_t maxLength);
bool ValidLabel(std::string_view text);
// Repeatable noise in [-1, 1) for a channel at a whole second.
double Noise(uint64_t seed, int32_t channel, int64_t second);
double InUnits(double celsius, std::string_view units);

// The arguments of a command by parameter, as the protocol table places them.
class RequestArgs {
  public:
    RequestArgs(const comm::CommandLine& command, const comm::SettingCommand& setting)
        : command_(command), setting_(setting) {}
    std::optional<std::string> Get(comm::Param param) const;
    std::string Require(comm::Param param) const;
    double RequireNumber(comm::Param param) const;
    int32_t RequireInt(comm::Param param, int32_t low, int32_t high) const;

  private:
    const comm::CommandLine& command_;
    const comm::SettingCommand& setting_;
};

}  // namespace vesk::sim
