// The settings record every feature reads, and the settings module that fills it from the
// preferences domain: the per-application list, the switch to the settings of the
// application under the cursor, and the fixed per-application rules.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "PrefsRecordFields.h"
#include "VAutils.h"
#include "platform/api/geometry.h"
#include "platform/api/preferences.h"
#include "platform/api/workspace.h"

// A plain record: flags are one byte holding 0 or 1. Hot paths read its fields through
// their module's `prefs` pointer and never call a getter. Fields carry their preference
// key's name; those without a key, such as each block's wacomCompatible, describe
// themselves.
#define VARSEL_FIELD(type, name) type name = 0;
#define VARSEL_ARRAY(type, name, n) type name[n] = {};
#define VARSEL_BLOCK(type, name) type name;
struct WheelBlock {
  VARSEL_WHEEL_BLOCK_FIELDS(VARSEL_FIELD)
};
struct PadBlock {
  VARSEL_PAD_BLOCK_FIELDS(VARSEL_FIELD)
};
struct PrefsRecord {
  VARSEL_PREFS_RECORD_FIELDS(VARSEL_FIELD, VARSEL_ARRAY, VARSEL_BLOCK)
};
#undef VARSEL_FIELD
#undef VARSEL_ARRAY
#undef VARSEL_BLOCK

PrefsRecord* prefs_bgprefs();

// The settings module's object: reading at start and whenever the pane reports a change.
class bgprefs {
 public:
  void startPrefs();
  void readPrefs();
  void convertPrefs();
};

// Fills the record from the element of appList that is the current settings target, and
// stops the hover timer when neither hover nor autoscroll is on.
void bgUpdatePrefsFromAppList();
void prefs_switchToPrefsForPid(int32_t pid);
bool prefs_singlePrefsOrAllVisibleUseSame();
// The dictionary the pane stores for a running application; nullopt when it has none.
std::optional<port::PlistDict> myDictForNSRunningApp(const port::RunningApplication& app);
void prefs_setSpecialBehaviorFor_appBid_wRectPtr_cursor(const std::string* bid,
                                                        const IRect* windowRect,
                                                        port::CGPoint cursor);
// The path of the bundle that carries the product's version and resources.
std::string currentV4Bundle();
// The string under `key`, or null when there is none or it is not a string.
const std::string* stringEntry(const port::PlistDict& dict, const char* key);

struct bgprefsStatics {
  PrefsRecord sPrefs;
  port::PlistArray appList;
  int32_t sCurSettingsTarget = 0;
  int32_t sLastPidSwitchedPrefsTo = -1;
  bool sPrefsNeedUpdateFromApplist = false;
};

bgprefsStatics& bgprefs_statics();
void bgprefs_reset();
