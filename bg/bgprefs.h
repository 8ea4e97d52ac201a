// The settings record every feature reads. Hot paths read its fields through their
// module's `prefs` pointer and never call a getter.
#pragma once

#include <cstdint>

struct PrefsRecord {
  uint8_t vectorTriggerKind = 0;  // 0 click, 1 hot key, 2 hold and drag
};

PrefsRecord* prefs_bgprefs();
void bgprefs_reset();
