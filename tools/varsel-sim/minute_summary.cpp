#include "minute_summary.h"

#include <cmath>

namespace sim {

void MinuteSummary::line(const vsession::TraceLine& line) {
  auto minute = static_cast<int64_t>(std::floor(line["t"].get<double>() / 60));
  while (minute_ < minute) flush();
  std::string kind = line["kind"];
  ++counts_[kind];
  ++totals_[kind];
}

void MinuteSummary::flush() {
  nlohmann::ordered_json summary = {{"minute", minute_}, {"counts", counts_}};
  out_(summary.dump());
  counts_.clear();
  ++minute_;
}

void MinuteSummary::finish() {
  flush();
  nlohmann::ordered_json total = {{"total", totals_}};
  out_(total.dump());
}

uint64_t MinuteSummary::events() const {
  uint64_t n = 0;
  for (const char* kind : {"deliver", "swallow"}) {
    if (auto it = totals_.find(kind); it != totals_.end()) n += it->second;
  }
  return n;
}

}  // namespace sim
