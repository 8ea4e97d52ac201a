#include "bgprefs.h"

namespace {
PrefsRecord sPrefs;
}

PrefsRecord* prefs_bgprefs() {
  return &sPrefs;
}
void bgprefs_reset() {
  sPrefs = PrefsRecord{};
}
