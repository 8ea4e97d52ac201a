// The keyboard's triggers: a tap of a modifier starts autoscroll, hot keys start and hold
// grab, vector and keyboard scrolling, modifier chords drive keyboard scrolling, the arrow
// keys tune hover speed, and any other key ends what runs.
#include <cstddef>
#include <string_view>

#include "Commonprefs.h"
#include "VAcursor.h"
#include "VAevent.h"
#include "VAgrab.h"
#include "VAhover.h"
#include "VAkeys.h"
#include "VAremote.h"
#include "VAstate.h"
#include "VAutils.h"
#include "VAvector.h"
#include "acc/blockAtomic.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
// Shift, Control, Option, Command and Fn: the modifiers a trigger can name. Caps Lock and
// the device-dependent bits never count.
constexpr uint64_t kTriggerModifiers = 0x9E0000;
constexpr uint64_t kBelowModifiers = 0x1FFFF;  // Caps Lock and the device bits
constexpr float kTapAtLeast = 0.05f;
constexpr float kTapAtMost = 0.18f;
constexpr double kTypingQuiet = 0.7;
constexpr double kHotKeyBounce = 0.15;
constexpr float kRunTimerSoon = 0.05f;
constexpr uint16_t kNoCharacter = 25;

constexpr uint16_t kUpArrow = 0xF700;
constexpr uint16_t kDownArrow = 0xF701;
constexpr uint16_t kLeftArrow = 0xF702;
constexpr uint16_t kRightArrow = 0xF703;

VAeventStatics& st() {
  return VAevent_statics();
}

const PrefsRecord& prefs() {
  return *st().prefs;
}

// A key's characters as the system's strings count them: UTF-16 units. The first two are
// kept; a byte that is no valid UTF-8 stands for one replacement character.
struct KeyCharacters {
  uint16_t first[2] = {};
  size_t count = 0;

  void add(uint16_t unit) {
    if (count < 2) first[count] = unit;
    ++count;
  }
};

