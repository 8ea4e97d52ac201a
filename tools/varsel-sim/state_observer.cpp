#include "state_observer.h"

#include "VAstate.h"

namespace sim {

namespace {

using Flags = std::vector<std::pair<std::string, nlohmann::ordered_json>>;

// Every flag under the name the agent's getters give it (the getter without "state_").
Flags snapshot() {
  const VAstateStatics& s = VAstate_statics();
  nlohmann::ordered_json window = nullptr;
  BidRef bid = state_currentAppBid();
  if (s.sHaveCurWindow.load()) {
    IRect r = s.sCurWRect.load();
    window = {r.top, r.left, r.bottom, r.right};
  }
  return {
      {"quitting", s.sQuitting.load()},
      {"isMultiTouch", s.sIsMultiTouch.load()},
      {"doingWheel", s.sDoingWheel.load()},
      {"doingCoast", s.sDoingCoast.load()},
      {"postingMomentum", s.sPostingMomentum.load()},
      {"curMomentumPhase", s.sCurMomentumPhase.load()},
      {"repostWheelEventsUntilMomentumEnd", s.sRepost.load()},
      {"doingGrab", s.sDoingGrab.load()},
      {"doingGrabWOMoving", s.sDoingGrabWOMoving.load()},
      {"doingGrabWScrollKey", s.sDoingGrabWScrollKey.load()},
      {"doingGrabWHotKeyAndButton", s.sDoingGrabWHotKeyAndButton.load()},
      {"doingGrabWHotKeyOnly", s.sDoingGrabWHotKeyOnly.load()},
      {"doingGrabWToggle", s.sDoingGrabWToggle.load()},
      {"doingGrabWurl", s.sDoingGrabWurl.load()},
      {"interceptNextKeypress", s.sInterceptNextKeypress.load()},
      {"nextMoveResumesTimer", s.sNextMoveResumesTimer.load()},
      {"doingVector", s.sDoingVector.load()},
      {"doingVectorWurl", s.sDoingVectorWurl.load()},
      {"coastStartedBy", s.sFeatureStartedCoast.load()},
      {"draggingHoverZone", s.sDraggingHoverZone.load()},
      {"forcingZonesVisible", s.sForcingZonesVisible.load()},
      {"doingHover", s.sDoingHover.load()},
      {"canHoverCurFrontWindow", s.sCanHoverCurFrontWindow.load()},
      {"doingAutoScroll", s.sDoingAutoScroll.load()},
      {"doingAutoScrollWurl", s.sDoingAutoScrollWurl.load()},
      {"hoverFaster", s.sHoverFaster.load()},
      {"hoverSpeedTweak", s.sHoverSpeedTweak.load()},
      {"lastAutoScrollSpeedTweak", s.sLastAutoScrollSpeedTweak.load()},
      {"hoverReverse", s.sHoverReverse.load()},
      {"AXdisabled", s.sAXdisabled.load()},
      {"forceOff", s.sForceOff.load()},
      {"haveCurWindow", window},
      {"currentAppBid", bid ? nlohmann::ordered_json(*bid) : nullptr},
      {"cursorOverDockGrid", s.sCursorOverDockGrid.load()},
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
