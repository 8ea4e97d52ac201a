// Any bytes as the preferences domain file: the agent reads it at start-up, migrates it and
// fills the settings record from every element, without crashing or ending half-configured.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "Commonprefs.h"
#include "main.h"
#include "platform/virtual/session.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static vsession::VirtualSession session;
  vsession::writeWholeFile(session.preferences().domainFile(kPrefsDomain),
                           std::vector<uint8_t>(data, data + size));
  session.preferences().appSynchronize(kPrefsDomain);
  port::setPlatform(&session.platform());
  agent_resetModules();
  bgprefs().startPrefs();
  const port::PlistArray& appList = bgprefs_statics().appList;
  if (appList.empty()) std::abort();  // the list is never empty after a read
  for (size_t i = 0; i < appList.size(); ++i) {
    PrefsRecord record;
    switch_prefs_toSettingsTarget_inAppList(&record, static_cast<int32_t>(i), appList);
    if (record.wheel.wheelActiveHere != 1 || record.vectorVspeed == 0 || record.dragSlop != 0) {
      std::abort();  // fields every fill writes, and one it leaves alone
    }
  }
  return 0;
}
