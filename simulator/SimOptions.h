#pragma once
// How a simulated instrument is made: which port it sits on, where its state lives between
// runs, the data its fresh state comes from, and the seed and clock that make it repeatable.
#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace vesk::sim {

using WallClock = std::function<std::chrono::system_clock::time_point()>;

struct SimOptions {
    int32_t port = 1;
    std::string stateDir;   // folder of sim-<port>.json; empty: DefaultStateDir()
    std::string statePath;  // a state file of its own, instead of the folder's
    bool persist = true;    // false: the state lives in memory only
    bool reset = false;     // start from the data file, ignoring a saved state
    std::string dataPath;   // empty: the built-in default data
    uint64_t seed = 4710;
    WallClock clock;  // empty: the system clock
};

// $XDG_STATE_HOME/vesk4710, else ~/.local/state/vesk4710.
std::string DefaultStateDir();
// The state file of an instrument made with these options.
std::string StatePathFor(const SimOptions& options);

// The built-in default data (simulator/data/default.json).
const char* DefaultDataText();

}  // namespace vesk::sim
