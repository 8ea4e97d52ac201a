#include "state_observer.h"

#include "VAstate.h"

namespace sim {

namespace {

using Flags = std::vector<std::pair<std::string, nlohmann::ordered_json>>;

// Every flag under the name the agent's getters give it (the getter without "state_").
Flags snapshot() {
  const VAstateStatics& s = VAstate_statics();
  nlohmann::ordered_json window = nullptr;
  if (s.sHaveCurWindow) {
    window = {s.sCurWRect.top, s.sCurWRect.left, s.sCurWRect.bottom, s.sCurWRect.right};
  }
  return {
      {"quitting", s.sQuitting},
      {"isMultiTouch", s.sIsMultiTouch},
      {"doingWheel", s.sDoingWheel},
      {"doingCoast", s.sDoingCoast},
      {"postingMomentum", s.sPostingMomentum},
      {"curMomentumPhase", s.sCurMomentumPhase},
      {"repostWheelEventsUntilMomentumEnd", s.sRepost},
      {"doingGrab", s.sDoingGrab},
      {"doingGrabWOMoving", s.sDoingGrabWOMoving},
      {"doingGrabWScrollKey", s.sDoingGrabWScrollKey},
      {"doingGrabWHotKeyAndButton", s.sDoingGrabWHotKeyAndButton},
      {"doingGrabWHotKeyOnly", s.sDoingGrabWHotKeyOnly},
      {"doingGrabWToggle", s.sDoingGrabWToggle},
      {"doingGrabWurl", s.sDoingGrabWurl},
      {"interceptNextKeypress", s.sInterceptNextKeypress},
      {"nextMoveResumesTimer", s.sNextMoveResumesTimer},
      {"doingVector", s.sDoingVector},
      {"doingVectorWurl", s.sDoingVectorWurl},
      {"coastStartedBy", s.sFeatureStartedCoast},
      {"draggingHoverZone", s.sDraggingHoverZone},
      {"forcingZonesVisible", s.sForcingZonesVisible},
      {"doingHover", s.sDoingHover},
      {"canHoverCurFrontWindow", s.sCanHoverCurFrontWindow},
      {"doingAutoScroll", s.sDoingAutoScroll},
      {"doingAutoScrollWurl", s.sDoingAutoScrollWurl},
      {"hoverFaster", s.sHoverFaster},
      {"hoverSpeedTweak", s.sHoverSpeedTweak},
      {"lastAutoScrollSpeedTweak", s.sLastAutoScrollSpeedTweak},
      {"hoverReverse", s.sHoverReverse},
      {"AXdisabled", s.sAXdisabled},
      {"forceOff", s.sForceOff},
      {"haveCurWindow", window},
      {"currentAppBid", s.sCurBid ? nlohmann::ordered_json(*s.sCurBid) : nullptr},
      {"cursorOverDockGrid", s.sCursorOverDockGrid},
  };
}

}  // namespace

StateObserver::StateObserver() : last_(snapshot()) {}

Flags StateObserver::changes() {
  Flags now = snapshot();
  Flags changed;
  for (size_t i = 0; i < now.size(); ++i) {
    if (now[i].second != last_[i].second) changed.push_back(now[i]);
  }
  last_ = std::move(now);
  return changed;
}

}  // namespace sim
