#include "tarnwickCkUpdate.h"

#include <algorithm>
#include <cctype>
#include <cstdio>

#include "Commonprefs.h"
#include "VAutils.h"
#include "acc/blockAtomic.h"
#include "bgprefs.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
tarnwickCkUpdateStatics s;

constexpr double kSecondsPerDay = 86400;
constexpr double kCheckDelay = 2.0;
constexpr double kOpenGuard = 1.0;  // a second open within this is a double click
constexpr uint32_t kMountainLion = 0x100800;

constexpr const char* kNotificationTitle = "Varsel update.";
constexpr const char* kAvailable = "Varsel %@ is available from tarnwick.example.";
constexpr const char* kAvailableNoVersion = "A new version of Varsel is available.";
constexpr const char* kUpToDateTitle = "Varsel is up to date.";
constexpr const char* kUpToDateText = "This is the newest version of Varsel.";
constexpr const char* kUpdateTitle = "A new version of Varsel is available.";
constexpr const char* kErrorTitle = "Sorry, could not check for Varsel updates.";
constexpr const char* kErrorText =
    "You can run this check again from the Varsel pane in System Preferences.";
constexpr const char* kErrorTextAsked =
    "Please check your internet connection and try again, or visit tarnwick.example.";

std::string localized(const char* key) {
  return platform().application->localizedString(currentV4Bundle(), key, "");
}

std::string stringFor(const PlistDict& dict, const char* key) {
  const std::string* text = stringEntry(dict, key);
  return text ? *text : "";
}

bool flagFor(const PlistDict* dict, const char* key) {
  if (!dict) return false;
  auto found = dict->find(key);
  if (found == dict->end()) return false;
  std::optional<int64_t> n = prefs_integerValue(found->second);
  return n && *n != 0;
}

// The availability message with the version in place of its "%@".
std::string availability(const PlistDict& dict) {
  std::string version = stringFor(dict, "version");
  if (version.empty()) return localized(kAvailableNoVersion);
  std::string text = localized(kAvailable);
  size_t at = text.find("%@");
  if (at != std::string::npos) text.replace(at, 2, version);
  return text;
}

std::string twoDigitParts(const uint32_t parts[4]) {
  char text[48];
  std::snprintf(text, sizeof text, "%02d.%02d.%02d", static_cast<int>(parts[0]),
                static_cast<int>(parts[1]), static_cast<int>(parts[2]));
  return text;
}

// -1, 0 or 1 as `a` orders before, with or after `b`, letters compared without case.
int compareIgnoringCase(const std::string& a, const std::string& b) {
  auto lower = [](unsigned char c) { return std::tolower(c); };
  for (size_t i = 0; i < a.size() && i < b.size(); ++i) {
    int x = lower(static_cast<unsigned char>(a[i])), y = lower(static_cast<unsigned char>(b[i]));
    if (x != y) return x < y ? -1 : 1;
  }
  return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

std::string ownVersion() {
  return platform().application->bundleShortVersionString(currentV4Bundle()).value_or("");
}

void notificationActivated(int64_t id, const PlistDict& userInfo) {
  doCkUpdateDialog(&userInfo);
  platform().userNotifications->removeDeliveredNotification(id);
}
}  // namespace

tarnwickCkUpdateStatics& tarnwickCkUpdate_statics() {
  return s;
}

void tarnwickCkUpdate_reset() {
  s = tarnwickCkUpdateStatics{};
}

bool parseVersNum(std::string_view version, uint32_t parts[4]) {
  bool preRelease = false;
  int part = 0;
  for (char c : version) {
    if (part >= 4) break;
    if (c >= '0' && c <= '9') {
      parts[part] = parts[part] * 10 + static_cast<uint32_t>(c - '0');  // wraps, as unsigned
    } else if (c == '.') {
      ++part;
    } else if (c == 'a' || c == 'b' || c == 'd') {
      preRelease = true;
      part = 3;
    }
  }
  return preRelease;
}

int compareVersions(std::string_view a, std::string_view b) {
  uint32_t pa[4] = {}, pb[4] = {};
  parseVersNum(a, pa);
  parseVersNum(b, pb);
  return compareIgnoringCase(twoDigitParts(pa), twoDigitParts(pb));
}

int compareToSelfVersion(std::string_view other) {
  return compareVersions(ownVersion(), other);
}

bool isUpdateAvailable(std::string_view own, std::string_view listed) {
  uint32_t ownParts[4] = {}, listedParts[4] = {};
  bool ownPre = parseVersNum(own, ownParts);
  bool listedPre = parseVersNum(listed, listedParts);
  int c = compareVersions(own, listed);
  if (!ownPre && !listedPre) return c == -1;
  if (ownPre && listedPre) {
    return c == -1 || (c == 0 && own != listed && listedParts[3] > ownParts[3]);
  }
  // A release supersedes its own pre-release; a pre-release never updates a release.
  return ownPre && c != 1;
}

