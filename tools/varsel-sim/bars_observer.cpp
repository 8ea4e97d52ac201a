#include "bars_observer.h"

#include "bgDelegate.h"

namespace sim {

namespace {

// An entry that was not found keeps stale numbers (from earlier passes, clipped and flipped
// again each pass); only its absence is worth showing.
vsession::TraceLine entry(const Sbar& e) {
  if (!e.found) return {{"found", false}, {"rect", nullptr}, {"value", nullptr}};
  return {{"found", true},
          {"rect", {e.rect.top, e.rect.left, e.rect.bottom, e.rect.right}},
          {"value", e.value}};
}

vsession::TraceLine snapshot() {
  const Bars& b = bgDelegate_statics().eventThreadBars;
  return {{"window", b.windowNumber}, {"nonAX", b.nonAXbars != 0}, {"up", entry(b.up)},
          {"down", entry(b.down)},    {"left", entry(b.left)},     {"right", entry(b.right)}};
}

}  // namespace

BarsObserver::BarsObserver() : last_(snapshot()) {}

std::optional<vsession::TraceLine> BarsObserver::change() {
  vsession::TraceLine now = snapshot();
  if (now == last_) return std::nullopt;
  last_ = now;
  return now;
}

}  // namespace sim
