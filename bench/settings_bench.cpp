// The settings getters the wheel path calls per event, and one whole fill of the record
// from a realistic per-application list, as a switch of application does.
#include <benchmark/benchmark.h>

#include "Commonprefs.h"
#include "VAstate.h"
#include "main.h"
#include "platform/virtual/keyed_archive.h"
#include "platform/virtual/session.h"

namespace {

using port::PlistArray;
using port::PlistDict;
using port::PlistValue;

struct ReadSettings {
  vsession::VirtualSession session;
  PlistArray appList;
  ReadSettings() {
    port::setPlatform(&session.platform());
    agent_resetModules();
    // What a user who has set things up keeps: element 0 and eight applications.
    PlistDict all;
    for (const char* key : {"wheelSpeedOn", "wheelSpeedXOn", "padSpeedOn", "wheelCoastVOn",
                            "hoverOn", "grabOn", "keysOn", "vectorOn", "autoScrollOn"}) {
      all[key] = PlistValue(1);
    }
    all["wheelSpeed"] = PlistValue(350);
    all["wheelSpeedX"] = PlistValue(300);
    all["padSpeed"] = PlistValue(250);
    all["wheelCoastFactor"] = PlistValue(950);
    all["keysUp"] = PlistValue(0x0302);
    all["vectorVspeed"] = PlistValue(350);
    PlistDict element0;
    element0["data"] = PlistValue(vsession::archive(PlistValue(all)));
    appList.push_back(PlistValue(element0));
    for (int i = 1; i <= 8; ++i) {
      PlistDict app = all;
      app["wheelSpeed"] = PlistValue(200 + 50 * i);
      app["wheelReverseY"] = PlistValue(i % 2);
      PlistDict element;
      element["bid"] = PlistValue("com.example.app" + std::to_string(i));
      element["data"] = PlistValue(vsession::archive(PlistValue(app)));
      appList.push_back(PlistValue(element));
    }
    switch_prefs_toSettingsTarget_inAppList(prefs_bgprefs(), 5, appList);
  }
};

ReadSettings& settings() {
  static ReadSettings s;
  return s;
}

void BM_SpeedMultiplierGetters(benchmark::State& state) {
  settings();
  state_setIsMultiTouch(state.range(0) != 0);
  for (auto _ : state) {
    benchmark::DoNotOptimize(prefs_wheelSpeedMultiplier());
    benchmark::DoNotOptimize(prefs_wheelSpeedMultiplierX());
    benchmark::DoNotOptimize(prefs_wheelSpeedMultiplierWithModifier());
  }
  state_setIsMultiTouch(false);
}
BENCHMARK(BM_SpeedMultiplierGetters)->Arg(0)->Arg(1)->ArgName("pad");

void BM_FillRecordFromAppList(benchmark::State& state) {
  ReadSettings& s = settings();
  PrefsRecord record;
  for (auto _ : state) {
    switch_prefs_toSettingsTarget_inAppList(&record, 5, s.appList);
    benchmark::DoNotOptimize(record);
  }
}
BENCHMARK(BM_FillRecordFromAppList);

}  // namespace

BENCHMARK_MAIN();
