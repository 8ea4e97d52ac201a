// The run timer: looks at the cursor a few times a second while the mouse moves and rarely
// when it rests, finds what lies under it, switches the settings to that application and
// hands the event thread a fresh bars record.
#include <cmath>

#include "Commonprefs.h"
#include "Commonprefs_offsets.h"
#include "VAcursor.h"
#include "VAevent.h"
#include "VAhover.h"
#include "VAshow.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "VAutils.h"
#include "VAux.h"
#include "acc/blockAtomic.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"
#include "tarnwickCkUpdate.h"

using namespace port;

namespace {

// Full passes cost accessibility queries: never two within this many seconds.
constexpr double kMinPassInterval = 0.08;
constexpr double kMovingDelay = 0.7;
constexpr double kRestingDelay = 20.0;
constexpr double kNothingToWatchDelay = 10.0;
// The mouse counts as resting this long after its last reported move.
constexpr double kRestAfter = 1.1;
// While it moves this recently, only hover needs a pass.
constexpr double kStillMoving = 0.11;
// A cursor that stayed this close is not looked at again for a second.
constexpr double kSamePlace = 4.0;
constexpr double kAssistiveReportInterval = 10.0;
constexpr double kUpdateCheckScheduleInterval = 600.0;
// The hover modifier shows the zones only when no key went down this recently.
constexpr double kHoverModQuiet = 0.5;
// How far above or below a window the pointer may be for the modifier to show its zones.
constexpr double kNearWindowEdge = 40;

// NSPointInRect: the rectangle's lower and left edges are inside, the others not.
bool contains(CGRect r, CGPoint p) {
  return p.x >= r.origin.x && p.x < r.origin.x + r.size.width && p.y >= r.origin.y &&
         p.y < r.origin.y + r.size.height;
}

void runTimerFired(CFRunLoopTimerRef, void*) {
  bgDelegate::runTimer();
}

// The timer is made once and moved to each new due time, which also drops the pending one.
void scheduleRunTimer(double delay) {
  bgDelegateStatics& s = bgDelegate_statics();
  RunLoops& loops = *platform().runLoops;
  double due = utils_now() + delay;
  if (!s.sRunTimer || !loops.timerIsValid(s.sRunTimer)) {
    constexpr double kNeverRepeats = 1e9;
    s.sRunTimer = loops.timerCreate(due, kNeverRepeats, runTimerFired, nullptr);
    if (!s.sRunTimer) return;
    loops.addTimer(loops.getMain(), s.sRunTimer, RunLoopMode::kCommon);
    return;
  }
  loops.timerSetNextFireDate(s.sRunTimer, due);
}

void tellPaneAssistive(bool granted) {
  if (isFrontAppRunning()) bgAppDelegateSendFrontApp_message_dict(granted ? "AXe" : "AXd", nullptr);
}

// Step 9: follow the permission as it comes and goes, and keep the pane told.
bool checkAssistive(double t, CGPoint p) {
  bgDelegateStatics& s = bgDelegate_statics();
  bool granted = isAssistiveEnabled();
  if (granted && state_AXdisabled()) {
    state_setAXdisabled(false);
    bgUpdatePrefsFromAppList();
    tellPaneAssistive(true);
  } else if (!granted && !state_AXdisabled()) {
    state_setAXdisabled(true);
    // One more query, so that the system lists the agent again under Accessibility.
    if (sysvers() >= kYosemite) VAux::updateAppUnderCursor(p);
    bgUpdatePrefsFromAppList();
    tellPaneAssistive(false);
  }
  if (t - s.lastFrontAppAssistiveUpdateTime > kAssistiveReportInterval) {
    s.lastFrontAppAssistiveUpdateTime = t;
    tellPaneAssistive(granted);
  }
  return granted;
}

// Step 10.3: holding the hover modifier alone near a zone or a window's top or bottom edge
// shows the zones; once shown, holding it keeps them.
bool zonesForcedByHoverModifier(CGPoint p, bool same) {
  bool down = false;
  uint64_t mod = index2key(prefs_bgprefs()->hoverMod);
  if (is_keypressSince_orOtherModDownInMods_thanMod_isDownPtr(
          platform().cocoa->currentModifierFlags(), mod, &down, kHoverModQuiet) ||
      !down) {
    return false;
  }
  if (VAshow::areZonesShown()) return true;
  if (contains(VAshow::upZoneRect(), p) || contains(VAshow::downZoneRect(), p)) return !same;
  IRect w;
  if (state_haveCurWindow_rectPtr(&w) && w.left - 1 < p.x && p.x < w.right &&
      ((0 < w.top - p.y && w.top - p.y < kNearWindowEdge) ||
       (0 < p.y - w.bottom && p.y - w.bottom < kNearWindowEdge))) {
    return !same;
  }
  return false;
}
}  // namespace

