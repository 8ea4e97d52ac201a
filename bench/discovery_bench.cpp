// One discovery pass, as the run timer makes it, over realistic windows: the process and
// window under the cursor, then the walk for its scroll bars. Reports the accessibility
// calls each pass makes (every call is a round trip to another process on a real system)
// and the reads among them that repeat a read of the same pass.
#include <benchmark/benchmark.h>

#include "VAux.h"
#include "bgDelegate.h"
#include "main.h"
#include "platform/api/platform.h"
#include "platform/virtual/session.h"
#include "platform/virtual/ui_builders.h"

namespace {

using port::CGPoint;
using port::CGRect;
using vsession::uiElement;
using vsession::uiScrollArea;
using vsession::UiSpec;

// A browser: toolbar, tab bar, and a page whose text sits eight groups deep in the web area.
std::vector<UiSpec> browserWindow() {
  std::vector<UiSpec> toolbar;
  for (int i = 0; i < 8; ++i)
    toolbar.push_back(uiElement("AXButton", {{110.0 + 30 * i, 105}, {26, 26}}));
  UiSpec text = uiElement("AXStaticText", {{300, 400}, {500, 18}});
  UiSpec inner = text;
  for (int level = 0; level < 8; ++level) {
    inner = uiElement("AXGroup",
                      {{200.0 - level, 300.0 - level}, {700.0 + 2 * level, 300.0 + 2 * level}},
                      {inner, uiElement("AXStaticText", {{210, 310}, {400, 18}}),
                       uiElement("AXLink", {{210, 330}, {100, 18}})});
  }
  UiSpec web = uiElement("AXWebArea", {{100, 190}, {985, 710}}, {inner});
  web.url = "https://example.com/article";
  return {uiElement("AXToolbar", {{100, 100}, {1000, 50}}, toolbar),
          uiElement("AXTabGroup", {{100, 150}, {1000, 40}},
                    {uiElement("AXRadioButton", {{110, 155}, {200, 30}}),
                     uiElement("AXRadioButton", {{310, 155}, {200, 30}})}),
          uiElement("AXGroup", {{100, 190}, {1000, 710}},
                    {uiScrollArea({{100, 190}, {1000, 710}}, {1000, 12000}, 3000, {web})})};
}

// An editor with a file outline and two split text views, the cursor in the right one.
std::vector<UiSpec> editorWindow() {
  auto textView = [](double x) {
    return uiScrollArea({{x, 140}, {400, 760}}, {900, 30000}, 5000,
                        {uiElement("AXTextArea", {{x, 140}, {385, 30000}})});
  };
  return {uiElement("AXSplitGroup", {{100, 140}, {1000, 760}},
                    {uiScrollArea({{100, 140}, {200, 760}}, {200, 2000}, 0,
                                  {uiElement("AXOutline", {{100, 140}, {185, 2000}})}),
                     uiElement("AXSplitter", {{300, 140}, {1, 760}}),
                     uiElement("AXSplitGroup", {{301, 140}, {799, 760}},
                               {textView(301), uiElement("AXSplitter", {{701, 140}, {1, 760}}),
                                textView(702)})})};
}

struct Discovery {
  vsession::VirtualSession session;
  explicit Discovery(std::vector<UiSpec> ui) : session(config(std::move(ui))) {
    port::setPlatform(&session.platform());
    agent_resetModules();
    agent_main();
    session.runUntil(0);
  }
  ~Discovery() {
    agent_resetModules();
    port::setPlatform(nullptr);
  }
  static vsession::SessionConfig config(std::vector<UiSpec> ui) {
    vsession::SessionConfig c;
    c.screens = {{{0, 0}, {1440, 900}}};
    c.apps.resize(1);
    c.apps[0].pid = 501;
    c.apps[0].bundleIdentifier = "com.example.app";
    c.apps[0].name = "App";
    c.windows = {{101, 501, {{100, 100}, {1000, 800}}, "Window", 0, false, std::move(ui)}};
    c.frontPid = 501;
    c.cursor = {900, 409};
    return c;
  }
};

void runPasses(benchmark::State& state, std::vector<UiSpec> ui) {
  Discovery d(std::move(ui));
  vsession::VirtualAccessibility& ax = d.session.accessibility();
  CGPoint p = port::platform().cocoa->mouseLocation();
  Bars& bars = bgDelegate_statics().bars;
  uint64_t before = ax.calls();
  uint64_t repeated = 0;
  for (auto _ : state) {
    ax.startReadLog();
    {
      AXReadsOfOnePass pass;
      IRect r;
      int32_t pid = VAux::updateAppUnderCursor_centered_wRect(p, false, &r);
      if (pid > 0) VAux::updateBars_andWindowRect(&bars, &r);
    }
    repeated += ax.repeatedReads();
    benchmark::DoNotOptimize(bars);
  }
  double passes = static_cast<double>(state.iterations());
  state.counters["ax_calls_per_pass"] = static_cast<double>(ax.calls() - before) / passes;
  // Reads of an attribute the same pass had already read: a wasted round trip each.
  state.counters["ax_repeated_reads_per_pass"] = static_cast<double>(repeated) / passes;
  state.counters["up_found"] = bars.up.found;
}

void BM_DiscoveryPassBrowser(benchmark::State& state) {
  runPasses(state, browserWindow());
}
void BM_DiscoveryPassSplitEditor(benchmark::State& state) {
  runPasses(state, editorWindow());
}
BENCHMARK(BM_DiscoveryPassBrowser);
BENCHMARK(BM_DiscoveryPassSplitEditor);

}  // namespace

BENCHMARK_MAIN();
