// What must hold of the agent once the user has let go and it has been told to stop: no
// mode on, nothing shown, its timers at their idle pace, and nothing alive beyond what it
// keeps for its whole life. Random input and the regression set end with this check.
#pragma once

#include <string>
#include <vector>

#include "platform/virtual/session.h"
#include "scenario.h"

namespace sim {

// How long the agent is left alone after "varsel://stop" before the check.
inline constexpr double kQuietAfterStop = 2.0;

// After 7.5 s away (a tap that timed out in a sleep is back by then), the user lets go of
// every button, key and modifier, moves the pointer off every window, taps Shift (a
// modifier change ends a coast), and a "varsel://stop" follows; then the session runs
// `kQuietAfterStop` seconds with no input.
void letGoAndStop(vsession::VirtualSession& session);

// Every way the agent is not at rest, one line each; empty when it is.
std::vector<std::string> restViolations(vsession::VirtualSession& session);

// The largest movement on one axis that the agent may post in one scroll event.
inline constexpr double kLargestPostedScroll = 1000;

// Watches a run's trace as it goes: the clock never goes back and no scroll event the agent
// posts moves more than kLargestPostedScroll on an axis. The first violation is kept.
class TraceWatch {
 public:
  void line(const vsession::TraceLine& line);
  const std::string& violation() const { return violation_; }

 private:
  double last_ = 0;
  std::string violation_;
};

// Runs `scenario` with its trace watched, then lets go, stops and checks the rest: every
// violation, one line each; empty when there is none. Unless `mayEnd`, the agent ending
// (asked to quit) is one too.
std::vector<std::string> runToRest(const Scenario& scenario, bool mayEnd);

}  // namespace sim