size_t decodeUtf8(std::string_view text, size_t at, uint32_t* codePoint) {
  constexpr uint32_t kReplacement = 0xFFFD;
  auto byte = [&text](size_t i) { return static_cast<uint8_t>(text[i]); };
  uint8_t lead = byte(at);
  size_t length = lead < 0x80           ? 1
                  : (lead >> 5) == 0x6  ? 2
                  : (lead >> 4) == 0xE  ? 3
                  : (lead >> 3) == 0x1E ? 4
                                        : 0;
  *codePoint = kReplacement;
  if (length == 0 || at + length > text.size()) return 1;
  uint32_t cp = length == 1 ? lead : lead & (0x7F >> length);
  for (size_t i = 1; i < length; ++i) {
    if ((byte(at + i) & 0xC0) != 0x80) return 1;
    cp = (cp << 6) | (byte(at + i) & 0x3F);
  }
  static constexpr uint32_t kSmallest[5] = {0, 0, 0x80, 0x800, 0x10000};
  if (cp < kSmallest[length] || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 1;
  *codePoint = cp;
  return length;
}

KeyCharacters utf16Of(std::string_view text) {
  KeyCharacters out;
  for (size_t at = 0; at < text.size();) {
    uint32_t cp;
    at += decodeUtf8(text, at, &cp);
    if (cp >= 0x10000) {
      cp -= 0x10000;
      out.add(static_cast<uint16_t>(0xD800 + (cp >> 10)));
      out.add(static_cast<uint16_t>(0xDC00 + (cp & 0x3FF)));
    } else {
      out.add(static_cast<uint16_t>(cp));
    }
  }
  return out;
}

bool anyMouseButtonDown() {
  return platform().cocoa->pressedMouseButtons() != 0;
}

bool isSubset(uint64_t m, uint64_t of) {
  return (m & ~of) == 0;
}

// Autoscroll is never started on the event thread: the zones and the hover timer belong
// to the main thread.
void queueAutoScroll(int32_t direction) {
  dispatchMainWithAutoreleasePool([direction] {
    hover_startAutoScroll(direction);
    bgDelegate::fadeZones(direction);
  });
}

// One direction of the modifier tap. Answers whether the handler is done with the event.
bool autoScrollTap(uint64_t flags, uint16_t modIndex, double* wentDownTime, int32_t direction) {
  uint64_t k = index2key(modIndex);
  bool down = false;
  if (is_keypressSince_orOtherModDownInMods_thanMod_isDownPtr(flags, k, &down, kTypingQuiet)) {
    *wentDownTime = 0;
    return false;
  }
  double now = utils_now();
  if (down) {
    if (*wentDownTime == 0) *wentDownTime = now;
    bgDelegate::pauseTimerUntilMouseMoves();
    return true;
  }
  bgDelegate::forceRunTimer();
  if (*wentDownTime == 0) return false;
  if (now > *wentDownTime + static_cast<double>(kTapAtLeast) &&
      now < *wentDownTime + static_cast<double>(kTapAtMost)) {
    queueAutoScroll(direction);
  }
  *wentDownTime = 0;
  return true;
}

struct KeyboardHotKey {
  uint8_t on;
  uint32_t mods;
  uint32_t character;
};

void keyboardHotKeys(KeyboardHotKey (&out)[4]) {
  const PrefsRecord& p = prefs();
  out[kKeyActionUp] = {p.keysHKUpOn, p.keysHotKeyUpMods, p.keysHotKeyUpChar};
  out[kKeyActionDown] = {p.keysHKDownOn, p.keysHotKeyDownMods, p.keysHotKeyDownChar};
  out[kKeyActionLeft] = {p.keysHKLeftOn, p.keysHotKeyLeftMods, p.keysHotKeyLeftChar};
  out[kKeyActionRight] = {p.keysHKRightOn, p.keysHotKeyRightMods, p.keysHotKeyRightChar};
}

// A repeat started by keyboard hot keys stops when the modifiers leave any enabled one.
bool hotKeyModifiersLeft(uint64_t m) {
  KeyboardHotKey keys[4];
  keyboardHotKeys(keys);
  if (keys[kKeyActionUp].on && (m & keys[kKeyActionUp].mods) == 0) return true;
  for (int i = kKeyActionDown; i <= kKeyActionRight; ++i) {
    if (keys[i].on && (keys[i].mods & m) == 0) return true;
  }
  return false;
}

// The arrow keys while hover or autoscroll runs: left and right nudge the speed, down
// holds it faster, up holds it reversed. Answers whether a character was an arrow.
bool tuneHover(const KeyCharacters& chars, bool keyDown) {
  bool any = false;
  for (size_t i = 0; i < chars.count; ++i) {
    switch (chars.first[i]) {
      case kLeftArrow:
      case kRightArrow:
        // Left raising the tweak and right lowering it is meant so.
        state_setHoverFaster(false);
        if (keyDown) {
          state_setHoverSpeedTweak(state_hoverSpeedTweak() +
                                   (chars.first[i] == kLeftArrow ? 1 : -1));
          hover_setLastSpeedTweakWnum(bgDelegate::lastWindowNumber());
        }
        any = true;
        break;
      case kDownArrow:
        state_setHoverFaster(keyDown);
        any = true;
        break;
      case kUpArrow:
        state_setHoverReverse(keyDown);
        any = true;
        break;
      default:
        break;
    }
  }
  return any;
}

// What any key that triggers nothing does: ends a coast, and on a press the mode it
// interrupts.
CGEventRef otherKey(NSEventRef event, CGEventRef cgEvent, bool keyDown) {
  if (state_doingCoast()) stopCoast();
  auto endKeyboardScroll = [] {
    state_setDoingGrabWScrollKey(false);
    resetScrollKeysState();
    stopScrollKeysRepeat();
  };
  if (!keyDown) {
    endKeyboardScroll();
    return cgEvent;
  }
  if (state_doingVector() && !state_doingVectorWurl()) {
    vectorStop_event_cgEvent(event, cgEvent);
    state_setDoingVectorWurl(false);
    return nullptr;
  }
  if (state_doingGrab() && !state_doingGrabWurl()) {
    grabStop_event_cgEvent(event, cgEvent);
    state_setDoingGrabWHotKeyAndButton(false);
    state_setDoingGrabWToggle(false);
    state_setDoingGrabWurl(false);
    cursor_backToNormalOScursor();
    return nullptr;
  }
  endKeyboardScroll();
  if (hover_willEventStopHover()) return nullptr;
  return cgEvent;
}

enum class HotKeyResult { kSwallow, kOtherKey, kNoMatch };

// The grab hot key, kinds 2 (with the button) and 3 (alone).
HotKeyResult grabHotKey(NSEventRef event, CGEventRef cgEvent, bool keyDown, uint64_t m) {
  const PrefsRecord& p = prefs();
  if (keyDown) {
    if (anyMouseButtonDown()) return HotKeyResult::kOtherKey;
    if (m != p.grabHotKeyMods) return HotKeyResult::kNoMatch;
    if (p.grabTriggerKind == 3) {
      if (state_doingGrabWHotKeyOnly()) return HotKeyResult::kSwallow;  // auto-repeat
      state_setDoingGrabWHotKeyOnly(true);
      CGPoint at = platform().cocoa->mouseLocation();
      grabStart_unflippedPoint(at.x, at.y);
    } else {
      state_setDoingGrabWHotKeyAndButton(true);  // the button's press starts the grab
    }
    if (p.grabShowHand) cursor_showOpenHand();
    return HotKeyResult::kSwallow;
  }
  if (state_doingGrabWHotKeyOnly()) {
    grabStop_event_cgEvent(event, cgEvent);
    cursor_backToNormalOScursor();
    state_setDoingGrabWHotKeyOnly(false);
    return HotKeyResult::kSwallow;
  }
  return HotKeyResult::kNoMatch;
}

HotKeyResult hotKeys(NSEventRef event, CGEventRef cgEvent, bool keyDown, uint64_t m, uint16_t c) {
  const PrefsRecord& p = prefs();
  auto matches = [m, c](uint32_t mods, uint32_t character) { return m == mods && c == character; };
  if (p.grabOn && (p.grabTriggerKind == 2 || p.grabTriggerKind == 3) && c == p.grabHotKeyChar) {
    HotKeyResult grab = grabHotKey(event, cgEvent, keyDown, m);
    if (grab != HotKeyResult::kNoMatch) return grab;
  }
  if (anyMouseButtonDown()) return HotKeyResult::kOtherKey;

  if (p.vectorOn && p.vectorTriggerKind == 1 && matches(p.vectorHotKeyMods, p.vectorHotKeyChar)) {
    if (keyDown) {
      CGPoint at = platform().cocoa->mouseLocation();
      vectorStart_point(at.x, at.y);
    }
    return HotKeyResult::kSwallow;
  }
  if (prefs_autoScrollOn() && p.autoScrollTriggerKind == 1 &&
      matches(p.autoScrollHotKeyMods, p.autoScrollHotKeyChar)) {
    if (keyDown) queueAutoScroll(kDirectionDown);
    return HotKeyResult::kSwallow;
  }
  if (p.autoScrollUpOn && p.autoScrollUpTriggerKind == 1 &&
      matches(p.autoScrollUpHotKeyMods, p.autoScrollUpHotKeyChar)) {
    if (keyDown) queueAutoScroll(kDirectionUp);
    return HotKeyResult::kSwallow;
  }
  if (!p.keysOn) return HotKeyResult::kOtherKey;

  KeyboardHotKey keys[4];
  keyboardHotKeys(keys);
  int action = -1;
  for (int i = 0; i < 4 && action < 0; ++i) {
    if (keys[i].on && matches(keys[i].mods, keys[i].character)) action = i;
  }
  if (action < 0) return HotKeyResult::kOtherKey;
  if (!keyDown) {
    stopScrollKeysRepeat();
    return HotKeyResult::kSwallow;
  }
  // Auto-repeat and a bouncing key act once.
  double now = utils_now();
  if (now - st().sLastKeysHotKeyDown <= kHotKeyBounce) return HotKeyResult::kSwallow;
  st().sLastKeysHotKeyDown = now;
  keys_doAction(action);
  keys_doRepeat(action);
  return HotKeyResult::kSwallow;
}
}  // namespace

