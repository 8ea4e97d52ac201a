// What the virtual session's user sees and touches: screens, the cursor, the mouse buttons
// and modifier keys held, and the applications with their windows in z-order.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "platform/api/geometry.h"

namespace vsession {

// One element of a window's accessibility tree as a scenario describes it. A scroll area
// (content given) gets its scroll bars as children.
struct UiSpec {
  std::string role;
  port::CGRect frame;  // Quartz global coordinates
  std::vector<UiSpec> children;
  std::string identifier;
  std::string title;
  std::string url;
  bool enabled = true;
  bool handCursor = false;  // the application shows a hand cursor over the element
  std::optional<port::CGSize> content;
  port::CGPoint offset;
  bool verticalBar = false;
  bool horizontalBar = false;
};

struct VirtualWindow {
  int64_t number = 0;
  int32_t pid = 0;
  port::CGRect frame;  // Quartz global coordinates
  std::string title;
  int32_t layer = 0;
  bool ignoresMouseEvents = false;
  std::vector<UiSpec> ui;
};

struct VirtualApp {
  int32_t pid = 0;
  std::optional<std::string> bundleIdentifier;
  std::optional<std::string> name;  // localised
  std::string processName;
  std::optional<std::string> bundlePath;
  std::optional<std::string> executablePath;
  uint32_t fileType = 0x4150504C;  // 'APPL'
  uint32_t creator = 0;            // most modern applications have no creator code
  uint64_t eventsReceived = 0;
  // Seconds after the session's start and for how long the application answers no request
  // (it hangs): accessibility calls to it block until it answers or they time out.
  std::optional<std::pair<double, double>> hang;

  std::string displayName() const { return name.value_or(bundleIdentifier.value_or(processName)); }
};

struct World {
  std::vector<port::CGRect> screens;  // Quartz coordinates; the main screen first
  port::CGPoint cursor;               // Quartz coordinates
  uint64_t modifierFlags = 0;
  uint32_t pressedButtons = 0;  // bit N for button N
  uint64_t stylusButtons = 0;   // the tablet's buttonMask while a stylus button is held
  std::vector<VirtualApp> apps;
  std::vector<VirtualWindow> windows;  // front to back
  int32_t frontPid = 0;

  double mainScreenHeight() const { return screens.empty() ? 0 : screens[0].size.height; }
  // The owner of the frontmost window under `p` that takes mouse events; 0 for the desktop.
  int32_t pidAt(port::CGPoint p) const;
  VirtualApp* app(int32_t pid);
  // The nearest point that lies on a screen: the cursor cannot leave the screens.
  port::CGPoint clampToScreens(port::CGPoint p) const;
  // The cursor goes to `p` (kept on the screens), then `cursorMoved` is told.
  void moveCursor(port::CGPoint p);
  std::function<void()> cursorMoved;
  // Whether the application under `p` shows a hand cursor there: its frontmost window at the
  // point has an element with a hand cursor under it.
  bool handCursorAt(port::CGPoint p) const;
  port::CGPoint toCocoa(port::CGPoint quartz) const {
    return {quartz.x, mainScreenHeight() - quartz.y};
  }
};

bool rectContains(const port::CGRect& r, port::CGPoint p);

}  // namespace vsession
