// One event through the main tap's callback to the dispatcher and back: the cost the
// agent adds to every mouse and wheel event of the session.
#include <benchmark/benchmark.h>

#include "VAcursor.h"
#include "VAevent.h"
#include "VAgrab.h"
#include "VAhover.h"
#include "VAkeys.h"
#include "VAremote.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "VAutils.h"
#include "VAvector.h"
#include "allocation_counter.h"
#include "bgDelegate.h"
#include "main.h"
#include "platform/virtual/session.h"

namespace {

using namespace port;

// The agent started in a virtual session, as for a scenario.
struct StartedAgent {
  vsession::VirtualSession session;
  StartedAgent() {
    // Millions of posted events would otherwise each leave a line in memory.
    session.trace().keepLines(false);
    setPlatform(&session.platform());
    agent_resetModules();
    bgDelegate::applicationDidFinishLaunching();
    session.runUntil(0);
  }
};

StartedAgent& agent() {
  static StartedAgent started;
  return started;
}

// A case whose work must not be followed by the session's: nothing runs between batches.
constexpr double kNothingRunsBetween = -1;

// Times `body` per iteration and counts the heap allocations made inside it. Between
// batches, outside the timing, the session runs what the events handed to other threads
// (run-timer passes, coast starts, posted events), as the real threads would meanwhile.
template <class F>
void timeEvents(benchmark::State& state, F body, double settle = 0) {
  vsession::VirtualSession& session = agent().session;
  uint64_t allocations = 0;
  int batch = 0;
  // One untimed batch first, so that the session's own queues have grown to a batch's size.
  for (int i = 0; i < 256; ++i) body();
  if (settle != kNothingRunsBetween) session.runUntil(session.elapsed() + settle);
  for (auto _ : state) {
    uint64_t before = bench_support::allocationCount();
    body();
    allocations += bench_support::allocationCount() - before;
    if (++batch == 256 && settle != kNothingRunsBetween) {
      state.PauseTiming();
      batch = 0;
      session.runUntil(session.elapsed() + settle);
      state.ResumeTiming();
    }
  }
  state.counters["allocs/event"] = benchmark::Counter(static_cast<double>(allocations) /
                                                      static_cast<double>(state.iterations()));
}

void passEvent(benchmark::State& state, CGEventRef event) {
  CGEventType type = agent().session.events().getType(event);
  timeEvents(state, [&] {
    CGEventRef passed = MyEventTapCallBack(nullptr, type, event, nullptr);
    benchmark::DoNotOptimize(passed);
  });
  if (MyEventTapCallBack(nullptr, type, event, nullptr) != event) state.SkipWithError("not passed");
}

void BM_MouseMovedThroughMainTap(benchmark::State& state) {
  vsession::EventSystem& events = agent().session.events();
  CGEventRef moved = events.newEvent(kCGEventMouseMoved);
  events.setLocation(moved, {640, 360});
  passEvent(state, moved);
  events.release(moved);
}
BENCHMARK(BM_MouseMovedThroughMainTap);

// Each case runs with the settings it needs, and leaves them as it found them.
struct WheelSettings {
  PrefsRecord saved = *prefs_bgprefs();
  ~WheelSettings() { *prefs_bgprefs() = saved; }
};

// An event the agent posted itself comes back through its tap and leaves at once.
void BM_WheelOwnEventPassing(benchmark::State& state) {
  vsession::EventSystem& events = agent().session.events();
  CGEventRef own = events.createScrollWheelEvent2(nullptr, kCGScrollEventUnitPixel, 1, -3, 0, 0);
  events.setIntegerValueField(own, kCGEventSourceUserData, kAgentEventTag);
  passEvent(state, own);
  events.release(own);
}
BENCHMARK(BM_WheelOwnEventPassing);

// Coasting off, no multiplier, no reversal: the tick passes as it came.
void BM_WheelUnshapedPassing(benchmark::State& state) {
  WheelSettings settings;
  prefs_bgprefs()->wheel.wheelCoastVOn = 0;
  vsession::EventSystem& events = agent().session.events();
  CGEventRef wheel = events.createScrollWheelEvent2(nullptr, kCGScrollEventUnitLine, 1, -1, 0, 0);
  passEvent(state, wheel);
  events.release(wheel);
}
BENCHMARK(BM_WheelUnshapedPassing);

// Reversed and faster: the tick's delta fields are rewritten in place.
void BM_WheelShapedRewritten(benchmark::State& state) {
  WheelSettings settings;
  PrefsRecord& prefs = *prefs_bgprefs();
  prefs.wheel.wheelCoastVOn = 0;
  prefs.wheel.wheelReverseY = 1;
  prefs.wheel.wheelSpeedOn = 1;
  prefs.wheel.wheelSpeed = 300;
  vsession::EventSystem& events = agent().session.events();
  CGEventRef wheel = events.createScrollWheelEvent2(nullptr, kCGScrollEventUnitLine, 1, -1, 0, 0);
  timeEvents(state, [&] {
    // The same tick every pass: its deltas are put back before it is rewritten again.
    events.setIntegerValueField(wheel, kCGScrollWheelEventDeltaAxis1, -1);
    events.setIntegerValueField(wheel, kCGScrollWheelEventPointDeltaAxis1, -10);
    benchmark::DoNotOptimize(MyEventTapCallBack(nullptr, kCGEventScrollWheel, wheel, nullptr));
  });
  events.release(wheel);
}
BENCHMARK(BM_WheelShapedRewritten);

// A tick that becomes a coast: the estimate, the coast rectangle and the hand-over of the
// start to the main queue. The queued starts run between batches, outside the timing.
void BM_WheelStartingACoast(benchmark::State& state) {
  vsession::VirtualSession& session = agent().session;
  vsession::EventSystem& events = session.events();
  CGEventRef wheel = events.createScrollWheelEvent2(nullptr, kCGScrollEventUnitLine, 1, -1, 0, 0);
  // Ticks 0.3 s apart, each a single tick that starts a coast of its own.
  timeEvents(state, [&] {
    session.scheduler().advance(0.3);
    CGEventRef passed = MyEventTapCallBack(nullptr, kCGEventScrollWheel, wheel, nullptr);
    benchmark::DoNotOptimize(passed);
    if (passed) state.SkipWithError("the tick was not turned into a coast");
  });
  stopCoast();
  session.runUntil(session.elapsed() + 1);
  events.release(wheel);
}
BENCHMARK(BM_WheelStartingACoast);

// One tick of a running coast: the decay and one posted event.
void BM_CoastTick(benchmark::State& state) {
  vsession::VirtualSession& session = agent().session;
  coast_atPoint_withX_y_stopTime(400, 400, 0, 600, 0);
  VAremoteStatics& coast = VAremote_statics();
  timeEvents(state, [&] {
    coast.sCoastY = 600;  // the same tick every time
    coastProc(nullptr, nullptr);
  });
  stopCoast();
  session.runUntil(session.elapsed() + 1);
}
BENCHMARK(BM_CoastTick);

// A press of the grab button that may become a drag: held back, a copy kept and the 70 ms
// hand-over to the main queue armed. The clock moves past the reposting window each time.
void BM_MouseDownHeldBack(benchmark::State& state) {
  vsession::VirtualSession& session = agent().session;
  vsession::EventSystem& events = session.events();
  CGEventRef down = events.newEvent(kCGEventOtherMouseDown);
  events.setIntegerValueField(down, kCGMouseEventButtonNumber, 2);
  timeEvents(
      state,
      [&] {
        session.scheduler().advance(0.2);
        CGEventRef passed = MyEventTapCallBack(nullptr, kCGEventOtherMouseDown, down, nullptr);
        benchmark::DoNotOptimize(passed);
        if (passed) state.SkipWithError("the press was not held back");
      },
      0.1);
  session.runUntil(session.elapsed() + 1);
  events.release(down);
}
BENCHMARK(BM_MouseDownHeldBack);

// A grab's movement handed to the callback as a drag of `type`, 3 px up and down in turn,
// so each one scrolls.
void grabMovements(benchmark::State& state, CGEventType type, bool freeze) {
  WheelSettings settings;
  prefs_bgprefs()->grabFreezeOn = freeze;
  vsession::VirtualSession& session = agent().session;
  vsession::EventSystem& events = session.events();
  CGEventRef moved = events.newEvent(type);
  events.setIntegerValueField(moved, kCGMouseEventButtonNumber, 2);
  grabStart_unflippedPoint(640, 540);
  double y = 360;
  timeEvents(state, [&] {
    y = y == 360 ? 363 : 360;
    events.setLocation(moved, {640, y});
    benchmark::DoNotOptimize(MyEventTapCallBack(nullptr, type, moved, nullptr));
  });
  if (!state_doingGrab() || state_doingGrabWOMoving() != freeze) state.SkipWithError("no grab");
  stopAllScrolling();
  session.runUntil(session.elapsed() + 1);
  events.release(moved);
}

void BM_DraggedDuringGrab(benchmark::State& state) {
  grabMovements(state, kCGEventOtherMouseDragged, false);
}
BENCHMARK(BM_DraggedDuringGrab);

// Frozen: each movement also posts the warp that puts the pointer back.
void BM_FrozenGrabMovement(benchmark::State& state) {
  grabMovements(state, kCGEventOtherMouseDragged, true);
}
BENCHMARK(BM_FrozenGrabMovement);

// The speeds follow the pointer: the handler recomputes them for each movement. Nothing
// else runs meanwhile: a run-timer pass would fill the settings again from the stored ones.
void BM_MouseMovedDuringVector(benchmark::State& state) {
  vsession::VirtualSession& session = agent().session;
  vsession::EventSystem& events = session.events();
  WheelSettings settings;
  prefs_bgprefs()->vectorOn = 1;
  CGEventRef moved = events.newEvent(kCGEventMouseMoved);
  vectorStart_point(640, 540);
  double y = 300;
  timeEvents(
      state,
      [&] {
        y = y == 300 ? 301 : 300;
        events.setLocation(moved, {640, y});
        benchmark::DoNotOptimize(MyEventTapCallBack(nullptr, kCGEventMouseMoved, moved, nullptr));
      },
      kNothingRunsBetween);
  if (VAvector_statics().sSpeedY == 0) state.SkipWithError("the speeds did not follow");
  stopAllScrolling();
  session.runUntil(session.elapsed() + 1);
  events.release(moved);
}
BENCHMARK(BM_MouseMovedDuringVector);

// One tick of a vector scroll at a steady speed: one posted event.
void BM_VectorTick(benchmark::State& state) {
  vsession::VirtualSession& session = agent().session;
  vectorStart_point(640, 540);
  calcVectorSpeed_pt_startPoint(640, 600, 640, 540);
  timeEvents(state, [&] { vectorTimerProc(nullptr, nullptr); });
  stopAllScrolling();
  session.runUntil(session.elapsed() + 1);
}
BENCHMARK(BM_VectorTick);

// Every key and modifier change asks for a run-timer pass 0.05 s later; the session runs
// those between batches, as the main thread would.
constexpr double kRunTimerSoon = 0.06;

// A modifier change that triggers nothing: Shift alone, on its way through the tap, the
// chords, the tap test and the run timer's nudge.
void BM_FlagsChangedNoMatch(benchmark::State& state) {
  vsession::EventSystem& events = agent().session.events();
  CGEventRef shift = events.newEvent(kCGEventFlagsChanged);
  events.setFlags(shift, kCGEventFlagMaskShift | 0x102);
  CGEventRef none = events.newEvent(kCGEventFlagsChanged);
  events.setFlags(none, 0x100);
  bool down = false;
  timeEvents(
      state,
      [&] {
        down = !down;
        CGEventRef e = down ? shift : none;
        benchmark::DoNotOptimize(MyEventTapCallBack(nullptr, kCGEventFlagsChanged, e, nullptr));
      },
      kRunTimerSoon);
  events.release(shift);
  events.release(none);
}
BENCHMARK(BM_FlagsChangedNoMatch);

CGEventRef newKeyDown(uint16_t code, const char* characters) {
  vsession::EventSystem& events = agent().session.events();
  CGEventRef key = events.newEvent(kCGEventKeyDown);
  events.setFlags(key, 0x100);
  events.setIntegerValueField(key, kCGKeyboardEventKeycode, code);
  key->characters.assign(characters);
  key->charactersIgnoringModifiers.assign(characters);
  return key;
}

// A typed key on the main thread's key tap: nothing runs, it passes.
void BM_KeyDownNoMatch(benchmark::State& state) {
  CGEventRef key = newKeyDown(38, "j");
  timeEvents(
      state,
      [&] {
        benchmark::DoNotOptimize(keyEventTapCallBack(nullptr, kCGEventKeyDown, key, nullptr));
      },
      kRunTimerSoon);
  agent().session.events().release(key);
}
BENCHMARK(BM_KeyDownNoMatch);

// A keyboard-scroll hot key that acts every time (its bounce window cleared): a flick
// handed to the main queue and the repeat kept running.
void BM_KeyDownHotKeyActs(benchmark::State& state) {
  PrefsRecord& prefs = *prefs_bgprefs();
  prefs.keysHKDownOn = 1;
  prefs.keysHotKeyDownMods = 0;
  prefs.keysHotKeyDownChar = 'j';
  CGEventRef key = newKeyDown(38, "j");
  timeEvents(
      state,
      [&] {
        VAevent_statics().sLastKeysHotKeyDown = 0;
        benchmark::DoNotOptimize(keyEventTapCallBack(nullptr, kCGEventKeyDown, key, nullptr));
      },
      kRunTimerSoon);
  if (!keys_repeatStarted()) state.SkipWithError("the hot key did not act");
  agent().session.events().release(key);
  prefs.keysHKDownOn = 0;
  stopAllScrolling();
  stopCoast();
  agent().session.runUntil(agent().session.elapsed() + 1);
}
BENCHMARK(BM_KeyDownHotKeyActs);

// One tick of the keyboard repeat, a tick after the last.
void BM_KeyRepeatTick(benchmark::State& state) {
  keys_doAction(kKeyActionDown);
  keys_doRepeat(kKeyActionDown);
  stopCoast();
  VAkeysStatics& keys = VAkeys_statics();
  timeEvents(state, [&] {
    keys.sRepeatLastTime = utils_now() - 1.0 / 60;
    repeatProc(nullptr, nullptr);
  });
  stopAllScrolling();
  agent().session.runUntil(agent().session.elapsed() + 1);
}
BENCHMARK(BM_KeyRepeatTick);

// How often the hand's follow loop wakes its queue per virtual second while the hand
// shows, and after it is hidden.
void BM_HandFollowLoop(benchmark::State& state) {
  vsession::VirtualSession& session = agent().session;
  vsession::Scheduler& scheduler = session.scheduler();
  double shown = 0, hidden = 0;
  double* counting = &shown;
  scheduler.setWakeObserver([&](vsession::LaneId lane, const char*) {
    if (scheduler.laneName(lane) == "com.tarnwick.trackCursor") ++*counting;
  });
  for (auto _ : state) {
    cursor_showOpenHand();
    session.runUntil(session.elapsed() + 1);
    counting = &hidden;
    cursor_backToNormalOScursor();
    session.runUntil(session.elapsed() + 0.1);
    hidden = 0;  // the loop's last step may still be on its way
    session.runUntil(session.elapsed() + 1);
    counting = &shown;
  }
  scheduler.setWakeObserver(nullptr);
  double runs = static_cast<double>(state.iterations());
  state.counters["wakes/s shown"] = shown / runs;
  state.counters["wakes/s hidden"] = hidden;
}
BENCHMARK(BM_HandFollowLoop)->Iterations(5);

// One tick of a running hover scroll: the zone test, the speed law and one posted event.
void BM_HoverTick(benchmark::State& state) {
  vsession::VirtualSession& session = agent().session;
  WheelSettings settings;
  prefs_bgprefs()->hoverOn = 1;
  VAhoverStatics& hover = VAhover_statics();
  hover.sCurDownRect = IRect{760, 100, 200, 900};
  hover.sHaveDownRect = true;
  session.world().moveCursor({400, 690});  // Cocoa 210, deep in the down zone
  state_setDoingHover(true);
  timeEvents(state, [&] { hoverTimerProc(nullptr, nullptr); });
  if (hover.sHoverSpeedY == 0) state.SkipWithError("no hover speed");
  setHoverLow(1.0);
  hover.sHaveDownRect = false;
  session.runUntil(session.elapsed() + 1);
}
BENCHMARK(BM_HoverTick);

// How often the hover timer wakes the main thread in a minute with hover on: at rest outside
// the zones, and resting just outside the area, near its up zone (a fresh session each).
void BM_HoverIdleWakesPerMinute(benchmark::State& state) {
  double outside = 0, near = 0;
  for (auto _ : state) {
    for (bool nearZone : {false, true}) {
      vsession::SessionConfig config;
      config.apps.resize(1);
      config.apps[0].pid = 501;
      config.apps[0].bundleIdentifier = "com.example.reader";
      config.windows = {{101, 501, {{100, 100}, {800, 600}}, "Doc", 0, false, {}}};
      vsession::UiSpec area;
      area.role = "AXScrollArea";
      area.frame = {{100, 140}, {800, 560}};
      area.content = CGSize{800, 5000};
      area.offset = {0, 2000};
      area.verticalBar = true;
      config.windows[0].ui = {area};
      config.frontPid = 501;
      config.cursor = nearZone ? CGPoint{400, 130} : CGPoint{400, 400};
      vsession::VirtualSession session(config);
      session.trace().keepLines(false);
      setPlatform(&session.platform());
      agent_resetModules();
      bgDelegate::applicationDidFinishLaunching();
      prefs_bgprefs()->hoverOn = 1;
      session.runUntil(5);
      // Each hover tick writes one entry of the pan history.
      double ticks = 0;
      int32_t index = VAhover_statics().sPanXYindex;
      session.scheduler().setAfterWakeHook([&] {
        ticks += VAhover_statics().sPanXYindex != index;
        index = VAhover_statics().sPanXYindex;
      });
      session.runUntil(65);
      session.scheduler().setAfterWakeHook(nullptr);
      (nearZone ? near : outside) += ticks;
      agent_resetModules();
    }
  }
  setPlatform(&agent().session.platform());
  double runs = static_cast<double>(state.iterations());
  state.counters["hover ticks/min at rest"] = outside / runs;
  state.counters["near a zone"] = near / runs;
}
BENCHMARK(BM_HoverIdleWakesPerMinute)->Iterations(1);

}  // namespace

BENCHMARK_MAIN();
