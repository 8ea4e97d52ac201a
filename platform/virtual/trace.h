// The run's trace: JSON Lines, one object per line in time order, each with `t` (virtual
// seconds from the start, to the microsecond) and `kind`.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

namespace vsession {

using TraceLine = nlohmann::ordered_json;

class Trace {
 public:
  explicit Trace(double startTime) : start_(startTime) {}

  // Adds a line at absolute time `now`; `fields` follow `t` and `kind` in their order. The
  // line goes to the sink, if there is one, and is kept unless keeping is off.
  void add(double now, const char* kind, TraceLine fields = TraceLine::object());
  const std::vector<TraceLine>& lines() const { return lines_; }
  // A long run hands each line on as it happens instead of holding them all.
  void setSink(std::function<void(const TraceLine&)> sink) { sink_ = std::move(sink); }
  void keepLines(bool keep) { keep_ = keep; }
  void write(std::ostream& out) const;

  // Seconds from the start, rounded to the microsecond so the text is stable.
  double relative(double now) const;

 private:
  double start_;
  std::vector<TraceLine> lines_;
  std::function<void(const TraceLine&)> sink_;
  bool keep_ = true;
};

// The lines of one kind, in order.
std::vector<TraceLine> linesOfKind(const std::vector<TraceLine>& lines, const std::string& kind);

}  // namespace vsession
