// The virtual session's event record: one plain record carries both the Quartz view
// (type, flags, location, numbered fields) and the Cocoa view of an event.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

#include "platform/api/events.h"

namespace port {

// A key event's characters as UTF-8 bytes, kept in the record so that making an event
// allocates nothing; up to 31 bytes, any byte value (a NUL character included).
struct KeyText {
  static constexpr size_t kCapacity = 31;
  char bytes[kCapacity] = {};
  uint8_t length = 0;

  std::string_view view() const { return {bytes, length}; }
  // Keeps the first kCapacity bytes of `text`.
  void assign(std::string_view text);
};

struct CGEvent {
  int32_t refCount = 0;
  CGEventType type = kCGEventNull;
  CGEventFlags flags = 0;
  CGPoint location;  // Quartz global coordinates
  CGEventTimestamp timestamp = 0;
  int64_t integerFields[kCGEventFieldCount] = {};
  double doubleFields[kCGEventFieldCount] = {};
  KeyText characters;
  KeyText charactersIgnoringModifiers;
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