bool is_keypressSince_orOtherModDownInMods_thanMod_isDownPtr(uint64_t flags, uint64_t mod,
                                                             bool* isDown, double window) {
  if (anyMouseButtonDown() || utils_now() - st().sLastKeyDownTime < window) return true;
  *isDown = (flags & mod) != 0;
  return (flags & kTriggerModifiers & ~mod) != 0;
}

CGEventRef handleFlags_event_cgEvent(NSEventRef event, CGEventRef cgEvent) {
  const PrefsRecord& p = prefs();
  uint64_t flags = platform().cocoa->modifierFlags(event);
  uint64_t m = flags & kTriggerModifiers;

  // A grab's coast outlives the release of its hot key's modifiers.
  if (state_doingCoast() && state_coastStartedBy() == 1 &&
      (p.grabTriggerKind == 2 || p.grabTriggerKind == 3) && isSubset(m, p.grabHotKeyMods)) {
    return cgEvent;
  }
  if (p.vectorOn && state_doingVector()) {
    if (p.vectorTriggerKind != 1) return vectorStop_event_cgEvent(event, cgEvent);
    if (m != 0 && (m & p.vectorHotKeyMods) == 0) {
      vectorStop_event_cgEvent(event, cgEvent);
    } else if (isSubset(m, p.vectorHotKeyMods)) {
      return cgEvent;
    } else {
      vectorStop_event_cgEvent(event, cgEvent);
    }
  }
  if (state_doingAutoScroll()) {
    if (prefs_autoScrollOn() && p.autoScrollTriggerKind == 1 &&
        isSubset(m, p.autoScrollHotKeyMods)) {
      return cgEvent;
    }
    if (p.autoScrollUpOn && p.autoScrollUpTriggerKind == 1 &&
        isSubset(m, p.autoScrollUpHotKeyMods)) {
      return cgEvent;
    }
  }
  if (state_doingGrabWHotKeyOnly() && m != p.grabHotKeyMods) {
    state_setDoingGrabWHotKeyOnly(false);
    grabStop_event_cgEvent(event, cgEvent);
    cursor_backToNormalOScursor();
  }
  if (hover_willEventStopHover()) {
    bgDelegate::runTimerOnMain();
    return nullptr;
  }
  if (p.keysOn || (p.grabOn && p.grabTriggerKind == 1)) {
    if (keys_processModsAndCkIfShouldEatEvent(flags & ~kBelowModifiers)) return nullptr;
    bool anyHotKey = p.keysHKUpOn || p.keysHKDownOn || p.keysHKLeftOn || p.keysHKRightOn;
    if (anyHotKey && keys_repeatStarted() && hotKeyModifiersLeft(m)) stopScrollKeysRepeat();
  }
  if (state_doingCoast()) stopCoast();  // any modifier change ends coasting

  VAeventStatics& s = st();
  if (prefs_autoScrollOn() && !state_doingGrab()) {
    if (p.autoScrollTriggerKind == 0 &&
        autoScrollTap(flags, p.autoScrollMod, &s.sAutoScrollModWentDownTime, kDirectionDown)) {
      return cgEvent;
    }
    if (p.autoScrollUpOn && p.autoScrollUpTriggerKind == 0 &&
        autoScrollTap(flags, p.autoScrollUpMod, &s.sAutoScrollUpModWentDownTime, kDirectionUp)) {
      return cgEvent;
    }
  }
  bgDelegate::runTimerAfter(kRunTimerSoon);
  return cgEvent;
}

