// The preferences domain "com.tarnwick.varsel4b" and the settings record's keys: reading and
// writing the domain, filling the record from one element of the per-application list
// with every default, conversion and clamp, and the derived getters the event code calls.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "bgprefs.h"
#include "platform/api/preferences.h"

inline constexpr const char* kPrefsDomain = "com.tarnwick.varsel4b";

// NSNumber's integer view of a stored number: doubles truncate toward zero within the
// 64-bit range (0 when not finite), booleans are 0 or 1. Anything else is not a number.
std::optional<int64_t> prefs_integerValue(const port::PlistValue& v);

// The domain. Every write is synchronised at once; the result is the synchronisation's.
int getIntValueFromPrefs_key_defaultVal(const std::string& key, int defaultValue);
double getDoubleValueFromPrefs_key(const std::string& key);
bool saveToPrefs_key_object(const std::string& key, const std::optional<port::PlistValue>& object);
bool saveToPrefs_key_intValue(const std::string& key, int value);
bool saveToPrefs_key_doubleValue(const std::string& key, double value);

// The unarchived "data" dictionary of element `target`, falling back to element 0 and then
// to an empty dictionary.
port::PlistDict getPrefsDict_settingsTarget_inAppList(int32_t target,
                                                      const port::PlistArray& appList);
// Writes every field but hoverActiveOnly, dragSlop and each block's wacomCompatible.
void switch_prefs_toSettingsTarget_inAppList(PrefsRecord* record, int32_t target,
                                             const port::PlistArray& appList);
// Every key the fill reads from an element's settings, in the order it reads them.
std::vector<std::string> prefs_settingsKeys();
// The keys read from the top level of the domain.
inline constexpr const char* kGlobalPrefsKeys[] = {
    "hoverActiveOnly", "dragSlop", "prefsVers", "updateCheckIntervalDays", "lastVersionCheckDate"};
// The one-time migration of the old linear speed scale, and the keys it converts.
void convertPrefsInApplist(port::PlistArray& appList);
inline constexpr const char* kMigratedSpeedKeys[] = {"wheelSpeed", "wheelSpeedX", "padSpeed",
                                                     "padSpeedX"};

float speedFromPrefsVal(int v);
uint32_t index2key(uint32_t index);
uint32_t key2index(uint32_t mask);
std::optional<std::string> prefsFolderPath();
uint32_t sysvers();                               // packed BCD: 10.15.7 is 0x101507
inline constexpr uint32_t kMavericks = 0x100900;  // 10.9
inline constexpr uint32_t kYosemite = 0x101000;   // 10.10
// The 2..15 clamp of dragSlop.
uint16_t dragSlopFromPrefsVal(int64_t v);

bool prefs_hoverOn();
bool prefs_hoverEngineOn();
bool prefs_autoScrollOn();
bool prefs_hoverActiveOnly();
uint16_t prefs_dragSlop();
bool prefs_grayVector();
bool prefs_wheelOn();
uint32_t prefs_wheelDisablingMods();
float prefs_wheelCoastFactor();
float prefs_padCoastFactor();
bool prefs_wheelCoastVOn();
bool prefs_wheelCoastHOn();
bool prefs_wheelModSpeedOn();
bool prefs_wheelModSpeedXOn();
uint32_t prefs_wheelModifier();
uint32_t prefs_wheelReverseModifier();
bool prefs_reverseWheelX();
bool prefs_reverseWheelY();
bool prefs_wheelReverseOnlyWithModOn();
float prefs_wheelSpeedMultiplier();
float prefs_wheelSpeedMultiplierX();
float prefs_wheelSpeedMultiplierWithModifier();
bool prefs_wheelBounceOn();
bool prefs_nudgeCursorToStopNow();
float prefs_grabModSpeed();
float prefs_grabCoastFactor();
uint32_t prefs_grabDisablingMods();
uint32_t prefs_vectorDisablingMods();
bool prefs_wacomCompatible();

void Commonprefs_reset();
