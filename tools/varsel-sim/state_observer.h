// Watches the agent's state flags between wakes of its threads and writes each change to
// the trace as a `state` line.
#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <utility>
#include <vector>

#include "platform/virtual/trace.h"

namespace sim {

class StateObserver {
 public:
  StateObserver();
  // Compares the flags with the last look; returns the changes as (name, value).
  std::vector<std::pair<std::string, nlohmann::ordered_json>> changes();

 private:
  std::vector<std::pair<std::string, nlohmann::ordered_json>> last_;
};

}  // namespace sim
