#include "trace.h"

#include <cmath>

namespace vsession {

double Trace::relative(double now) const {
  return std::round((now - start_) * 1e6) / 1e6;
}

void Trace::add(double now, const char* kind, TraceLine fields) {
  TraceLine line = TraceLine::object();
  line["t"] = relative(now);
  line["kind"] = kind;
  for (auto& [key, value] : fields.items()) line[key] = std::move(value);
  if (sink_) sink_(line);
  if (keep_) lines_.push_back(std::move(line));
}

void Trace::write(std::ostream& out) const {
  for (const TraceLine& line : lines_) out << line.dump() << '\n';
}

std::vector<TraceLine> linesOfKind(const std::vector<TraceLine>& lines, const std::string& kind) {
  std::vector<TraceLine> out;
  for (const TraceLine& line : lines) {
    if (line["kind"] == kind) out.push_back(line);
  }
  return out;
}

}  // namespace vsession
