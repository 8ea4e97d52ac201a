#include "VAux.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <functional>
#include <initializer_list>
#include <optional>
#include <string>
#include <vector>

#include "VAstate.h"
#include "VAutils.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {

VAuxStatics s;

// How many times the walk may climb from the element under the cursor towards its window.
constexpr int32_t kClimbs = 40;
// After made-up bars, this many passes in all (four skipped) before the window is looked at
// again.
constexpr int32_t kSkipAfterMadeUpBars = 5;
constexpr int32_t kMaxNonAXDepth = 20;

std::string lowercased(const BidRef& bid) {
  std::string text = bid ? *bid : std::string();
  std::transform(text.begin(), text.end(), text.begin(),
                 [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
  return text;
}

bool contains(const std::string& text, const char* part) {
  return text.find(part) != std::string::npos;
}

bool isOneOf(const std::optional<std::string>& role, std::initializer_list<const char*> roles) {
  if (!role) return false;
  return std::any_of(roles.begin(), roles.end(), [&](const char* r) { return *role == r; });
}

// Main-screen height in Cocoa terms: the line that turns accessibility y into Cocoa y.
int32_t flipLine() {
  CGRect main = utils_mainScreenFrame();
  return static_cast<int32_t>(std::trunc(main.origin.y + main.size.height));
}

void flip(IRect* r, int32_t h) {
  r->top = h - r->top;
  r->bottom = h - r->bottom;
}

Sbar* entries(Bars* b, int i) {
  Sbar* all[] = {&b->up, &b->down, &b->left, &b->right};
  return all[i];
}

// up and down cover `rect` without a real bar behind them.
void makeUpVerticalEntries(const IRect& rect) {
  double t = utils_now();
  for (Sbar* e : {s.upSbar, s.downSbar}) {
    e->rect = rect;
    e->found = 1;
    e->value = kMadeUpBarValue;
    e->foundTime = t;
  }
}

int32_t pidOf(AXUIElementRef element) {
  int32_t pid = 0;
  if (!element || platform().accessibility->getPid(element, &pid) != kAXErrorSuccess) return 0;
  return pid;
}

}  // namespace

VAuxStatics& VAux_statics() {
  return s;
}

void VAux_reset() {
  s = VAuxStatics{};
}

namespace {
// How much of `id` the record holds: never ending inside a UTF-8 sequence.
size_t inlineLength(std::string_view id) {
  size_t length = std::min(id.size(), InlineIdentifier::kCapacity - 1);
  if (length < id.size()) {
    while (length > 0 && (static_cast<unsigned char>(id[length]) & 0xC0) == 0x80) --length;
  }
  return length;
}
}  // namespace

void InlineIdentifier::assign(std::string_view id) {
  size_t length = inlineLength(id);
  id.copy(text, length);
  text[length] = '\0';
  wholeHash = std::hash<std::string_view>()(id);
  present = 1;
}

bool InlineIdentifier::holds(std::string_view id) const {
  return present && wholeHash == std::hash<std::string_view>()(id) &&
         std::string_view(text) == id.substr(0, inlineLength(id));
}

namespace {
// Every question about what is under the cursor goes through the system-wide element, whose
// messaging timeout is every element's. An application that hangs under the cursor would
// otherwise hold the main thread, and the key tap on it, for the system's 6 s on each call.
// A quarter of a second is far more than a live application takes (a few milliseconds),
// keeps a keystroke typed meanwhile late by no more than that, and stays well under the
// event taps' own timeout, so the system never disables the key tap over a hung application.
constexpr float kMessagingTimeout = 0.25f;

// Set again until it takes: without the permission the system refuses it, and the agent
// makes the element before the permission comes.
AXUIElementRef systemWide() {
  Accessibility& ax = *platform().accessibility;
  if (!s.systemWideElement) s.systemWideElement = ax.createSystemWide();
  if (s.systemWideElement && !s.messagingTimeoutSet) {
    s.messagingTimeoutSet =
        ax.setMessagingTimeout(s.systemWideElement, kMessagingTimeout) == kAXErrorSuccess;
  }
  return s.systemWideElement;
}
}  // namespace

int32_t VAux::updateAppUnderCursor(CGPoint p) {
  Accessibility& ax = *platform().accessibility;
  if (s.cursorElement) ax.release(s.cursorElement);
  s.cursorElement = nullptr;
  systemWide();

  CGPoint q = carbonScreenPointFromCocoaScreenPoint(p);
  int64_t w = platform().windowServer->windowNumberAtPoint(p, 0);
  bool sameWindow = w == s.sWindowNumberUnderCursor;
  if (sameWindow) {
    // No accessibility work for an application in which the agent does nothing.
    if (s.lastPid != 0 && bgDelegate::isDisabledForPid(s.lastPid)) return s.lastPid;
  } else {
    bgDelegate::changedWindowAtCursor(static_cast<int32_t>(w));
    s.sWindowNumberUnderCursor = w;
  }

  AXUIElementRef element = nullptr;
  AXError error = ax.copyElementAtPosition(s.systemWideElement, static_cast<float>(q.x),
                                           static_cast<float>(q.y), &element);
  if (error != kAXErrorSuccess) {
    // An application that keeps failing is given up on now and then (-1), but only failures
    // at new points count.
    if (error == kAXErrorFailure && (p.x != s.lastpoint.x || p.y != s.lastpoint.y)) {
      s.lastpoint = p;
      if (s.errCount >= 30) {
        s.errCount = 0;
        return -1;
      }
      ++s.errCount;
    }
    return 0;
  }
  if (!element) return -2;

  s.cursorElement = element;
  s.errCount = 0;
  if (sameWindow && s.lastPid != 0) return s.lastPid;
  s.lastPid = pidOf(element);
  return s.lastPid;
}

int32_t VAux::updateAppUnderCursor_centered_wRect(CGPoint p, bool centered, IRect* r) {
  int32_t pid = updateAppUnderCursor(p);
  IRect wr = VAutils::rectForElement(VAutils::windowElementForElement(s.cursorElement));
  int32_t h = flipLine();
  *r = {h - wr.top, wr.left, h - wr.bottom, wr.right};
  if (centered) {
    CGPoint centre{static_cast<double>(wr.left + (wr.right - wr.left) / 2),
                   static_cast<double>((h - wr.bottom) + (wr.bottom - wr.top) / 2)};
    pid = updateAppUnderCursor(centre);
  }
  if (pid != 0) return pid;
  return platform().workspace->frontProcessPid() == 0 ? -2 : 0;
}

// The frontmost ordinary window (layer 0, shared, not the agent's) is the one under the
// cursor. Chrome shows a window's popups and bubbles as a second window of its own in
// front, so there the second may answer too.
bool VAux::isCurrentWindowFrontMost() {
  int32_t self = platform().application->processIdentifier();
  std::vector<const WindowInfo*> ordinary;
  std::vector<WindowInfo> list = platform().windowServer->copyOnScreenWindowList();
  for (const WindowInfo& w : list) {
    if (w.sharingState == 0 || w.ownerPid == self || w.layer != 0) continue;
    ordinary.push_back(&w);
    if (ordinary.size() == 2) break;
  }
  if (ordinary.empty()) return false;
  if (ordinary[0]->number == s.sWindowNumberUnderCursor) return true;
  BidRef bid = state_currentAppBid();
  if (ordinary.size() < 2 || !bid || *bid != "com.google.Chrome") return false;
  if (ordinary[1]->ownerPid != ordinary[0]->ownerPid) return false;
  return ordinary[1]->number == s.sWindowNumberUnderCursor;
}

void VAux::tryAssistive() {
  Accessibility& ax = *platform().accessibility;
  AXUIElementRef element = nullptr;
  ax.copyElementAtPosition(systemWide(), 100, 100, &element);
  if (element) ax.release(element);
}

void VAux::updateBars_andWindowRect(Bars* b, IRect* r) {
  int32_t skipsLeft = s.skipRedoCount--;
  if (skipsLeft > 1 && b->windowNumber == static_cast<uint64_t>(s.sWindowNumberUnderCursor) &&
      b->nonAXbars) {
    return;
  }

  s.upSbar = &b->up;
  s.downSbar = &b->down;
  s.leftSbar = &b->left;
  s.rightSbar = &b->right;
  for (int i = 0; i < 4; ++i) {
    Sbar* e = entries(b, i);
    e->wasFound = e->found;
    e->prevValue = e->value;
    e->prevFoundTime = e->foundTime;
    e->found = 0;
  }
  b->windowNumber = static_cast<uint64_t>(s.sWindowNumberUnderCursor);
  b->nonAXbars = 0;
  state_setCursorOverDockGrid(false);

  std::optional<std::string> role = VAutils::role(s.cursorElement);
  if (isOneOf(role, {"AXMenu", "AXMenuItem", "AXMenuBar", "AXMenuBarItem"})) return;

  // The walk: up from the element under the cursor, collecting the bars of the areas and
  // groups on the way, until the window.
  AXUIElementRef current = s.cursorElement;
  AXUIElementRef childToSkip = nullptr;
  AXUIElementRef window = nullptr;
  int32_t climbsLeft = kClimbs;
  // A bar under the cursor is taken with its parent at once and the walk climbs from it.
  bool lookedAt = false;
  if (role == "AXScrollBar") {
    if (AXUIElementRef parent = VAutils::parentOfUIElement(current)) {
      addIfValid_sbar_parent(current, parent);
      lookedAt = true;
    }
  }
  for (;; lookedAt = false) {
    if (!lookedAt) {
      // A deliberate trace kept for those applications, whose trees are unusual.
      if (contains(lowercased(state_currentAppBid()), "microsoft")) {
        platform().systemLog->log("role: " + role.value_or("(null)"));
      }
      if (isOneOf(role, {"AXWindow", "AXDrawer", "AXSheet"})) {
        window = current;
        break;
      }
      if (role == "AXScrollArea") {
        processScrollArea(current);
      } else if (role == "AXGroup") {
        if (!VAutils::hasWebAreaParent(current)) {
          checkChildrenOfElement_childToSkip(current, childToSkip);
        }
      } else if (role == "AXDockItem") {
        state_setCursorOverDockGrid(true);
        break;
      }
    }
    if (areAllSbarsFound() || climbsLeft < 2) break;
    --climbsLeft;
    AXUIElementRef parent = VAutils::parentOfUIElement(current);
    if (!parent) break;
    std::optional<std::string> parentRole = VAutils::role(parent);
    if (!parentRole) {
      platform().systemLog->log(
          "Could not get accessibility role of element under cursor in application " +
          std::to_string(pidOf(s.cursorElement)));
      break;
    }
    childToSkip = current;
    current = parent;
    role = std::move(parentRole);
  }
  if (!window) window = VAutils::windowElementForElement(current);
  if (!window) window = VAutils::windowElementForElement(s.cursorElement);
  if (!window) window = s.cursorElement;

  IRect wr = VAutils::rectForElement(window);
  for (int i = 0; i < 4; ++i) intersect_rectPtr_withRect(&entries(b, i)->rect, wr);
  *r = wr;

  std::string id = VAutils::windowIdentifier(window);
  if (!b->windowIdentifier.holds(id)) {
    b->windowIdentifier.assign(id);
    for (int i = 0; i < 4; ++i) entries(b, i)->wasFound = 0;
  }

  if (!b->up.found && !b->down.found && !b->left.found && !b->right.found) {
    // Content that accessibility does not describe still scrolls: zones along the window,
    // below its toolbar. Office draws its own, taller ribbons.
    std::string bid = lowercased(state_currentAppBid());
    std::optional<std::pair<int32_t, int32_t>> insets;
    if (contains(bid, "microsoft")) {
      if (contains(bid, "excel")) {
        insets = {190, -40};
      } else if (contains(bid, "word")) {
        insets = {150, -20};
      } else {
        insets = {120, -25};
      }
    } else if (window_withRect_hasNoScrollAreaAndMayHaveNonAX(wr, window)) {
      insets = {120, -25};
    }
    if (insets) {
      s.skipRedoCount = kSkipAfterMadeUpBars;
      b->nonAXbars = 1;
      makeUpVerticalEntries(
          {wr.top + insets->first, wr.left, wr.bottom + insets->second, wr.right});
    }
  }

  utils_cacheNSScreenFrames_force(false);
  int32_t h = flipLine();
  for (int i = 0; i < 4; ++i) flip(&entries(b, i)->rect, h);
  flip(r, h);
}

void addIfValid_sbar_parent(AXUIElementRef bar, AXUIElementRef parent) {
  if (!VAutils::isEnabled(bar)) return;
  IRect br = VAutils::rectForElement(bar);
  float v = VAutils::value(bar);
  double t = utils_now();
  auto fill = [&](Sbar* e, const IRect& rect) {
    e->rect = rect;
    e->found = 1;
    e->value = v;
    e->foundTime = t;
  };
  // A square bar counts as horizontal.
  bool vertical = br.right - br.left < br.bottom - br.top;
  if (vertical) {
    bool filledUp = false;
    if (v > 0 && !s.upSbar->found) {
      IRect rect = VAutils::rectForElement(parent);
      limit_rectPtr_toRectPtr_alongVerticalAxis(&rect, &br, true);
      fill(s.upSbar, rect);
      filledUp = true;
    }
    if (v < 1 && !s.downSbar->found) {
      IRect rect = s.upSbar->rect;
      if (!filledUp) {
        rect = VAutils::rectForElement(parent);
        limit_rectPtr_toRectPtr_alongVerticalAxis(&rect, &br, true);
      }
      fill(s.downSbar, rect);
    }
    return;
  }
  auto limited = [&] {
    IRect rect = VAutils::rectForElement(parent);
    rect.left = std::max(rect.left, br.left);
    rect.right = std::min(rect.right, br.right);
    return rect;
  };
  bool filledLeft = false;
  if (v > 0 && !s.leftSbar->found) {
    fill(s.leftSbar, limited());
    filledLeft = true;
  }
  if (v < 1 && !s.rightSbar->found) fill(s.rightSbar, filledLeft ? s.leftSbar->rect : limited());
}

// Along the vertical axis only a bar that starts at or below the area's top narrows it: a
// bar that starts above leaves the whole area.
void limit_rectPtr_toRectPtr_alongVerticalAxis(IRect* rect, const IRect* limit, bool vertical) {
  if (vertical) {
    if (limit->top >= rect->top) {
      rect->top = limit->top;
      rect->bottom = std::min(rect->bottom, limit->bottom);
    }
    return;
  }
  rect->left = std::max(rect->left, limit->left);
  rect->right = std::min(rect->right, limit->right);
}

void processScrollArea(AXUIElementRef area) {
  std::optional<std::vector<AXUIElementRef>> children = VAutils::children(area);
  // An area that shows nothing accessible still scrolls as a whole.
  if (!children || children->empty()) {
    makeUpVerticalEntries(VAutils::rectForElement(area));
    return;
  }
  if (!s.upSbar->found || !s.downSbar->found) {
    if (AXUIElementRef bar = VAutils::verticalScrollBar(area)) addIfValid_sbar_parent(bar, area);
    // Safari's reader view does not report its own bar.
    if (!s.downSbar->found && children->size() == 2 &&
        VAutils::role((*children)[0]) == "AXWebArea" &&
        VAutils::urlScheme((*children)[0]) == "safari-reader") {
      makeUpVerticalEntries(VAutils::rectForElement(area));
      return;
    }
  }
  if (!s.leftSbar->found || !s.rightSbar->found) {
    if (AXUIElementRef bar = VAutils::horizontalScrollBar(area)) addIfValid_sbar_parent(bar, area);
  }
}

// The branch the walk came up from was looked at already.
void checkChildrenOfElement_childToSkip(AXUIElementRef element, AXUIElementRef childToSkip) {
  std::optional<std::vector<AXUIElementRef>> children = VAutils::children(element);
  if (!children) return;
  for (AXUIElementRef child : *children) {
    if (!child || (childToSkip && platform().accessibility->equal(child, childToSkip))) continue;
    if (VAutils::role(child) == "AXScrollBar") addIfValid_sbar_parent(child, element);
  }
}

bool areAllSbarsFound() {
  return s.upSbar->found && s.downSbar->found && s.leftSbar->found && s.rightSbar->found;
}

bool window_withRect_hasNoScrollAreaAndMayHaveNonAX(IRect wr, AXUIElementRef window) {
  int32_t height = wr.bottom - wr.top;
  int32_t width = wr.right - wr.left;
  if (height < 200 || width < 80) return false;
  NonAXvars state;
  if (!checkChildrenOfElement_nonAXvars(window, &state)) return false;
  if (state.mayHaveNonAX) return true;
  return static_cast<float>(width) * static_cast<float>(height) * 0.3f > state.childArea;
}

bool checkChildrenOfElement_nonAXvars(AXUIElementRef element, NonAXvars* state) {
  std::optional<std::vector<AXUIElementRef>> children = VAutils::children(element);
  if (!children) return true;
  for (AXUIElementRef child : *children) {
    CGSize size = VAutils::size(child);
    state->childArea += static_cast<float>(size.width * size.height);
    std::optional<std::string> role = VAutils::role(child);
    if (isOneOf(role, {"AXScrollArea", "AXBrowser"})) return false;
    if (size.height < state->minHeight || size.width < state->minWidth) continue;
    std::optional<std::vector<AXUIElementRef>> grandchildren = VAutils::children(child);
    if (grandchildren && !grandchildren->empty()) {
      if (state->depth > kMaxNonAXDepth) return false;
      ++state->depth;
      bool clear = checkChildrenOfElement_nonAXvars(child, state);
      --state->depth;
      if (!clear) return false;
    } else if (!isOneOf(role, {"AXImage", "AXTextField", "AXTextArea", "AXStaticText"})) {
      // A big leaf that is neither picture nor text: probably drawn content.
      state->mayHaveNonAX = 1;
    }
  }
  return true;
}