CGEventRef handleKeyUpDown_event_cgEvent(NSEventRef event, CGEventRef cgEvent) {
  CocoaEvents& cocoa = *platform().cocoa;
  bool keyDown = cocoa.type(event) == kCGEventKeyDown;
  uint64_t m = cocoa.modifierFlags(event) & kTriggerModifiers;
  state_setDoingWheel(false);
  if (keyDown) st().sLastKeyDownTime = utils_now();
  bgDelegate::runTimerAfter(kRunTimerSoon);

  KeyCharacters ignoring = utf16Of(cocoa.charactersIgnoringModifiers(event));
  if (keyDown && state_interceptNextKeypress()) {
    // The pane is learning a hot key: this press is its answer, whatever it is.
    uint16_t c = ignoring.count ? ignoring.first[0] : kNoCharacter;
    bgDelegate::notifyKeyPressed_mods(c, static_cast<uint32_t>(m));
    state_setInterceptNextKeypress(false);
    return nullptr;
  }
  if (state_doingAutoScroll() || state_doingHover()) {
    KeyCharacters chars = utf16Of(cocoa.characters(event));
    if ((chars.count == 1 || chars.count == 2) && tuneHover(chars, keyDown)) return nullptr;
  }
  if (ignoring.count == 1 && !state_doingGrabWurl() && !state_doingVectorWurl()) {
    if (hotKeys(event, cgEvent, keyDown, m, ignoring.first[0]) == HotKeyResult::kSwallow) {
      return nullptr;
    }
  }
  return otherKey(event, cgEvent, keyDown);
}
