#include "accessibility_model.h"

#include <algorithm>
#include <cmath>
#include <memory>

namespace vsession {

using namespace port;
using Kind = AXUIElement::Kind;

namespace {

bool contains(const CGRect& r, double x, double y) {
  return rectContains(r, CGPoint{x, y});
}

// The deepest element under the point; later children lie above earlier ones.
AXUIElementRef deepestAt(AXUIElementRef element, double x, double y) {
  for (auto child = element->children.rbegin(); child != element->children.rend(); ++child) {
    if (contains((*child)->frame, x, y)) return deepestAt(*child, x, y);
  }
  return element;
}

AXValue elements(const std::vector<AXUIElementRef>& list) {
  auto array = std::make_shared<AXArray>();
  for (AXUIElementRef e : list) array->push_back(AXValue{e});
  return AXValue{array};
}

// How far a bar's area is scrolled, 0 at the start and 1 at the end, and whether there is
// anything to scroll.
double barValue(const AXUIElement& bar) {
  const AXUIElement& area = *bar.area;
  double visible = bar.vertical ? area.frame.size.height : area.frame.size.width;
  double content = bar.vertical ? area.content->height : area.content->width;
  double offset = bar.vertical ? area.offset.y : area.offset.x;
  if (content <= visible) return 0;
  return std::clamp(offset / (content - visible), 0.0, 1.0);
}

bool barEnabled(const AXUIElement& bar) {
  const AXUIElement& area = *bar.area;
  double visible = bar.vertical ? area.frame.size.height : area.frame.size.width;
  double content = bar.vertical ? area.content->height : area.content->width;
  return bar.enabled && content > visible;
}

const char* const kAttributeNames[] = {"AXRole",
                                       "AXPosition",
                                       "AXSize",
                                       "AXParent",
                                       "AXChildren",
                                       "AXTitle",
                                       "AXIdentifier",
                                       "AXURL",
                                       "AXEnabled",
                                       "AXWindow",
                                       "AXWindows",
                                       "AXVerticalScrollBar",
                                       "AXHorizontalScrollBar",
                                       "AXValue",
                                       "AXOrientation"};

}  // namespace

AXUIElementRef VirtualAccessibility::add(AXUIElement element) {
  return &nodes_.emplace_back(std::move(element));
}

AXUIElementRef VirtualAccessibility::addElement(UiSpec& described, AXUIElementRef parent,
                                                AXUIElementRef window, int32_t pid, int& areas) {
  AXUIElement e;
  e.kind = Kind::kElement;
  e.pid = pid;
  e.role = described.role;
  e.frame = described.frame;
  e.title = described.title;
  e.identifier = described.identifier;
  e.url = described.url;
  e.enabled = described.enabled;
  e.parent = parent;
  e.window = window;
  e.content = described.content;
  e.offset = described.offset;
  if (described.content) {
    e.described = &described;
    e.areaIndex = areas++;
  }
  AXUIElementRef node = add(std::move(e));
  parent->children.push_back(node);
  for (UiSpec& child : described.children) addElement(child, node, window, pid, areas);
  if (described.content) {
    // The bars lie over the area's right and bottom edges, above its other children.
    const CGRect& f = described.frame;
    auto bar = [&](bool vertical) {
      AXUIElement b;
      b.kind = Kind::kScrollBar;
      b.pid = pid;
      b.role = "AXScrollBar";
      b.frame = vertical ? CGRect{{f.origin.x + f.size.width - kScrollBarWidth, f.origin.y},
                                  {kScrollBarWidth, f.size.height}}
                         : CGRect{{f.origin.x, f.origin.y + f.size.height - kScrollBarWidth},
                                  {f.size.width, kScrollBarWidth}};
      b.parent = node;
      b.window = window;
      b.area = node;
      b.vertical = vertical;
      AXUIElementRef made = add(std::move(b));
      node->children.push_back(made);
      return made;
    };
    if (described.verticalBar) node->verticalBar = bar(true);
    if (described.horizontalBar) node->horizontalBar = bar(false);
  }
  return node;
}

void VirtualAccessibility::rebuild() {
  nodes_.clear();
  applications_.clear();
  windows_.clear();
  elementErrors_.clear();
  for (const VirtualApp& app : world_.apps) {
    AXUIElement a;
    a.kind = Kind::kApplication;
    a.pid = app.pid;
    a.role = "AXApplication";
    a.title = app.displayName();
    applications_[app.pid] = add(std::move(a));
  }
  for (VirtualWindow& w : world_.windows) {
    // A window of a process that is not a listed application (the agent's own overlays).
    auto owner = applications_.find(w.pid);
    if (owner == applications_.end()) {
      AXUIElement a;
      a.kind = Kind::kApplication;
      a.pid = w.pid;
      a.role = "AXApplication";
      owner = applications_.emplace(w.pid, add(std::move(a))).first;
    }
    AXUIElement window;
    window.kind = Kind::kWindow;
    window.pid = w.pid;
    window.role = "AXWindow";
    window.frame = w.frame;
    window.title = w.title;
    window.parent = owner->second;
    AXUIElementRef node = add(std::move(window));
    node->window = node;
    owner->second->children.push_back(node);
    windows_[w.number] = node;
    int areas = 0;
    for (UiSpec& described : w.ui) addElement(described, node, node, w.pid, areas);
  }
}

std::optional<ContentScroll> VirtualAccessibility::scrollContentAt(CGPoint p, double pixelsX,
                                                                   double pixelsY) {
  for (const VirtualWindow& w : world_.windows) {
    if (w.ignoresMouseEvents || !rectContains(w.frame, p)) continue;
    auto window = windows_.find(w.number);
    if (window == windows_.end()) return std::nullopt;
    AXUIElementRef area = deepestAt(window->second, p.x, p.y);
    while (area && !area->content) area = area->parent;
    if (!area) return std::nullopt;
    auto moved = [](double offset, double delta, double content, double visible) {
      double next = offset - delta;
      if (!std::isfinite(next)) return offset;
      return std::clamp(next, 0.0, std::max(0.0, content - visible));
    };
    CGPoint offset{moved(area->offset.x, pixelsX, area->content->width, area->frame.size.width),
                   moved(area->offset.y, pixelsY, area->content->height, area->frame.size.height)};
    if (offset.x == area->offset.x && offset.y == area->offset.y) return std::nullopt;
    area->offset = offset;
    if (area->described) area->described->offset = offset;
    return ContentScroll{w.pid, w.number, area->areaIndex, offset};
  }
  return std::nullopt;
}

AXUIElementRef VirtualAccessibility::createApplication(int32_t pid) {
  auto found = applications_.find(pid);
  return found == applications_.end() ? nullptr : found->second;
}

AXError VirtualAccessibility::check(AXUIElementRef element) {
  ++calls_;
  if (!trusted_) return kAXErrorAPIDisabled;
  if (!element) return kAXErrorIllegalArgument;
  if (auto e = elementErrors_.find(element); e != elementErrors_.end()) return e->second;
  if (auto a = appErrors_.find(element->pid); a != appErrors_.end()) return a->second;
  return kAXErrorSuccess;
}

AXError VirtualAccessibility::copyElementAtPosition(AXUIElementRef application, float x, float y,
                                                    AXUIElementRef* element) {
  *element = nullptr;
  if (AXError error = check(application)) return error;
  for (const VirtualWindow& w : world_.windows) {
    if (w.ignoresMouseEvents || !contains(w.frame, x, y)) continue;
    if (application->kind == Kind::kApplication && w.pid != application->pid) continue;
    auto node = windows_.find(w.number);
    if (node == windows_.end()) return kAXErrorCannotComplete;  // no tree for this window
    if (auto a = appErrors_.find(w.pid); a != appErrors_.end()) return a->second;
    *element = deepestAt(node->second, x, y);
    return kAXErrorSuccess;
  }
  return kAXErrorSuccess;  // the desktop: nothing the model describes
}

std::optional<AXValue> VirtualAccessibility::attribute(AXUIElementRef e,
                                                       std::string_view name) const {
  if (auto o = e->overrides.find(std::string(name)); o != e->overrides.end()) return o->second;
  if (name == "AXRole" && !e->role.empty()) return AXValue{e->role};
  if (e->kind == Kind::kSystemWide) return std::nullopt;
  if (name == "AXPosition" && e->kind != Kind::kApplication) return AXValue{e->frame.origin};
  if (name == "AXSize" && e->kind != Kind::kApplication) return AXValue{e->frame.size};
  if (name == "AXParent" && e->parent) return AXValue{e->parent};
  if (name == "AXChildren") return elements(e->children);
  if (name == "AXWindows" && e->kind == Kind::kApplication) return elements(e->children);
  if (name == "AXTitle" && !e->title.empty()) return AXValue{e->title};
  if (name == "AXIdentifier" && !e->identifier.empty()) return AXValue{e->identifier};
  if (name == "AXURL" && !e->url.empty()) return AXValue{AXURL{e->url}};
  if (name == "AXWindow" && e->window && e->kind != Kind::kWindow) return AXValue{e->window};
  if (name == "AXVerticalScrollBar" && e->verticalBar) return AXValue{e->verticalBar};
  if (name == "AXHorizontalScrollBar" && e->horizontalBar) return AXValue{e->horizontalBar};
  if (e->kind == Kind::kScrollBar) {
    if (name == "AXValue") return AXValue{barValue(*e)};
    if (name == "AXEnabled") return AXValue{barEnabled(*e)};
    if (name == "AXOrientation") {
      return AXValue{
          std::string(e->vertical ? "AXVerticalOrientation" : "AXHorizontalOrientation")};
    }
  }
  if (name == "AXEnabled" && e->kind == Kind::kElement) return AXValue{e->enabled};
  return std::nullopt;
}

AXError VirtualAccessibility::copyAttributeValue(AXUIElementRef element, std::string_view name,
                                                 AXValue* value) {
  if (AXError error = check(element)) return error;
  std::optional<AXValue> found = attribute(element, name);
  if (!found) return kAXErrorNoValue;
  *value = std::move(*found);
  return kAXErrorSuccess;
}

AXError VirtualAccessibility::copyAttributeNames(AXUIElementRef element,
                                                 std::vector<std::string>* names) {
  if (AXError error = check(element)) return error;
  names->clear();
  for (const char* name : kAttributeNames) {
    if (attribute(element, name)) names->push_back(name);
  }
  return kAXErrorSuccess;
}

AXError VirtualAccessibility::getPid(AXUIElementRef element, int32_t* pid) {
  if (AXError error = check(element)) return error;
  if (element->kind == Kind::kSystemWide) return kAXErrorIllegalArgument;
  *pid = element->pid;
  return kAXErrorSuccess;
}

}  // namespace vsession
