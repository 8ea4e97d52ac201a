// A long run's trace summarised instead of written whole: for each minute of virtual time,
// how many lines of each kind the trace had, then the totals.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "platform/virtual/trace.h"

namespace sim {

class MinuteSummary {
 public:
  // `out` receives each summary line (JSON) as it is complete.
  explicit MinuteSummary(std::function<void(const std::string&)> out) : out_(std::move(out)) {}

  void line(const vsession::TraceLine& line);
  // Writes the last minute and the totals.
  void finish();
  // Events that reached an application or were swallowed: the traffic through the agent.
  uint64_t events() const;

 private:
  void flush();

  std::function<void(const std::string&)> out_;
  int64_t minute_ = 0;
  std::map<std::string, uint64_t> counts_;
  std::map<std::string, uint64_t> totals_;
};

}  // namespace sim
