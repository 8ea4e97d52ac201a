#include "bgprefs.h"

#include "Commonprefs.h"
#include "VAstate.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {

bgprefsStatics s;

constexpr uint32_t kApplicationType = 0x4150504C;  // 'APPL'
constexpr uint32_t kNoCreator = 0x2A2A2A2A;        // '****'

// The list the pane has not written yet: element 0 with an archived empty dictionary.
PlistArray defaultAppList() {
  PlistDict element;
  element["data"] =
      PlistValue(platform().keyedArchiver->archivedDataWithRootObject(PlistValue(PlistDict{})));
  PlistArray list;
  list.push_back(PlistValue(std::move(element)));
  return list;
}

const std::string* stringEntry(const PlistValue& element, const char* key) {
  const PlistDict* d = element.dict();
  return d ? ::stringEntry(*d, key) : nullptr;  // the dictionary one, not this again
}

// A creator read as an unsigned long, whatever kind of number holds it: 0 when missing or
// not a number.
uint64_t creatorEntry(const PlistValue& element) {
  const PlistDict* d = element.dict();
  if (!d) return 0;
  auto found = d->find("creator");
  if (found == d->end()) return 0;
  return static_cast<uint64_t>(prefs_integerValue(found->second).value_or(0));
}

}  // namespace

const std::string* stringEntry(const PlistDict& dict, const char* key) {
  auto found = dict.find(key);
  return found == dict.end() ? nullptr : found->second.string();
}

bgprefsStatics& bgprefs_statics() {
  return s;
}
void bgprefs_reset() {
  s = bgprefsStatics{};
}

PrefsRecord* prefs_bgprefs() {
  return &s.sPrefs;
}

void bgprefs::startPrefs() {
  readPrefs();
  convertPrefs();
  bgUpdatePrefsFromAppList();
}

void bgprefs::readPrefs() {
  s.sLastPidSwitchedPrefsTo = -1;
  s.sPrefsNeedUpdateFromApplist = true;
  Preferences& domain = *platform().preferences;
  domain.appSynchronize(kPrefsDomain);

  s.appList.clear();
  std::optional<PlistValue> stored = domain.copyAppValue("appList", kPrefsDomain);
  if (stored && stored->array()) s.appList = *stored->array();
  if (s.appList.empty()) s.appList = defaultAppList();

  s.sPrefs.hoverActiveOnly = getIntValueFromPrefs_key_defaultVal("hoverActiveOnly", 0) != 0;
  s.sPrefs.dragSlop = dragSlopFromPrefsVal(getIntValueFromPrefs_key_defaultVal("dragSlop", 5));
  bgUpdatePrefsFromAppList();
}

void bgprefs::convertPrefs() {
  convertPrefsInApplist(s.appList);
}

void bgUpdatePrefsFromAppList() {
  switch_prefs_toSettingsTarget_inAppList(&s.sPrefs, s.sCurSettingsTarget, s.appList);
  if (!s.sPrefs.hoverOn && !s.sPrefs.autoScrollOn) bgDelegate::postVAEvent(11);
}

bool prefs_singlePrefsOrAllVisibleUseSame() {
  return !s.sPrefsNeedUpdateFromApplist && s.appList.size() < 2;
}

void prefs_switchToPrefsForPid(int32_t pid) {
  if (!s.sPrefsNeedUpdateFromApplist && (pid == 0 || pid == s.sLastPidSwitchedPrefsTo)) return;
  // Remembered before the lookup: a pid that is not found is not searched again.
  s.sPrefsNeedUpdateFromApplist = false;
  s.sLastPidSwitchedPrefsTo = pid;

  std::optional<RunningApplication> app =
      platform().workspace->runningApplicationWithProcessIdentifier(pid);
  if (!app) return;

  std::optional<PlistDict> described = myDictForNSRunningApp(*app);
  const std::string* bid = nullptr;
  uint64_t creator = 0;
  if (described) {
    bid = (*described)["bid"].string();
    creator = static_cast<uint64_t>(std::get<int64_t>((*described)["creator"].value));
  }
  state_setCurrentAppBid(bid ? std::make_shared<const std::string>(*bid) : nullptr);

  s.sCurSettingsTarget = 0;
  for (size_t i = 1; s.appList.size() >= 2 && i < s.appList.size(); ++i) {
    const std::string* elementBid = stringEntry(s.appList[i], "bid");
    bool matches = elementBid && bid ? *elementBid == *bid : creatorEntry(s.appList[i]) == creator;
    if (matches) {
      s.sCurSettingsTarget = static_cast<int32_t>(i);
      break;
    }
  }
  bgUpdatePrefsFromAppList();
}

std::optional<PlistDict> myDictForNSRunningApp(const RunningApplication& app) {
  if (app.pid == -1) return std::nullopt;
  std::optional<ProcessInformation> process = platform().workspace->processInformation(app.pid);
  if (!process) return std::nullopt;
  if (!app.localizedName) return std::nullopt;

  uint32_t creator = process->fileType == kApplicationType && process->creator != kNoCreator
                         ? process->creator
                         : 0;
  std::string bid;
  if (app.bundleIdentifier && !app.bundleIdentifier->empty()) {
    bid = *app.bundleIdentifier;
  } else if (process->name) {
    bid = *process->name;
  }
  if (bid.empty()) bid.assign(1, ' ');  // a single space

  PlistDict d;
  d["bid"] = PlistValue(bid);
  d["hasBid"] = PlistValue(app.bundleIdentifier.has_value());
  d["creator"] = PlistValue(static_cast<int64_t>(creator));
  d["pid"] = PlistValue(app.pid);
  d["path"] = PlistValue(app.bundlePath.value_or(app.executablePath.value_or("")));
  d["name"] = PlistValue(*app.localizedName);
  return d;
}

void prefs_setSpecialBehaviorFor_appBid_wRectPtr_cursor(const std::string* bid,
                                                        const IRect* windowRect, CGPoint cursor) {
  if (!bid) return;
  if (*bid == "com.sublimetext.3") {
    s.sPrefs.grabEatMDown = 1;  // the mouse-down that starts a grab is swallowed there
    return;
  }
  // Scrolling over the Dock is left alone, except in its grid view, unless the Dock has an
  // entry of its own.
  if (s.sCurSettingsTarget == 0 && *bid == "com.apple.dock" && !state_cursorOverDockGrid()) {
    s.sPrefs.wheel.wheelOn = 0;
    s.sPrefs.pad.padOn = 0;
    return;
  }
  // Safari's toolbar and tab bar, the top 62 points of its window, keep their own scrolling.
  if (*bid == "com.apple.Safari") {
    bool below = cursor.y <= static_cast<double>(windowRect->top - 62);
    s.sPrefs.wheel.wheelActiveHere = below;
    s.sPrefs.pad.padActiveHere = below;
  }
}

std::string currentV4Bundle() {
  Application& app = *platform().application;
  if (app.bundleIdentifier() == kPrefsDomain) return app.bundlePath();
  return app.bundlePathWithIdentifier("com.tarnwick.varsel4").value_or("");
}