void bgDelegate::runTimer() {
  bgDelegateStatics& s = bgDelegate_statics();
  double t = utils_now();
  if (!s.sForceRun && t - s.lastRun < kMinPassInterval) return;

  CGPoint p = platform().cocoa->mouseLocation();
  CGPoint last = s.sLastMousePoint.load();
  bool same = p.x == last.x && p.y == last.y;
  bool work;
  double delay;
  if (t - s.sLastMouseMovedTime > kRestAfter) {
    state_setNextMoveResumesTimer(true);
    work = !s.sWaitUntilMouseMoves;
    delay = kRestingDelay;
  } else if (!s.sWaitUntilMouseMoves) {
    work = true;
    delay = kMovingDelay;
  } else {
    state_setNextMoveResumesTimer(true);
    work = false;
    delay = kRestingDelay;
  }
  if (t - s.sLastMouseMovedTime < kStillMoving) work = work && prefs_hoverOn();
  if (state_doingCoast() || s.sForceRun) work = true;
  if (std::fabs(p.x - s.sLastMousePoint.x) <= kSamePlace &&
      std::fabs(p.y - s.sLastMousePoint.y) <= kSamePlace && t - s.lastRun < 1.0) {
    work = false;
  }

  bool tapWanted = event_needMmovedTap() || state_nextMoveResumesTimer();
  if (!tapWanted) {
    state_setNextMoveResumesTimer(false);
    delay = kMovingDelay;
  }
  evtapMMoved_setEnabled(tapWanted);
  // With one settings record for all and nothing hover-like on, the cursor's place
  // matters to nobody.
  if (!tapWanted && !s.sForceRun && prefs_singlePrefsOrAllVisibleUseSame() &&
      !prefs_hoverEngineOn()) {
    delay = kNothingToWatchDelay;
    work = false;
  }

  scheduleRunTimer(delay);
  s.sForceRun = false;
  if (!work) return;

  AXReadsOfOnePass pass;
  s.sLastMousePoint.store(p);
  s.lastRun = t;
  bool granted = checkAssistive(t, p);

  IRect windowRect;
  if (granted) {
    s.sCursorPid = VAux::updateAppUnderCursor_centered_wRect(p, s.sRunForWindowCenter, &windowRect);
    s.sRunForWindowCenter = false;
  }
  if (granted && s.sCursorPid == platform().application->processIdentifier()) return;
  if (granted && s.sCursorPid != 0) {
    if (!prefs_singlePrefsOrAllVisibleUseSame()) prefs_switchToPrefsForPid(s.sCursorPid);
    if (prefs_hoverEngineOn()) {
      state_setCanHoverCurFrontWindow(!prefs_hoverActiveOnly() || VAux::isCurrentWindowFrontMost());
      if (s.sCursorPid > 0) {
        VAux::updateBars_andWindowRect(&s.bars, &windowRect);
        prefs_switchToOfstsForBars_pid(&s.bars, s.sCursorPid);
      }
      state_setHaveCurWindow_rect(s.sCursorPid > 0, windowRect);
    }
    bool forced = prefs_bgprefs()->hoverModOn && zonesForcedByHoverModifier(p, same);
    int hide = 1;
    if (state_canHoverCurFrontWindow()) {
      state_forceZonesVisible(forced);
      if (forced && !state_doingHover() && !state_doingAutoScroll()) hide = 0;
    }
    hover_hideZones(hide);
    hover_updateRects(&s.bars);
  } else {
    s.sCursorPid = 0;
    int32_t front = platform().workspace->frontProcessPid();
    if (!prefs_singlePrefsOrAllVisibleUseSame()) prefs_switchToPrefsForPid(front);
    hover_hideZones(true);
  }

  BidRef bid = state_currentAppBid();
  prefs_setSpecialBehaviorFor_appBid_wRectPtr_cursor(bid.get(), &windowRect,
                                                     s.sLastMousePoint.load());

  Threads& threads = *platform().threads;
  threads.lock(s.eventThreadBarsLock);
  s.eventThreadBars = s.bars;
  threads.unlock(s.eventThreadBarsLock);

  if (prefs_hoverEngineOn()) {
    VAshow::showActiveZones(&s.bars);
    // A click on what shows a hand is left to the application; the event thread asks the
    // answer kept here.
    cursor_watchSystemCursor();
  }
  if (t - s.lastScheduleUpdateCheck > kUpdateCheckScheduleInterval) {
    s.lastScheduleUpdateCheck = t;
    dispatchMainWithAutoreleasePool([] { prefs_scheduleUpdateCheck(); });
  }
}

void bgDelegate::runTimerOnMain() {
  dispatchMainWithAutoreleasePool([] { runTimer(); });
}

void bgDelegate::runTimerAfter(float seconds) {
  dispatchMainWithAutoreleasePool([seconds] {
    bgDelegateStatics& s = bgDelegate_statics();
    double t = utils_now() + seconds;
    if (s.sNextTime != 0 && t > s.sNextTime) return;
    s.sNextTime = t;
    Dispatch& dispatch = *platform().dispatch;
    dispatch.after(seconds, dispatch.getMainQueue(),
                   BlockWithAutoreleasePool([] { runTimerAfter_b(); }));
  });
}

// A later, earlier-due request replaced this one when the due time is still ahead.
void bgDelegate::runTimerAfter_b() {
  bgDelegateStatics& s = bgDelegate_statics();
  if (s.sNextTime - utils_now() > 0.012) return;
  s.sNextTime = 0;
  runTimer();
}

void bgDelegate::forceRunTimer() {
  dispatchMainWithAutoreleasePool([] {
    bgDelegate_statics().sForceRun = true;
    runTimer();
  });
}

void bgDelegate::pauseTimerUntilMouseMoves() {
  dispatchMainWithAutoreleasePool([] { bgDelegate_statics().sWaitUntilMouseMoves = true; });
}

void bgDelegate::runTimerForWindowCenter() {
  bgDelegateStatics& s = bgDelegate_statics();
  s.sRunForWindowCenter = true;
  s.sForceRun = true;
  runTimer();
}

void bgDelegate::MMoved() {
  bgDelegateStatics& s = bgDelegate_statics();
  s.sWaitUntilMouseMoves = false;
  s.sLastMouseMovedTime = utils_now();
  if (state_nextMoveResumesTimer()) {
    state_setNextMoveResumesTimer(false);
    runTimerAfter(0.1f);
  }
}
