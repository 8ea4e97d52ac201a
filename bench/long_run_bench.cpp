// A long run of busy use through varsel-sim's runner, as `varsel-sim run --trace` makes it:
// the trace streamed out, the summary and the picture gathered as the run goes. Reports the
// process's peak memory after each run (a flat figure from 10 to 60 minutes shows that
// nothing grows with the run), events per second and how much faster than real time the
// virtual session runs.
#include <benchmark/benchmark.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdio>

#include "platform/virtual/ui_builders.h"
#include "tools/varsel-sim/runner.h"

namespace {

using port::CGPoint;

double peakMegabytes() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_maxrss) / 1024.0;  // kilobytes on Linux
}

sim::ScenarioApp app(int32_t pid, const char* name, int64_t window, port::CGRect frame,
                     const char* title) {
  sim::ScenarioApp a;
  a.pid = pid;
  a.name = name;
  port::CGRect area{{frame.origin.x, frame.origin.y + 40},
                    {frame.size.width - 15, frame.size.height - 40}};
  a.windows.push_back(
      {window, frame, title, 0, {vsession::uiScrollArea(area, {area.size.width, 5e6}, 2e6, {})}});
  return a;
}

// Every five seconds, about 640 events: the mouse crosses to one of two windows, the wheel
// flicks there, two two-finger swipes with momentum follow with the mouse moving between
// them, then slow single ticks and a key press; the directions alternate so the content
// stays inside the document.
sim::Scenario busyUse(int minutes) {
  sim::Scenario s;
  s.name = "busy use";
  s.screens = {{{0, 0}, {1440, 900}}};
  s.apps = {app(501, "Reader", 101, {{100, 100}, {800, 700}}, "Long document"),
            app(502, "Editor", 201, {{950, 100}, {450, 700}}, "notes.txt")};
  s.front = 501;
  s.cursor = CGPoint{400, 400};
  for (int cycle = 0; cycle * 5 < minutes * 60; ++cycle) {
    double t = cycle * 5.0;
    double way = cycle % 2 ? 1 : -1;
    CGPoint target = cycle % 4 < 2 ? CGPoint{500, 450} : CGPoint{1150, 450};
    s.input.push_back({t, sim::MoveInput{target, 1.1, 125}});
    for (int tick = 0; tick < 4; ++tick) {
      s.input.push_back({t + 1.2 + 0.04 * tick, sim::WheelInput{0, 3 * way, std::nullopt}});
    }
    s.input.push_back({t + 2.0, sim::SwipeInput{0, 300 * way, 0.15, true}});
    s.input.push_back({t + 2.6, sim::MoveInput{{target.x + 30, target.y + 20}, 1.2, 125}});
    s.input.push_back({t + 3.5, sim::SwipeInput{0, -200 * way, 0.15, true}});
    s.input.push_back({t + 4.0, sim::WheelInput{0, way, std::nullopt}});
    s.input.push_back({t + 4.5, sim::WheelInput{0, -way, std::nullopt}});
    s.input.push_back({t + 4.8, sim::KeyInput{"j", std::nullopt, 38, std::nullopt}});
  }
  s.until = minutes * 60.0;
  s.untilGiven = true;
  return s;
}

void BM_LongRun(benchmark::State& state) {
  sim::Scenario scenario = busyUse(static_cast<int>(state.range(0)));
  std::FILE* sink = std::fopen("/dev/null", "wb");
  uint64_t events = 0;
  double seconds = 0;
  for (auto _ : state) {
    sim::RunOptions options;
    options.keepTrace = false;
    options.plot = true;
    options.traceSink = [&](const vsession::TraceLine& line) {
      std::string text = line.dump();
      std::fwrite(text.data(), 1, text.size(), sink);
      events += line["kind"] == "deliver" || line["kind"] == "swallow";
    };
    auto start = std::chrono::steady_clock::now();
    sim::RunResult result = sim::runScenario(scenario, options);
    seconds += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    benchmark::DoNotOptimize(result.summary);
  }
  std::fclose(sink);
  double runs = static_cast<double>(state.iterations());
  state.counters["events"] = static_cast<double>(events) / runs;
  state.counters["events_per_s"] = static_cast<double>(events) / seconds;
  state.counters["virtual_per_real"] = scenario.until * runs / seconds;
  state.counters["peak_rss_mb"] = peakMegabytes();
}
BENCHMARK(BM_LongRun)->Arg(1)->Arg(10)->Arg(60)->Iterations(1)->Unit(benchmark::kSecond);

}  // namespace

BENCHMARK_MAIN();
