// The virtual session's event record: one plain record carries both the Quartz view
// (type, flags, location, numbered fields) and the Cocoa view of an event.
#pragma once

#include <cstdint>
#include <string_view>

#include "platform/api/events.h"

namespace port {

struct CGEvent {
  int32_t refCount = 0;
  CGEventType type = kCGEventNull;
  CGEventFlags flags = 0;
  CGPoint location;  // Quartz global coordinates
  CGEventTimestamp timestamp = 0;
  int64_t integerFields[kCGEventFieldCount] = {};
  double doubleFields[kCGEventFieldCount] = {};
  char characters[16] = {};
  char charactersIgnoringModifiers[16] = {};
};

struct CGEventSource {
  CGEventSourceStateID state = kCGEventSourceStatePrivate;
  int64_t userData = 0;
};

struct EventTapProxy {};

struct MachPort {
  EventTapProxy proxy;
  CGEventTapLocation location = kCGSessionEventTap;
  CGEventTapOptions options = kCGEventTapOptionDefault;
  CGEventMask mask = 0;
  CGEventTapCallBack callback = nullptr;
  void* userInfo = nullptr;
  bool enabled = true;
  RunLoopSource* source = nullptr;
};

}  // namespace port

namespace vsession {

// Stores up to 15 bytes of text and its terminator, as a key event's characters.
void copyCharacters(char (&to)[16], std::string_view text);

}  // namespace vsession
