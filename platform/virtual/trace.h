// The run's trace: JSON Lines, one object per line in time order, each with `t` (virtual
// seconds from the start, to the microsecond) and `kind`.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace vsession {

using TraceLine = nlohmann::ordered_json;

class Trace {
 public:
  explicit Trace(double startTime) : start_(startTime) {}

  // Adds a line at absolute time `now`; `fields` follow `t` and `kind` in their order.
  void add(double now, const char* kind, TraceLine fields = TraceLine::object());
  const std::vector<TraceLine>& lines() const { return lines_; }
  void write(std::ostream& out) const;

  // Seconds from the start, rounded to the microsecond so the text is stable.
  double relative(double now) const;

 private:
  double start_;
  std::vector<TraceLine> lines_;
};

// The lines of one kind, in order.
std::vector<TraceLine> linesOfKind(const std::vector<TraceLine>& lines, const std::string& kind);

}  // namespace vsession
