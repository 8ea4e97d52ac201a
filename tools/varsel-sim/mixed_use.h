// A long scenario of everyday use, generated: reading with the wheel and the trackpad,
// pointing and clicking at a fast mouse's rate, selecting by dragging, typing, grabbing with
// the middle button, resting in a hover zone, and pauses. The same seed gives the same
// scenario.
#pragma once

#include <cstdint>
#include <string>

namespace sim {

// The scenario's text (the scenario format, JSON) for `seconds` of use.
std::string mixedUseScenario(double seconds, uint32_t seed);

}  // namespace sim
