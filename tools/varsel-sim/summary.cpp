#include "summary.h"

#include <cmath>
#include <sstream>

#include "VAstate.h"
#include "platform/api/events.h"

namespace sim {

namespace {

using namespace port;

// Distinct log messages listed in the summary; the rest are only counted.
constexpr size_t kDistinctMessages = 12;

const char* typeName(int64_t type) {
  switch (type) {
    case kCGEventLeftMouseDown:
    case kCGEventRightMouseDown:
    case kCGEventOtherMouseDown:
      return "button down";
    case kCGEventLeftMouseUp:
    case kCGEventRightMouseUp:
    case kCGEventOtherMouseUp:
      return "button up";
    case kCGEventMouseMoved:
      return "mouse moved";
    case kCGEventLeftMouseDragged:
    case kCGEventRightMouseDragged:
    case kCGEventOtherMouseDragged:
      return "dragged";
    case kCGEventKeyDown:
      return "key down";
    case kCGEventKeyUp:
      return "key up";
    case kCGEventFlagsChanged:
      return "flags changed";
    case kCGEventScrollWheel:
      return "scroll wheel";
    case kNSEventTypeGesture:
      return "gesture";
    default:
      return "other";
  }
}

void listCounts(std::ostream& out, const std::map<std::string, uint64_t>& counts) {
  const char* separator = ": ";
  for (const auto& [name, count] : counts) {
    out << separator << count << " " << name;
    separator = ", ";
  }
}

// Whole pixels where the value is whole, else as it is.
std::string pixels(double v) {
  if (v == std::trunc(v) && std::fabs(v) < 1e15) return std::to_string(static_cast<int64_t>(v));
  std::ostringstream out;
  out << v;
  return out.str();
}

}  // namespace

std::string areaName(const Scenario& scenario, const AreaKey& area, int areasInWindow) {
  const auto& [pid, number, index] = area;
  std::string app = "pid " + std::to_string(pid), title;
  for (const ScenarioApp& a : scenario.apps) {
    if (a.pid != pid) continue;
    app = a.name.value_or(a.bundle.value_or(a.process.empty() ? app : a.process));
    for (const ScenarioWindow& w : a.windows) {
      if (w.number == number) title = w.title;
    }
  }
  std::string name =
      app + " " + (title.empty() ? "window " + std::to_string(number) : '"' + title + '"');
  if (areasInWindow > 1) name += " area " + std::to_string(index);
  return name;
}

RunSummary::RunSummary(const Scenario& scenario, const std::vector<vsession::ContentScroll>& areas)
    : scenario_(scenario), modes_{{"wheel coast"}, {"trackpad coast"}, {"grab coast"},
                                  {"keys coast"},  {"repost mode"},    {"grab"},
                                  {"vector"},      {"hover"},          {"autoscroll"}} {
  for (const vsession::ContentScroll& a : areas) {
    areas_[{a.pid, a.window, a.area}] = {a.offset, a.offset, 0, 0};
  }
}

void RunSummary::line(const vsession::TraceLine& line) {
  const std::string& kind = line["kind"].get_ref<const std::string&>();
  if (kind == "deliver") {
    ++delivered_[typeName(line["type"].get<int64_t>())];
    ++deliveredTotal_;
  } else if (kind == "swallow") {
    ++swallowed_[typeName(line["type"].get<int64_t>())];
    ++swallowedTotal_;
  } else if (kind == "scroll") {
    Area& area = areas_[{line["pid"].get<int32_t>(), line["window"].get<int64_t>(),
                         line["area"].get<int>()}];
    CGPoint to{line["x"].get<double>(), line["y"].get<double>()};
    area.movedX += std::fabs(to.x - area.now.x);
    area.movedY += std::fabs(to.y - area.now.y);
    area.now = to;
  } else if (kind == "state") {
    ++stateChanges_;
  } else if (kind == "log") {
    const std::string& message = line["msg"].get_ref<const std::string&>();
    for (auto& [text, count] : logged_) {
      if (text == message) {
        ++count;
        return;
      }
    }
    if (logged_.size() < kDistinctMessages) {
      logged_.push_back({message, 1});
    } else {
      ++loggedOther_;
    }
  }
}

void RunSummary::afterWake() {
  const VAstateStatics& s = VAstate_statics();
  // A coast is counted as who started it: the wheel or the trackpad (by the device of the
  // last wheel event), a grab or the keys.
  size_t coast = s.sFeatureStartedCoast == 1   ? kGrabCoast
                 : s.sFeatureStartedCoast == 3 ? kKeysCoast
                 : s.sIsMultiTouch             ? kTrackpadCoast
                                               : kWheelCoast;
  bool coasting = s.sDoingCoast;
  bool anyCoastOn = false;
  for (size_t i = kWheelCoast; i < kFirstOtherMode; ++i) anyCoastOn |= modes_[i].on;
  if (coasting && !anyCoastOn) {
    ++modes_[coast].count;
    modes_[coast].on = true;
  } else if (!coasting) {
    for (size_t i = kWheelCoast; i < kFirstOtherMode; ++i) modes_[i].on = false;
  }
  const bool others[] = {s.sRepost, s.sDoingGrab, s.sDoingVector, s.sDoingHover,
                         s.sDoingAutoScroll};
  for (size_t i = 0; i < std::size(others); ++i) {
    Mode& mode = modes_[kFirstOtherMode + i];
    if (others[i] && !mode.on) ++mode.count;
    mode.on = others[i];
  }
}

std::string RunSummary::text(const std::vector<vsession::VirtualApp>& apps, bool terminated) const {
  std::ostringstream out;
  out << "Scenario \"" << scenario_.name << "\": " << scenario_.until << " s of virtual time"
      << (terminated ? ", ended by the agent's terminate request" : "") << "\n";
  out << "  delivered " << deliveredTotal_ << " events";
  listCounts(out, delivered_);
  out << "\n  swallowed " << swallowedTotal_;
  listCounts(out, swallowed_);
  out << "\n";
  for (const vsession::VirtualApp& app : apps) {
    out << "  " << app.displayName() << " (pid " << app.pid << ") received " << app.eventsReceived
        << "\n";
  }

  out << "  scrolled:" << (areas_.empty() ? " no scroll areas" : "") << "\n";
  std::map<std::pair<int32_t, int64_t>, int> perWindow;
  for (const auto& [key, area] : areas_) ++perWindow[{std::get<0>(key), std::get<1>(key)}];
  for (const auto& [key, area] : areas_) {
    out << "    " << areaName(scenario_, key, perWindow[{std::get<0>(key), std::get<1>(key)}])
        << ": ";
    if (area.movedX == 0 && area.movedY == 0) {
      out << "did not move";
    } else {
      out << "moved " << pixels(area.movedY) << " px vertically and " << pixels(area.movedX)
          << " px horizontally";
    }
    out << "; offset (" << pixels(area.now.x) << ", " << pixels(area.now.y) << ")\n";
  }

  out << "  modes:";
  const char* separator = " ";
  for (const Mode& mode : modes_) {
    if (mode.count == 0) continue;
    out << separator << mode.name << " " << mode.count << (mode.count == 1 ? " time" : " times");
    separator = ", ";
  }
  out << (*separator == ' ' ? " none" : "") << "\n";
  out << "  agent state changes: " << stateChanges_ << "\n";
  out << "  logged:" << (logged_.empty() ? " nothing" : "") << "\n";
  for (const auto& [message, count] : logged_) {
    out << "    " << message << (count > 1 ? " (" + std::to_string(count) + " times)" : "") << "\n";
  }
  if (loggedOther_) out << "    and " << loggedOther_ << " other messages\n";

  for (const Mode& mode : modes_) {
    if (!mode.on) continue;
    out << "  note: the run ended with the " << mode.name << " still running";
    if (!scenario_.untilGiven) {
      out << " (a run ends " << kUntilAfterLastInput
          << " s after its last step unless \"until\" says otherwise)";
    }
    out << "\n";
  }
  return out.str();
}

}  // namespace sim