void ckUpdate_init() {
  UserNotifications& center = *platform().userNotifications;
  center.setActivationHandler(notificationActivated);
  center.setDialogButtonHandler(ckUpdateClicked);
}

int updateCheckIntervalDays() {
  return getIntValueFromPrefs_key_defaultVal("updateCheckIntervalDays", 1);
}

void setUpdateCheckIntervalDays(int days) {
  saveToPrefs_key_intValue("updateCheckIntervalDays", days);
}

double lastVersionCheckDate() {
  return getDoubleValueFromPrefs_key("lastVersionCheckDate");
}

std::string lastUpdateCheckDateAsString() {
  double last = lastVersionCheckDate();
  std::string when =
      last == 0 ? localized("never") : platform().application->mediumDateShortTime(last);
  return localized("last check:") + " " + when;
}

void updateLastVersionCheckDate() {
  saveToPrefs_key_doubleValue("lastVersionCheckDate", utils_now());
}

void prefs_scheduleUpdateCheck() {
  double last = lastVersionCheckDate();
  if (last == 0) {
    updateLastVersionCheckDate();  // the first check comes one interval after the first run
    return;
  }
  double interval = updateCheckIntervalDays() * kSecondsPerDay;
  if (interval == 0) return;
  if (utils_now() - last > interval) {
    Dispatch& dispatch = *platform().dispatch;
    dispatch.after(kCheckDelay, dispatch.getMainQueue(),
                   BlockWithAutoreleasePool([] { checkForUpdatesAndNotifyIfLatest(false); }));
  }
}

void checkForUpdatesAndNotifyIfLatest(bool doNotify) {
  platform().threads->detachNewThread("update check", BlockWithAutoreleasePool([doNotify] {
                                        bgcheckForUpdatesAndNotifyIfLatest(doNotify);
                                      }));
}

std::optional<PlistDict> latestVersionDictionary() {
  std::string url = platform().application->localizedString(currentV4Bundle(), kVersionListURL, "");
  std::optional<std::vector<uint8_t>> data =
      platform().updateFetch->dataWithContentsOfURL(url, kVersionListTimeout);
  if (!data) return std::nullopt;
  return versionListFromData(*data);
}

std::optional<PlistDict> versionListFromData(const PlistData& data) {
  std::optional<PlistValue> list = platform().propertyLists->propertyListWithData(data);
  if (!list || !list->dict()) return std::nullopt;
  return *list->dict();
}

// The display requests of this thread would wait for the main thread; nothing follows them
// on this thread, so queueing them is the same.
void bgcheckForUpdatesAndNotifyIfLatest(bool doNotify) {
  std::optional<PlistDict> list = latestVersionDictionary();
  if (!list) {
    if (!doNotify) return;
    PlistDict error;
    error["doNotify"] = PlistValue(true);
    error["isError"] = PlistValue(true);
    dispatchMainWithAutoreleasePool([error] { doCkUpdateDialog(&error); });
    return;
  }
  std::string own = ownVersion();
  std::string listed = stringFor(*list, "version");
  dispatchMainWithAutoreleasePool([] { updateLastVersionCheckDate(); });
  if (!isUpdateAvailable(own, listed)) {
    if (doNotify) dispatchMainWithAutoreleasePool([] { doCkUpdateDialog(nullptr); });
    return;
  }
  PlistDict found = *list;
  if (!doNotify && sysvers() >= kMountainLion) {
    dispatchMainWithAutoreleasePool([found] { sendCkUpdateNotif(found); });
  } else {
    dispatchMainWithAutoreleasePool([found] { doCkUpdateDialog(&found); });
  }
}

void sendCkUpdateNotif(const PlistDict& dict) {
  platform().userNotifications->deliverNotification(kNotificationTitle, availability(dict), dict);
}

void doCkUpdateDialog(const PlistDict* dict) {
  UserNotifications& center = *platform().userNotifications;
  s.sInfoURL = dict ? stringFor(*dict, "infoURL") : "";
  center.hideDialog();
  bool isError = flagFor(dict, "isError");
  bool hasVersion = dict && dict->count("version");
  DialogTexts texts;
  if (!dict || (!hasVersion && !isError)) {
    texts = {localized(kUpToDateTitle), localized(kUpToDateText), localized("OK"), {}};
  } else if (!isError) {
    texts = {localized(kUpdateTitle), availability(*dict), localized("More Info"),
             localized("Cancel")};
  } else {
    texts = {localized(kErrorTitle),
             localized(flagFor(dict, "doNotify") ? kErrorTextAsked : kErrorText),
             localized("OK"),
             {}};
  }
  s.secondButtonShown = texts.secondButton.has_value();
  center.showDialog(texts);
  platform().application->activateIgnoringOtherApps(false);
}

void ckUpdateClicked(bool defaultButton) {
  if (defaultButton && s.secondButtonShown) {
    double now = utils_now();
    if (now - s.sLastOpenURLTime >= kOpenGuard) {
      s.sLastOpenURLTime = now;
      platform().userNotifications->openURL(s.sInfoURL);
    }
  }
  platform().userNotifications->hideDialog();
}
