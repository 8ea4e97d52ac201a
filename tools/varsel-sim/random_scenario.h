// A scenario made from arbitrary bytes, for random testing: a scenario file's text is read as
// one; any other bytes choose the system, random settings (any value of any key, globally,
// for all applications and per application) and a run of timed input of every kind.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "scenario.h"

namespace sim {

// How long the input of random bytes may go on, and how many steps it may have.
inline constexpr double kRandomInputSeconds = 120;
inline constexpr size_t kRandomInputSteps = 400;

// The file name a scenario chosen by the bytes carries.
inline constexpr const char* kRandomScenarioFile = "random";

// A scenario file's text finds the files it names (recordings) from `folder`.
Scenario scenarioFromBytes(const uint8_t* data, size_t size, const std::string& folder);

}  // namespace sim
