// Failures a test can inject into the virtual session's system services.
#pragma once

#include <set>

namespace vsession {

struct Faults {
  std::set<int> failTapCreate;         // ordinals (1 = first) of CGEventTapCreate calls that fail
  std::set<int> failTapSourceCreate;   // ordinals of CFMachPortCreateRunLoopSource calls that fail
  bool noRunLoopOnNewThreads = false;  // CFRunLoopGetCurrent on a detached thread gives null
  bool failTimerCreate = false;
};

}  // namespace vsession
