// The virtual keyboard's keys: the modifier keys with the flags they raise (the generic
// mask and the device-dependent bit of their side, as real events carry both), and a US
// layout that turns a key code into the characters the system reports for it.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "platform/api/events.h"

namespace vsession {

// Every keyboard event carries it, as hardware events do.
inline constexpr uint64_t kFlagNonCoalesced = 0x100;
inline constexpr uint64_t kFlagNumericPad = 0x200000;

// Modifier keys as scenarios name them.
struct ModifierKey {
  const char* name;
  uint64_t mask;       // the device-independent flag
  uint64_t deviceBit;  // the side's device-dependent bit (none for Caps Lock and Fn)
  uint16_t keycode;
};
inline constexpr ModifierKey kModifierKeys[] = {
    {"capsLock", port::kCGEventFlagMaskAlphaShift, 0, 57},
    {"shift", port::kCGEventFlagMaskShift, 0x2, 56},
    {"control", port::kCGEventFlagMaskControl, 0x1, 59},
    {"option", port::kCGEventFlagMaskAlternate, 0x20, 58},
    {"command", port::kCGEventFlagMaskCommand, 0x8, 55},
    {"fn", port::kCGEventFlagMaskSecondaryFn, 0, 63},
    {"rightShift", port::kCGEventFlagMaskShift, 0x4, 60},
    {"rightControl", port::kCGEventFlagMaskControl, 0x2000, 62},
    {"rightOption", port::kCGEventFlagMaskAlternate, 0x40, 61},
    {"rightCommand", port::kCGEventFlagMaskCommand, 0x10, 54},
};
inline constexpr int kModifierKeyCount = sizeof kModifierKeys / sizeof kModifierKeys[0];
// The index in kModifierKeys, or -1.
int findModifierKey(const std::string& name);
// The left-side keys (and Caps Lock and Fn) that raise these generic masks, as a key set.
uint32_t modifierKeysForMasks(uint64_t masks);
// The flags of a set of held modifier keys (bit i for kModifierKeys[i]).
uint64_t flagsOfModifierKeys(uint32_t keys);

// What the layout makes of a key: its characters with the modifiers held, and ignoring
// them except Shift (as NSEvent reports both), and the flags the key itself adds (the
// arrows are on the numeric pad and, like the function keys, raise Fn).
struct KeyCharacters {
  std::string characters;
  std::string ignoringModifiers;
  uint64_t keyFlags = 0;
};
// Nothing for a key code the layout does not know.
std::optional<KeyCharacters> layoutCharacters(uint16_t keycode, uint64_t modifierFlags);

}  // namespace vsession
