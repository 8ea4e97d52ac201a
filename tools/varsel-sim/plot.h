// A picture of a run: each scroll area's content offset over time above the scroll deltas
// that reached applications (the agent's own and the devices'), drawn by gnuplot as SVG.
#pragma once

#include <string>
#include <vector>

#include "platform/virtual/trace.h"

namespace sim {

// The gnuplot script that draws `trace` over the run's `seconds`, its data inline.
std::string plotScript(const std::vector<vsession::TraceLine>& trace, const std::string& title,
                       double seconds, const std::string& svgPath);
// Draws the picture into `svgPath`; false with `error` set when gnuplot is missing or fails.
bool writePlot(const std::vector<vsession::TraceLine>& trace, const std::string& title,
               double seconds, const std::string& svgPath, std::string& error);

}  // namespace sim
