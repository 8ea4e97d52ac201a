#include "Commonprefs.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "VAstate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {

uint32_t sSysvers = 0;

std::optional<double> doubleOf(const PlistValue& v) {
  if (auto* d = std::get_if<double>(&v.value)) return *d;
  if (auto n = prefs_integerValue(v)) return static_cast<double>(*n);
  return std::nullopt;
}

// Reads one settings dictionary the way the record wants each kind of field. A value that
// is not a number counts as missing.
class SettingsReader {
 public:
  explicit SettingsReader(const PlistDict& settings, std::vector<std::string>* asked = nullptr)
      : settings_(settings), asked_(asked) {}

  std::optional<int64_t> number(const char* key) {
    if (asked_) asked_->push_back(key);
    auto found = settings_.find(key);
    if (found == settings_.end()) return std::nullopt;
    return prefs_integerValue(found->second);
  }
  // Flags are read as unsigned 16-bit numbers; anything non-zero is on.
  uint8_t flag(const char* key, uint8_t byDefault) {
    auto n = number(key);
    return n ? static_cast<uint16_t>(*n) != 0 : byDefault;
  }
  uint16_t u16(const char* key, uint16_t byDefault) {
    auto n = number(key);
    return n ? static_cast<uint16_t>(*n) : byDefault;
  }
  uint16_t u16AtMost(const char* key, uint16_t byDefault, uint16_t most) {
    uint16_t v = u16(key, byDefault);
    return v > most ? most : v;
  }
  uint8_t u8(const char* key, uint8_t byDefault) {
    auto n = number(key);
    return n ? static_cast<uint8_t>(*n) : byDefault;
  }
  uint32_t u32(const char* key, uint32_t byDefault) {
    auto n = number(key);
    return n ? static_cast<uint32_t>(*n) : byDefault;
  }
  // An integer read, as modifier indexes and the vector speed are read.
  int32_t integer(const char* key, int32_t byDefault) {
    auto n = number(key);
    return n ? static_cast<int32_t>(*n) : byDefault;
  }
  uint16_t modifier(const char* key, uint16_t byDefault) {
    return static_cast<uint16_t>(integer(key, byDefault));
  }

 private:
  const PlistDict& settings_;
  std::vector<std::string>* asked_;  // every key asked for, when someone wants to know
};

std::optional<PlistDict> archivedSettings(const PlistValue& element) {
  const PlistDict* entry = element.dict();
  if (!entry) return std::nullopt;
  auto data = entry->find("data");
  if (data == entry->end() || !data->second.data()) return std::nullopt;
  std::optional<PlistValue> settings =
      platform().keyedArchiver->unarchiveObjectWithData(*data->second.data());
  if (!settings || !settings->dict()) return std::nullopt;
  return *settings->dict();
}

uint8_t bcd(int v) {
  return static_cast<uint8_t>(v >= 10 ? (v / 10) * 16 + v % 10 : v);
}

}  // namespace

void Commonprefs_reset() {
  sSysvers = 0;
}

std::optional<int64_t> prefs_integerValue(const PlistValue& v) {
  if (auto* i = std::get_if<int64_t>(&v.value)) return *i;
  if (auto* b = std::get_if<bool>(&v.value)) return *b ? 1 : 0;
  if (auto* d = std::get_if<double>(&v.value)) {
    if (!std::isfinite(*d)) return 0;
    constexpr double kLimit = 9.2e18;
    return static_cast<int64_t>(std::trunc(std::fmax(-kLimit, std::fmin(kLimit, *d))));
  }
  return std::nullopt;
}

int getIntValueFromPrefs_key_defaultVal(const std::string& key, int defaultValue) {
  std::optional<PlistValue> value = platform().preferences->copyAppValue(key, kPrefsDomain);
  if (!value) return defaultValue;
  std::optional<int64_t> n = prefs_integerValue(*value);
  return n ? static_cast<int>(static_cast<uint32_t>(*n)) : defaultValue;
}

