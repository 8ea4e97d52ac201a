// The derived settings getters. Those of the wheel and trackpad read the trackpad block
// while the current gesture comes from a multi-touch surface, the wheel block otherwise.
#include "Commonprefs.h"
#include "VAstate.h"

namespace {

const PrefsRecord& rec() {
  return *prefs_bgprefs();
}
bool pad() {
  return state_isMultiTouch();
}

// Each set disabling flag adds its modifier's event-flag bit.
uint32_t disablingMask(uint8_t capsLock, uint8_t command, uint8_t shift, uint8_t control,
                       uint8_t option) {
  return (capsLock ? 0x10000u : 0) | (command ? 0x100000u : 0) | (shift ? 0x20000u : 0) |
         (control ? 0x40000u : 0) | (option ? 0x80000u : 0);
}

}  // namespace

#define VARSEL_BLOCK(field) (pad() ? rec().pad.pad##field : rec().wheel.wheel##field)

bool prefs_hoverOn() {
  return rec().hoverOn && !state_AXdisabled();
}
bool prefs_hoverEngineOn() {
  return (rec().hoverOn || rec().autoScrollOn) && !state_AXdisabled();
}
bool prefs_autoScrollOn() {
  return rec().autoScrollOn && !state_AXdisabled();
}
bool prefs_hoverActiveOnly() {
  return rec().hoverActiveOnly;
}
uint16_t prefs_dragSlop() {
  return rec().dragSlop;
}
bool prefs_grayVector() {
  return rec().vectorUseGray;
}
bool prefs_wheelOn() {
  return VARSEL_BLOCK(ActiveHere) && VARSEL_BLOCK(On);
}

uint32_t prefs_wheelDisablingMods() {
  return disablingMask(VARSEL_BLOCK(DisWCapsLock), VARSEL_BLOCK(DisWCommand),
                       VARSEL_BLOCK(DisWShift), VARSEL_BLOCK(DisWControl),
                       VARSEL_BLOCK(DisWOption));
}

float prefs_wheelCoastFactor() {
  return rec().wheel.wheelCoastFactor / 1000.0f;
}
float prefs_padCoastFactor() {
  return rec().pad.padCoastFactor / 1000.0f;
}
bool prefs_wheelCoastVOn() {
  return VARSEL_BLOCK(CoastVOn);
}
bool prefs_wheelCoastHOn() {
  return VARSEL_BLOCK(CoastHOn);
}
bool prefs_wheelModSpeedOn() {
  return VARSEL_BLOCK(ModSpeedOn);
}
bool prefs_wheelModSpeedXOn() {
  return VARSEL_BLOCK(ModSpeedXOn);
}
uint32_t prefs_wheelModifier() {
  return index2key(VARSEL_BLOCK(Mod));
}
uint32_t prefs_wheelReverseModifier() {
  return index2key(VARSEL_BLOCK(ReverseMod));
}
bool prefs_reverseWheelX() {
  return VARSEL_BLOCK(ReverseX);
}
bool prefs_reverseWheelY() {
  return VARSEL_BLOCK(ReverseY);
}
bool prefs_wheelReverseOnlyWithModOn() {
  return VARSEL_BLOCK(ReverseOnlyWithModOn);
}

float prefs_wheelSpeedMultiplier() {
  if (!VARSEL_BLOCK(SpeedOn)) return 1.0f;
  float s = speedFromPrefsVal(VARSEL_BLOCK(Speed));
  return VARSEL_BLOCK(SpeedSlower) ? 1.0f / s : s;
}

// Unlike the vertical getter, slower-and-fastest turns horizontal scrolling off: this
// asymmetry is intended.
float prefs_wheelSpeedMultiplierX() {
  if (!VARSEL_BLOCK(SpeedXOn)) return 1.0f;
  float s = speedFromPrefsVal(VARSEL_BLOCK(SpeedX));
  if (!VARSEL_BLOCK(SpeedSlowerX)) return s;
  return s > 35 ? 0.0f : 1.0f / s;
}

float prefs_wheelSpeedMultiplierWithModifier() {
  return VARSEL_BLOCK(ModSpeedOn) ? static_cast<float>(VARSEL_BLOCK(ModSpeed)) : 1.0f;
}

bool prefs_wheelBounceOn() {
  return false;
}

bool prefs_nudgeCursorToStopNow() {
  if (state_isMultiTouch()) return false;
  const PrefsRecord& r = rec();
  return r.wheel.wheelOn && r.wheel.wheelActiveHere &&
         (r.wheel.wheelCoastVOn || r.wheel.wheelCoastHOn) && r.wheel.wheelNudgeCursorToStop;
}

float prefs_grabModSpeed() {
  const PrefsRecord& r = rec();
  if (r.grabModSpeed == 0) return 1.0f;
  return r.grabModSpeedSlower ? 1.0f / r.grabModSpeed : static_cast<float>(r.grabModSpeed);
}

float prefs_grabCoastFactor() {
  return rec().grabCoastFactor / 1000.0f;
}

uint32_t prefs_grabDisablingMods() {
  const PrefsRecord& r = rec();
  return disablingMask(r.grabDisWCapsLock, r.grabDisWCommand, r.grabDisWShift, r.grabDisWControl,
                       r.grabDisWOption);
}

uint32_t prefs_vectorDisablingMods() {
  const PrefsRecord& r = rec();
  return disablingMask(r.vectorDisWCapsLock, r.vectorDisWCommand, r.vectorDisWShift,
                       r.vectorDisWControl, r.vectorDisWOption);
}

bool prefs_wacomCompatible() {
  return pad() ? rec().pad.wacomCompatible : rec().wheel.wacomCompatible;
}
