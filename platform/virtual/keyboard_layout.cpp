#include "keyboard_layout.h"

#include <cctype>
#include <string_view>

namespace vsession {

using namespace port;

namespace {
// The ANSI US layout: key code, the character, and with Shift.
struct TypingKey {
  uint16_t code;
  char plain;
  char shifted;
};
constexpr TypingKey kTypingKeys[] = {
    {0, 'a', 'A'},    {1, 's', 'S'},    {2, 'd', 'D'},    {3, 'f', 'F'},   {4, 'h', 'H'},
    {5, 'g', 'G'},    {6, 'z', 'Z'},    {7, 'x', 'X'},    {8, 'c', 'C'},   {9, 'v', 'V'},
    {11, 'b', 'B'},   {12, 'q', 'Q'},   {13, 'w', 'W'},   {14, 'e', 'E'},  {15, 'r', 'R'},
    {16, 'y', 'Y'},   {17, 't', 'T'},   {18, '1', '!'},   {19, '2', '@'},  {20, '3', '#'},
    {21, '4', '$'},   {22, '6', '^'},   {23, '5', '%'},   {24, '=', '+'},  {25, '9', '('},
    {26, '7', '&'},   {27, '-', '_'},   {28, '8', '*'},   {29, '0', ')'},  {30, ']', '}'},
    {31, 'o', 'O'},   {32, 'u', 'U'},   {33, '[', '{'},   {34, 'i', 'I'},  {35, 'p', 'P'},
    {36, '\r', '\r'}, {37, 'l', 'L'},   {38, 'j', 'J'},   {39, '\'', '"'}, {40, 'k', 'K'},
    {41, ';', ':'},   {42, '\\', '|'},  {43, ',', '<'},   {44, '/', '?'},  {45, 'n', 'N'},
    {46, 'm', 'M'},   {47, '.', '>'},   {48, '\t', '\t'}, {49, ' ', ' '},  {50, '`', '~'},
    {51, 0x7F, 0x7F}, {53, 0x1B, 0x1B},
};

// Keys that type a private-use function character and raise Fn; the arrows also sit on
// the numeric pad.
struct FunctionKey {
  uint16_t code;
  char16_t character;
  bool numericPad;
};
constexpr FunctionKey kFunctionKeys[] = {
    {126, 0xF700, true},  {125, 0xF701, true},  {123, 0xF702, true},  {124, 0xF703, true},
    {122, 0xF704, false}, {120, 0xF705, false}, {99, 0xF706, false},  {118, 0xF707, false},
    {96, 0xF708, false},  {97, 0xF709, false},  {98, 0xF70A, false},  {100, 0xF70B, false},
    {101, 0xF70C, false}, {109, 0xF70D, false}, {103, 0xF70E, false}, {111, 0xF70F, false},
    {117, 0xF728, false}, {115, 0xF729, false}, {119, 0xF72B, false}, {116, 0xF72C, false},
    {121, 0xF72D, false},
};

std::string utf8Of(char16_t c) {
  std::string out;
  if (c < 0x80) {
    out += static_cast<char>(c);
  } else if (c < 0x800) {
    out += static_cast<char>(0xC0 | (c >> 6));
    out += static_cast<char>(0x80 | (c & 0x3F));
  } else {
    out += static_cast<char>(0xE0 | (c >> 12));
    out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
    out += static_cast<char>(0x80 | (c & 0x3F));
  }
  return out;
}
}  // namespace

int findModifierKey(const std::string& name) {
  for (int i = 0; i < kModifierKeyCount; ++i) {
    if (name == kModifierKeys[i].name) return i;
  }
  return -1;
}

uint32_t modifierKeysForMasks(uint64_t masks) {
  uint32_t keys = 0;
  for (int i = 0; i < kModifierKeyCount; ++i) {
    const ModifierKey& m = kModifierKeys[i];
    bool rightSide = std::string_view(m.name).starts_with("right");
    if (!rightSide && (masks & m.mask)) keys |= 1u << i;
  }
  return keys;
}

uint64_t flagsOfModifierKeys(uint32_t keys) {
  uint64_t flags = 0;
  for (int i = 0; i < kModifierKeyCount; ++i) {
    if (keys & (1u << i)) flags |= kModifierKeys[i].mask | kModifierKeys[i].deviceBit;
  }
  return flags;
}

std::optional<KeyCharacters> layoutCharacters(uint16_t keycode, uint64_t modifierFlags) {
  for (const FunctionKey& k : kFunctionKeys) {
    if (k.code != keycode) continue;
    std::string text = utf8Of(k.character);
    uint64_t flags = kCGEventFlagMaskSecondaryFn | (k.numericPad ? kFlagNumericPad : 0);
    return KeyCharacters{text, text, flags};
  }
  for (const TypingKey& k : kTypingKeys) {
    if (k.code != keycode) continue;
    bool shift = modifierFlags & kCGEventFlagMaskShift;
    char ignoring = shift ? k.shifted : k.plain;
    char typed = ignoring;
    bool letter = std::isalpha(static_cast<unsigned char>(k.plain));
    if (letter && (modifierFlags & kCGEventFlagMaskAlphaShift)) {
      typed = static_cast<char>(std::toupper(static_cast<unsigned char>(typed)));
    }
    // Control turns a letter into its control character; the Option layer is not modelled
    // (a scenario gives such characters itself).
    if (letter && (modifierFlags & kCGEventFlagMaskControl))
      typed = static_cast<char>(k.plain & 0x1F);
    return KeyCharacters{std::string(1, typed), std::string(1, ignoring), 0};
  }
  return std::nullopt;
}

}  // namespace vsession
