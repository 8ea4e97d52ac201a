// A picture of a run: each scroll area's content offset over time above the scroll deltas
// of the run (the agent's own, the devices' that reached applications, and the devices'
// that the agent swallowed), drawn by gnuplot as SVG or PNG. The data is gathered as the run
// goes, in a fixed number of time slots, so a run of any length draws from bounded memory.
#pragma once

#include <cstdint>
#include <cstdio>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/api/events.h"
#include "platform/virtual/accessibility_model.h"
#include "platform/virtual/trace.h"
#include "scenario.h"
#include "summary.h"

namespace sim {

class PlotData {
 public:
  // The run's length in virtual seconds, and every scroll area with its offset at the start.
  PlotData(const Scenario& scenario, const std::vector<vsession::ContentScroll>& areas);

  void line(const vsession::TraceLine& line);
  // A device event the agent swallowed.
  void swallowed(port::CGEventRef event);
  // The gnuplot script, its data inline; the picture goes to gnuplot's standard output.
  std::string script(bool png) const;

 private:
  // One value per time slot: the last (an offset) or the largest in size (a delta).
  struct Series {
    std::vector<std::optional<std::pair<double, double>>> slots;  // (time, value)
    void last(size_t slot, double t, double v) { slots[slot] = {{t, v}}; }
    void largest(size_t slot, double t, double v);
    bool empty() const;
    std::string rows() const;
  };
  struct Area {
    std::string name;
    port::CGPoint start;
    Series x, y;
    bool movedX = false, movedY = false;
  };

  size_t slotOf(double t) const;
  Series newSeries() const;

  const Scenario& scenario_;
  double seconds_;
  std::map<AreaKey, Area> areas_;
  // Deltas: the agent's, the devices' delivered, the devices' swallowed; vertical, horizontal.
  Series deltas_[3][2];
  double now_ = 0;  // the time of the last trace line
};

// Draws the picture into `out` (an open file); false with `error` set when gnuplot is
// missing or fails. Nothing of the picture ever goes to standard output.
bool drawPlot(const PlotData& data, bool png, std::FILE* out, std::string& error);
// Whether gnuplot can be run at all, asked before a run that wants a picture.
bool gnuplotAvailable();

}  // namespace sim
