// One event through the main tap's callback to the dispatcher and back: the cost the
// agent adds to every mouse and wheel event of the session.
#include <benchmark/benchmark.h>

#include "VAevent.h"
#include "VAremote.h"
#include "VAstate.h"
#include "VAtapMgr.h"
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

// Times `body` per iteration and counts the heap allocations made inside it. Between
// batches, outside the timing, the session runs what the events handed to other threads
// (run-timer passes, coast starts, posted events), as the real threads would meanwhile.
template <class F>
void timeEvents(benchmark::State& state, F body, double settle = 0) {
  vsession::VirtualSession& session = agent().session;
  uint64_t allocations = 0;
  int batch = 0;
  for (auto _ : state) {
    uint64_t before = bench_support::allocationCount();
    body();
    allocations += bench_support::allocationCount() - before;
    if (++batch == 256) {
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

// Each wheel case runs with the settings it needs, and leaves them as it found them.
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

}  // namespace

BENCHMARK_MAIN();
