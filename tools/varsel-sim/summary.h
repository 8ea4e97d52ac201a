// What a run did, gathered line by line as the trace is made, so that a run of any length
// needs no trace in memory: the events delivered and swallowed by type, how far each scroll
// area moved and where it ended, which of the agent's modes ran and how often, and what the
// agent logged.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <tuple>
#include <vector>

#include "platform/virtual/accessibility_model.h"
#include "platform/virtual/trace.h"
#include "scenario.h"

namespace sim {

// A scroll area by its application, window and place among the window's areas.
using AreaKey = std::tuple<int32_t, int64_t, int>;

// The application and the window's title, as `Reader "Doc"`, with " area 1" when the
// window has more than one scroll area.
std::string areaName(const Scenario& scenario, const AreaKey& area, int areasInWindow);

class RunSummary {
 public:
  // `areas`: every scroll area and its offset as the run begins.
  RunSummary(const Scenario& scenario, const std::vector<vsession::ContentScroll>& areas);

  void line(const vsession::TraceLine& line);
  // Called after each wake of the agent's threads: notes the modes that have just begun.
  void afterWake();
  std::string text(const std::vector<vsession::VirtualApp>& apps, bool terminated) const;

 private:
  struct Area {
    port::CGPoint start;
    port::CGPoint now;
    double movedX = 0;
    double movedY = 0;
  };
  struct Mode {
    const char* name;
    uint32_t count = 0;
    bool on = false;
  };
  // The modes, coasts first by who started them: wheel, trackpad, grab, keys.
  enum : size_t { kWheelCoast, kTrackpadCoast, kGrabCoast, kKeysCoast, kFirstOtherMode };

  const Scenario& scenario_;
  std::map<AreaKey, Area> areas_;
  std::map<std::string, uint64_t> delivered_;
  std::map<std::string, uint64_t> swallowed_;
  uint64_t deliveredTotal_ = 0;
  uint64_t swallowedTotal_ = 0;
  uint64_t stateChanges_ = 0;
  std::vector<std::pair<std::string, uint64_t>> logged_;  // distinct messages, first seen first
  uint64_t loggedOther_ = 0;                              // beyond the distinct ones kept
  std::vector<Mode> modes_;
};

}  // namespace sim
