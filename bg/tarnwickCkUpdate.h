// The update check: now and then, on a thread of its own, the agent fetches the maker's
// version list, compares the newest published version with its own, and tells the user of
// a newer one by a notification, or by a small dialog when the user asked.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/api/preferences.h"

// The version list's address; the bundle's strings table may send it elsewhere.
inline constexpr const char* kVersionListURL = "https://tarnwick.example/versions/vx.plist";
inline constexpr double kVersionListTimeout = 20;  // seconds

// Reads a version such as "4.2.1" or "4.3b2" into four parts (zeroed by the caller); the
// answer is whether it is a pre-release, whose build number is part 3.
bool parseVersNum(std::string_view version, uint32_t parts[4]);
// -1 when `a` is older than `b`, 0 when equal, 1 when newer, on parts 0 to 2 written as
// two-digit numbers: so 4.10 is newer than 4.2, and a part above 99 orders by its text.
int compareVersions(std::string_view a, std::string_view b);
// The same for the product's own version against `other`.
int compareToSelfVersion(std::string_view other);
// Whether `listed` is an update for `own`, pre-releases included.
bool isUpdateAvailable(std::string_view own, std::string_view listed);

// The checker: hooks itself to the notification centre and the dialog window.
void ckUpdate_init();
// At start-up and from the run timer: the first run only records the date; afterwards a
// check follows 2 s later when the interval has passed (an interval of 0 never checks).
void prefs_scheduleUpdateCheck();
// Starts a check on a detached thread. `doNotify`: the user asked, so every outcome is
// shown, in the dialog.
void checkForUpdatesAndNotifyIfLatest(bool doNotify);
// The body of that thread.
void bgcheckForUpdatesAndNotifyIfLatest(bool doNotify);
// The version list, or nothing on any failure.
std::optional<port::PlistDict> latestVersionDictionary();
// The dictionary in a fetched version list, or nothing when it holds none.
std::optional<port::PlistDict> versionListFromData(const port::PlistData& data);

// "last check: " and the date of the last check, or "never".
std::string lastUpdateCheckDateAsString();
int updateCheckIntervalDays();
void setUpdateCheckIntervalDays(int days);
double lastVersionCheckDate();
void updateLastVersionCheckDate();

// Main thread.
void sendCkUpdateNotif(const port::PlistDict& dict);
void doCkUpdateDialog(const port::PlistDict* dict);
void ckUpdateClicked(bool defaultButton);

struct tarnwickCkUpdateStatics {
  std::string sInfoURL;
  double sLastOpenURLTime = 0;
  bool secondButtonShown = false;
};
tarnwickCkUpdateStatics& tarnwickCkUpdate_statics();
void tarnwickCkUpdate_reset();