double getDoubleValueFromPrefs_key(const std::string& key) {
  std::optional<PlistValue> value = platform().preferences->copyAppValue(key, kPrefsDomain);
  if (!value) return 0.0;
  return doubleOf(*value).value_or(0.0);
}

bool saveToPrefs_key_object(const std::string& key, const std::optional<PlistValue>& object) {
  platform().preferences->setAppValue(key, object, kPrefsDomain);
  return platform().preferences->appSynchronize(kPrefsDomain);
}

bool saveToPrefs_key_intValue(const std::string& key, int value) {
  return saveToPrefs_key_object(key, PlistValue(value));
}

bool saveToPrefs_key_doubleValue(const std::string& key, double value) {
  return saveToPrefs_key_object(key, PlistValue(value));
}

PlistDict getPrefsDict_settingsTarget_inAppList(int32_t target, const PlistArray& appList) {
  size_t index = target < 0 || static_cast<size_t>(target) >= appList.size() ? 0 : target;
  if (index < appList.size()) {
    if (auto settings = archivedSettings(appList[index])) return *settings;
  }
  if (index != 0 && !appList.empty()) {
    if (auto settings = archivedSettings(appList[0])) return *settings;
  }
  return {};
}

namespace {

void fill(PrefsRecord* r, SettingsReader& in) {
  // The switches forced off are still read, so that every key is asked for in every state.
  const bool off = state_forceOff();
  const bool offOrNoAX = off || state_AXdisabled();

#define VARSEL_FILL_DEVICE(dev, coastVDefault, nudgeField, nudgeDefault)      \
  r->dev.dev##On = in.flag(#dev "On", 1) && !off;                             \
  r->dev.dev##ActiveHere = 1;                                                 \
  r->dev.dev##DisWCapsLock = in.flag(#dev "DisWCapsLock", 0);                 \
  r->dev.dev##DisWCommand = in.flag(#dev "DisWCommand", 0);                   \
  r->dev.dev##DisWShift = in.flag(#dev "DisWShift", 0);                       \
  r->dev.dev##DisWControl = in.flag(#dev "DisWControl", 0);                   \
  r->dev.dev##DisWOption = in.flag(#dev "DisWOption", 0);                     \
  r->dev.dev##SpeedOn = in.flag(#dev "SpeedOn", 0);                           \
  r->dev.dev##Speed = in.u16AtMost(#dev "Speed", 200, 1000);                  \
  r->dev.dev##SpeedSlower = in.flag(#dev "SpeedSlower", 0);                   \
  r->dev.dev##SpeedXOn = in.flag(#dev "SpeedXOn", 0);                         \
  r->dev.dev##SpeedX = in.u16AtMost(#dev "SpeedX", 200, 1000);                \
  r->dev.dev##SpeedSlowerX = in.flag(#dev "SpeedSlowerX", 0);                 \
  r->dev.dev##ModSpeedOn = in.flag(#dev "ModSpeedOn", 1);                     \
  r->dev.dev##ModSpeed = in.u16(#dev "ModSpeed", 4);                          \
  r->dev.dev##Mod = in.modifier(#dev "Mod", 3);                               \
  r->dev.dev##ModSpeedXOn = in.flag(#dev "ModSpeedXOn", 1);                   \
  r->dev.dev##ReverseX = in.flag(#dev "ReverseX", 0);                         \
  r->dev.dev##ReverseY = in.flag(#dev "ReverseY", 0);                         \
  r->dev.dev##ReverseOnlyWithModOn = in.flag(#dev "ReverseOnlyWithModOn", 0); \
  r->dev.dev##ReverseMod = in.modifier(#dev "ReverseMod", 2);                 \
  r->dev.dev##CoastVOn = in.flag(#dev "CoastVOn", coastVDefault);             \
  r->dev.dev##CoastHOn = r->dev.dev##CoastVOn;                                \
  r->dev.dev##CoastFactor = in.u16(#dev "CoastFactor", 960);                  \
  r->dev.nudgeField = in.flag(#nudgeField, nudgeDefault);

  VARSEL_FILL_DEVICE(wheel, 1, wheelNudgeCursorToStop, 0)
  // Only the wheel's factor has a floor: a weak wheel coast would stop at once.
  if (r->wheel.wheelCoastFactor < 897) r->wheel.wheelCoastFactor = 800;
  r->wheelSingleTickSpeed = in.u16AtMost("wheelSingleTickSpeed", 200, 1000);
  VARSEL_FILL_DEVICE(pad, 0, padLiftFingersToCoast, 1)
#undef VARSEL_FILL_DEVICE

  r->hoverOn = in.flag("hoverOn", 1) && !offOrNoAX;
  r->hoverHOn = 0;
  r->hoverModOn = in.flag("hoverModOn", 1);
  r->hoverReverseYOn = in.flag("hoverReverseYOn", 0);
  r->hoverMod = in.modifier("hoverMod", 3);
  r->hoverVpercent = in.u16("hoverVpercent", 10);
  r->hoverVmax = in.u16("hoverVmax", 50);
  r->hoverVspeed = in.u16("hoverVspeed", 25);

  r->autoScrollOn = in.flag("autoScrollOn", 1) && !offOrNoAX;
  r->autoScrollMod = in.modifier("autoScrollMod", 3);
  r->autoScrollSpeed = in.u8("autoScrollSpeed", 25);
  if (r->autoScrollSpeed >= 49) r->autoScrollSpeed = 49;
  r->autoScrollTriggerKind = in.u8("autoScrollTriggerKind", 0);
  r->autoScrollHotKeyMods = in.u32("autoScrollHotKeyMods", 0x800000);
  r->autoScrollHotKeyChar = in.u32("autoScrollHotKeyChar", 0);
  r->autoScrollReverseYOn = in.flag("autoScrollReverseYOn", 0);
  r->autoScrollUpOn = in.flag("autoScrollUpOn", 1);
  r->autoScrollUpTriggerKind = in.u8("autoScrollUpTriggerKind", 0);
  r->autoScrollUpMod = in.modifier("autoScrollUpMod", 2);
  r->autoScrollUpHotKeyMods = in.u32("autoScrollUpHotKeyMods", 0x800000);
  r->autoScrollUpHotKeyChar = in.u32("autoScrollUpHotKeyChar", 0);

  r->grabOn = in.flag("grabOn", 1) && !off;
  // The older key is read first and then always overwritten: it never decides.
  r->grabShowHand = in.flag("grabShowHandForKeyTrigger", 1);
  r->grabShowHand = in.flag("grabShowHand", 1);
  r->grabButton = in.u8("grabButton", 2);
  r->grabTriggerKind = in.u8("grabTriggerKind", 0);
  r->grabDisWCapsLock = in.flag("grabDisWCapsLock", 0);
  r->grabDisWCommand = in.flag("grabDisWCommand", 0);
  r->grabDisWShift = in.flag("grabDisWShift", 0);
  r->grabDisWControl = in.flag("grabDisWControl", 0);
  r->grabDisWOption = in.flag("grabDisWOption", 0);
  r->grabSpeedOn = in.flag("grabSpeedOn", 1);
  r->grabSpeed = in.u8("grabSpeed", 2);
  r->grabMod = in.modifier("grabMod", 3);
  r->grabModSpeed = in.u8("grabModSpeed", 8);
  r->grabModSpeedSlower = in.flag("grabModSpeedSlower", 0);
  r->grabSnapToAxis = in.flag("grabSnapToAxis", 1);
  r->grabFreezeOn = in.flag("grabFreezeOn", 0);
  r->grabReverseXOn = in.flag("grabReverseXOn", 0);
  r->grabReverseYOn = in.flag("grabReverseYOn", 0);
  r->grabCoastOn = in.flag("grabCoastOn", 1);
  r->grabEatMDown = in.flag("grabEatMDown", 0);
  r->grabCoastFactor = in.u16("grabCoastFactor", 980);
  r->grabHotKeyMods = in.u32("grabHotKeyMods", 0x800000);
  r->grabHotKeyChar = in.u32("grabHotKeyChar", 0);

  r->keysOn = in.flag("keysOn", 1) && !off;
  r->keysProgressiveStartOn = in.flag("keysProgressiveStartOn", 1);
  r->keysSpeed = in.u8("keysSpeed", 128);
  // Each key packs a (hold, press) pair of modifier indexes: hold in the low byte.
  static constexpr const char* kPairKeys[5] = {"keysUp", "keysDown", "keysLeft", "keysRight",
                                               "keysGrabTrigger"};
  static constexpr uint16_t kDefaultPairs[5][2] = {{2, 3}, {2, 0}, {0, 2}, {0, 3}, {1, 3}};
  for (int i = 0; i < 5; ++i) {
    r->keysHoldMod[i] = kDefaultPairs[i][0];
    r->keysPressMod[i] = kDefaultPairs[i][1];
    if (auto n = in.number(kPairKeys[i])) {
      uint16_t pair = static_cast<uint16_t>(*n);
      r->keysHoldMod[i] = pair & 0xFF;
      r->keysPressMod[i] = pair >> 8;
    }
  }
  r->keysHKUpOn = in.flag("keysHKUpOn", 0);
  r->keysHKDownOn = in.flag("keysHKDownOn", 0);
  r->keysHKLeftOn = in.flag("keysHKLeftOn", 0);
  r->keysHKRightOn = in.flag("keysHKRightOn", 0);
  r->keysHotKeyUpMods = in.u32("keysHotKeyUpMods", 0x800000);
  r->keysHotKeyUpChar = in.u32("keysHotKeyUpChar", 0);
  r->keysHotKeyDownMods = in.u32("keysHotKeyDownMods", 0x800000);
  r->keysHotKeyDownChar = in.u32("keysHotKeyDownChar", 0);
  r->keysHotKeyLeftMods = in.u32("keysHotKeyLeftMods", 0x800000);
  r->keysHotKeyLeftChar = in.u32("keysHotKeyLeftChar", 0);
  r->keysHotKeyRightMods = in.u32("keysHotKeyRightMods", 0x800000);
  r->keysHotKeyRightChar = in.u32("keysHotKeyRightChar", 0);

  r->vectorOn = in.flag("vectorOn", 0) && !off;
  r->vectorButton = in.u8("vectorButton", 2);
  r->vectorTriggerKind = in.u8("vectorTriggerKind", 0);
  r->vectorEatMDown = in.flag("vectorEatMDown", 0);
  r->vectorDisWCapsLock = in.flag("vectorDisWCapsLock", 0);
  r->vectorDisWCommand = in.flag("vectorDisWCommand", 0);
  r->vectorDisWShift = in.flag("vectorDisWShift", 0);
  r->vectorDisWControl = in.flag("vectorDisWControl", 0);
  r->vectorDisWOption = in.flag("vectorDisWOption", 0);
  r->vectorReverseXOn = in.flag("vectorReverseXOn", 0);
  r->vectorReverseYOn = in.flag("vectorReverseYOn", 0);
  r->vectorUseGray = in.flag("vectorUseGray", 0);
  r->vectorMaxRadius = in.u16("vectorMaxRadius", 150);
  // Values up to 99, negative ones included, are the old scale, taken modulo 256; the field
  // holds the speed above 100, never 0.
  int32_t v = in.integer("vectorVspeed", 400);
  if (v <= 99) {
    v = (v & 0xFF) / 12 + 100;
  } else if (v > 700) {
    v = 400;
  }
  r->vectorVspeed = v == 100 ? 1 : static_cast<uint16_t>(v - 100);
  r->vectorVspeedScaled =
      static_cast<uint16_t>(static_cast<float>(r->vectorVspeed) * 30.0f / 600.0f);
  r->vectorHotKeyMods = in.u32("vectorHotKeyMods", 0x800000);
  r->vectorHotKeyChar = in.u32("vectorHotKeyChar", 0);
}

}  // namespace

void switch_prefs_toSettingsTarget_inAppList(PrefsRecord* r, int32_t target,
                                             const PlistArray& appList) {
  PlistDict settings = getPrefsDict_settingsTarget_inAppList(target, appList);
  SettingsReader in(settings);
  fill(r, in);
}

std::vector<std::string> prefs_settingsKeys() {
  std::vector<std::string> keys;
  PlistDict none;
  SettingsReader in(none, &keys);
  PrefsRecord scratch;
  fill(&scratch, in);
  return keys;
}

void convertPrefsInApplist(PlistArray& appList) {
  if (getIntValueFromPrefs_key_defaultVal("prefsVers", 0) > 0) return;
  // The marker goes first, so a crash during the conversion never repeats it.
  saveToPrefs_key_intValue("prefsVers", 1);

  for (PlistValue& element : appList) {
    std::optional<PlistDict> settings = archivedSettings(element);
    if (!settings) continue;
    for (const char* key : kMigratedSpeedKeys) {
      auto found = settings->find(key);
      if (found == settings->end()) continue;
      std::optional<double> old = doubleOf(found->second);
      if (!old) continue;
      // New scale: speedFromPrefsVal(new) is about the old linear multiplier v / 100. Values
      // beyond the ranges of single precision and of 32 bits are clamped to them before
      // each conversion, so a huge old speed becomes the fastest there is; the square root
      // of a negative number (below the old 100) gives 0.
      constexpr double kFloatMax = std::numeric_limits<float>::max();
      float v =
          static_cast<float>(std::isnan(*old) ? *old : std::clamp(*old, -kFloatMax, kFloatMax));
      float scaled = (std::sqrt((v - 100.0f) / 100.0f * 2.28f) + 1.0f) * 100.0f;
      constexpr double kLow = std::numeric_limits<int32_t>::min();
      constexpr double kHigh = std::numeric_limits<int32_t>::max();
      int32_t whole =
          std::isnan(scaled) ? 0 : static_cast<int32_t>(std::clamp<double>(scaled, kLow, kHigh));
      found->second = PlistValue(static_cast<int64_t>(whole & 0xFFFF));
    }
    PlistData data = platform().keyedArchiver->archivedDataWithRootObject(PlistValue(*settings));
    if (!data.empty()) {
      auto entry = std::make_shared<PlistDict>(*element.dict());
      (*entry)["data"] = PlistValue(std::move(data));
      element.value = entry;
    }
  }
  saveToPrefs_key_object("appList", PlistValue(appList));
}

float speedFromPrefsVal(int v) {
  double r = (v - 100) / 100.0 / static_cast<double>(1.51f);
  double x = r * r + 1;
  return static_cast<float>(x > 10 ? std::floor(x) : x);
}

uint32_t index2key(uint32_t index) {
  static constexpr uint32_t kMasks[5] = {0x100000, 0x20000, 0x40000, 0x80000, 0x800000};
  return index < 5 ? kMasks[index] : 0;
}

// Command's own mask and any unknown mask share index 0.
uint32_t key2index(uint32_t mask) {
  for (uint32_t i = 1; i < 5; ++i) {
    if (index2key(i) == mask) return i;
  }
  return 0;
}

std::optional<std::string> prefsFolderPath() {
  constexpr uint32_t kPreferencesFolderType = 0x70726566;  // 'pref'
  return platform().files->findFolder(kPreferencesFolderType);
}

uint32_t sysvers() {
  if (sSysvers == 0) {
    SystemVersion v = platform().systemFacts->systemVersion();
    sSysvers = static_cast<uint32_t>(bcd(v.major)) << 16 |
               static_cast<uint32_t>(bcd(v.minor)) << 8 | bcd(v.patch);
  }
  return sSysvers;
}

uint16_t dragSlopFromPrefsVal(int64_t v) {
  uint16_t slop = static_cast<uint16_t>(v);
  if (slop & 0xFFF0) slop = 15;
  return slop < 3 ? 2 : slop;
}
