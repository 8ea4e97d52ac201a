// One event through the main tap's callback to the dispatcher and back: the cost the
// agent adds to every mouse and wheel event of the session.
#include <benchmark/benchmark.h>

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

void passEvent(benchmark::State& state, CGEventRef event) {
  CGEventType type = agent().session.events().getType(event);
  uint64_t before = bench_support::allocationCount();
  for (auto _ : state) {
    CGEventRef passed = MyEventTapCallBack(nullptr, type, event, nullptr);
    benchmark::DoNotOptimize(passed);
  }
  uint64_t allocations = bench_support::allocationCount() - before;
  state.counters["allocs/event"] = benchmark::Counter(static_cast<double>(allocations) /
                                                      static_cast<double>(state.iterations()));
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

void BM_WheelPassingUnchanged(benchmark::State& state) {
  vsession::EventSystem& events = agent().session.events();
  CGEventRef wheel = events.createScrollWheelEvent2(nullptr, kCGScrollEventUnitLine, 1, -1, 0, 0);
  passEvent(state, wheel);
  events.release(wheel);
}
BENCHMARK(BM_WheelPassingUnchanged);

}  // namespace

BENCHMARK_MAIN();
