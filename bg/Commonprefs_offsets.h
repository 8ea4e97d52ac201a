// Saved zone offsets: how far the user dragged each hover zone of an application, kept in
// one small keyed archive per application in a folder inside the Preferences folder, and
// loaded when the zones under the cursor change.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "VAux.h"

// The folder, made (with a log line and an alert on failure) when `create` is set.
std::optional<std::string> savedOfstsPath_create(bool create);
// True when a valid file for `bid` was read; its "u" and "d", where present, went through
// the pointers.
bool get_up_downOfstPtr_forBid(int32_t* up, int32_t* down, const std::string& bid);
bool save_up_downOfst_forBid(int32_t up, int32_t down, const std::string& bid);
// On a change of zones, the offsets of `pid`'s application go into the bars record and to
// the hover engine.
void prefs_switchToOfstsForBars_pid(Bars* bars, int32_t pid);
// A zone was dragged: the new pair is kept and saved for `pid`'s application.
void prefs_saveUpOfst_downOfst_pid(int32_t up, int32_t down, int32_t pid);

struct OffsetsStatics {
  int32_t sUpOfst = 0;
  int32_t sDownOfst = 0;
  uint32_t sLastChangeCount = 0;
};

OffsetsStatics& Offsets_statics();
void Offsets_reset();
