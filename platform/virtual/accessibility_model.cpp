#include "accessibility_model.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>

namespace vsession {

using namespace port;
using Kind = AXNode::Kind;

namespace {

bool contains(const CGRect& r, double x, double y) {
  return rectContains(r, CGPoint{x, y});
}

// The deepest element under the point; later children lie above earlier ones.
AXNode* deepestAt(AXNode* element, double x, double y) {
  for (auto child = element->children.rbegin(); child != element->children.rend(); ++child) {
    if (contains((*child)->frame, x, y)) return deepestAt(*child, x, y);
  }
  return element;
}

// How far a bar's area is scrolled, 0 at the start and 1 at the end, and whether there is
// anything to scroll.
double barValue(const AXNode& bar) {
  const AXNode& area = *bar.area;
  double visible = bar.vertical ? area.frame.size.height : area.frame.size.width;
  double content = bar.vertical ? area.content->height : area.content->width;
  double offset = bar.vertical ? area.offset.y : area.offset.x;
  if (content <= visible) return 0;
  return std::clamp(offset / (content - visible), 0.0, 1.0);
}

bool barEnabled(const AXNode& bar) {
  const AXNode& area = *bar.area;
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

VirtualAccessibility::~VirtualAccessibility() {
  for (AXUIElementRef e : live_) delete e;
}

AXNode* VirtualAccessibility::add(AXNode node) {
  return &nodes_.emplace_back(std::move(node));
}

AXNode* VirtualAccessibility::addElement(UiSpec& described, AXNode* parent, AXNode* window,
                                         int32_t pid, int& areas) {
  AXNode e;
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
  AXNode* node = add(std::move(e));
  parent->children.push_back(node);
  for (UiSpec& child : described.children) addElement(child, node, window, pid, areas);
  if (described.content) {
    // The bars lie over the area's right and bottom edges, above its other children.
    const CGRect& f = described.frame;
    auto bar = [&](bool vertical) {
      AXNode b;
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
      AXNode* made = add(std::move(b));
      node->children.push_back(made);
      return made;
    };
    if (described.verticalBar) node->verticalBar = bar(true);
    if (described.horizontalBar) node->horizontalBar = bar(false);
  }
  return node;
}

void VirtualAccessibility::rebuild() {
  ++tree_;
  nodes_.clear();
  applications_.clear();
  windows_.clear();
  elementErrors_.clear();
  for (const VirtualApp& app : world_.apps) {
    AXNode a;
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
      AXNode a;
      a.kind = Kind::kApplication;
      a.pid = w.pid;
      a.role = "AXApplication";
      owner = applications_.emplace(w.pid, add(std::move(a))).first;
    }
    AXNode window;
    window.kind = Kind::kWindow;
    window.pid = w.pid;
    window.role = "AXWindow";
    window.frame = w.frame;
    window.title = w.title;
    window.parent = owner->second;
    AXNode* node = add(std::move(window));
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
    AXNode* area = deepestAt(window->second, p.x, p.y);
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

std::vector<ContentScroll> VirtualAccessibility::scrollAreas() const {
  std::vector<ContentScroll> out;
  for (const AXNode& node : nodes_) {
    if (!node.content || !node.window) continue;
    for (const auto& [number, window] : windows_) {
      if (window == node.window) out.push_back({node.pid, number, node.areaIndex, node.offset});
    }
  }
  return out;
}

AXUIElementRef VirtualAccessibility::handle(AXNode* node) {
  auto* made = new AXUIElement{node, node == &systemWide_ ? 0 : tree_, 1};
  live_.insert(made);
  return made;
}

AXNode* VirtualAccessibility::nodeOf(AXUIElementRef element) const {
  if (!live_.count(element)) {
    std::fprintf(stderr, "virtual session: an accessibility element was used after its release\n");
    std::abort();
  }
  return element->node;
}

void VirtualAccessibility::retain(AXUIElementRef element) {
  nodeOf(element);
  ++element->references;
}

void VirtualAccessibility::release(AXUIElementRef element) {
  nodeOf(element);
  if (--element->references > 0) return;
  live_.erase(element);
  delete element;
}

void VirtualAccessibility::autorelease(AXUIElementRef element) {
  nodeOf(element);
  threading_.autorelease(
      [](void* owner, void* object) {
        static_cast<VirtualAccessibility*>(owner)->release(static_cast<AXUIElementRef>(object));
      },
      this, element);
}

bool VirtualAccessibility::equal(AXUIElementRef a, AXUIElementRef b) {
  if (!a || !b) return a == b;
  nodeOf(a);
  nodeOf(b);
  return a->node == b->node && a->tree == b->tree;
}

size_t VirtualAccessibility::hash(AXUIElementRef element) {
  if (!element) return 0;
  return std::hash<const AXNode*>()(nodeOf(element));
}

// The same value with a new handle for every element in it, as every copy has.
AXValue VirtualAccessibility::freshCopy(const AXValue& value) {
  if (auto* e = std::get_if<AXUIElementRef>(&value.value)) {
    return *e ? AXValue{handle(nodeOf(*e))} : value;
  }
  if (auto* list = std::get_if<std::shared_ptr<AXArray>>(&value.value)) {
    auto copy = std::make_shared<AXArray>();
    if (*list) {
      for (const AXValue& item : **list) copy->push_back(freshCopy(item));
    }
    return AXValue{copy};
  }
  return value;
}

void VirtualAccessibility::releaseHandles(AXValue& value) {
  if (auto* e = std::get_if<AXUIElementRef>(&value.value)) release(*e);
  if (auto* list = std::get_if<std::shared_ptr<AXArray>>(&value.value)) {
    for (AXValue& item : **list) releaseHandles(item);
  }
}

AXUIElementRef VirtualAccessibility::createApplication(int32_t pid) {
  auto found = applications_.find(pid);
  return found == applications_.end() ? nullptr : handle(found->second);
}

AXError VirtualAccessibility::check(AXUIElementRef element) {
  ++calls_;
  if (!trusted_) return kAXErrorAPIDisabled;
  if (!element) return kAXErrorIllegalArgument;
  AXNode* node = nodeOf(element);
  if (ofAnEarlierTree(element)) return kAXErrorInvalidUIElement;
  if (auto e = elementErrors_.find(node); e != elementErrors_.end()) return e->second;
  if (auto a = appErrors_.find(node->pid); a != appErrors_.end()) return a->second;
  return kAXErrorSuccess;
}

AXError VirtualAccessibility::waitForAnswer(int32_t pid) {
  auto hang = hangs_.find(pid);
  if (hang == hangs_.end()) return kAXErrorSuccess;
  double now = threading_.absoluteTimeGetCurrent();
  auto [from, until] = hang->second;
  if (now < from || now >= until) return kAXErrorSuccess;
  double timeout = messagingTimeout_;
  double wait = std::min(until - now, timeout);
  if (wait_) {
    wait_(wait);
  } else {
    threading_.sleepForTimeInterval(wait);
  }
  return until - now > timeout ? kAXErrorCannotComplete : kAXErrorSuccess;
}

AXError VirtualAccessibility::copyElementAtPosition(AXUIElementRef application, float x, float y,
                                                    AXUIElementRef* element) {
  *element = nullptr;
  if (AXError error = check(application)) return error;
  const AXNode* asked = application->node;
  for (const VirtualWindow& w : world_.windows) {
    if (w.ignoresMouseEvents || !contains(w.frame, x, y)) continue;
    if (asked->kind == Kind::kApplication && w.pid != asked->pid) continue;
    auto node = windows_.find(w.number);
    if (node == windows_.end()) return kAXErrorCannotComplete;  // no tree for this window
    if (auto a = appErrors_.find(w.pid); a != appErrors_.end()) return a->second;
    if (AXError error = waitForAnswer(w.pid)) return error;
    *element = handle(deepestAt(node->second, x, y));
    return kAXErrorSuccess;
  }
  // The desktop, or a point no window covers: no element there, as the system answers for a
  // point where it finds none ("the requested value or element does not exist").
  return kAXErrorNoValue;
}

std::optional<AXValue> VirtualAccessibility::attribute(AXNode* e, std::string_view name) {
  auto element = [this](AXNode* node) { return AXValue{handle(node)}; };
  auto elements = [this](const std::vector<AXNode*>& list) {
    auto array = std::make_shared<AXArray>();
    for (AXNode* node : list) array->push_back(AXValue{handle(node)});
    return AXValue{array};
  };
  if (auto o = e->overrides.find(std::string(name)); o != e->overrides.end()) {
    return freshCopy(o->second);
  }
  if (name == "AXRole" && !e->role.empty()) return AXValue{e->role};
  if (e->kind == Kind::kSystemWide) return std::nullopt;
  if (name == "AXPosition" && e->kind != Kind::kApplication) return AXValue{e->frame.origin};
  if (name == "AXSize" && e->kind != Kind::kApplication) return AXValue{e->frame.size};
  if (name == "AXParent" && e->parent) return element(e->parent);
  if (name == "AXChildren") return elements(e->children);
  if (name == "AXWindows" && e->kind == Kind::kApplication) return elements(e->children);
  if (name == "AXTitle" && !e->title.empty()) return AXValue{e->title};
  if (name == "AXIdentifier" && !e->identifier.empty()) return AXValue{e->identifier};
  if (name == "AXURL" && !e->url.empty()) return AXValue{AXURL{e->url}};
  if (name == "AXWindow" && e->window && e->kind != Kind::kWindow) return element(e->window);
  if (name == "AXVerticalScrollBar" && e->verticalBar) return element(e->verticalBar);
  if (name == "AXHorizontalScrollBar" && e->horizontalBar) return element(e->horizontalBar);
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
  if (AXError error = waitForAnswer(element->node->pid)) return error;
  if (logReads_ && !reads_.emplace(element->node, std::string(name)).second) ++repeatedReads_;
  std::optional<AXValue> found = attribute(element->node, name);
  if (!found) return kAXErrorNoValue;
  *value = std::move(*found);
  return kAXErrorSuccess;
}

AXError VirtualAccessibility::copyAttributeNames(AXUIElementRef element,
                                                 std::vector<std::string>* names) {
  if (AXError error = check(element)) return error;
  if (AXError error = waitForAnswer(element->node->pid)) return error;
  names->clear();
  for (const char* name : kAttributeNames) {
    std::optional<AXValue> value = attribute(element->node, name);
    if (!value) continue;
    releaseHandles(*value);
    names->push_back(name);
  }
  return kAXErrorSuccess;
}

AXError VirtualAccessibility::getPid(AXUIElementRef element, int32_t* pid) {
  if (AXError error = check(element)) return error;
  if (element->node->kind == Kind::kSystemWide) return kAXErrorIllegalArgument;
  *pid = element->node->pid;
  return kAXErrorSuccess;
}

// Negative is refused and 0 restores the default, as documented. An element's own timeout
// would outrank the global one for that element; the agent sets only the global one, so
// only that is kept.
AXError VirtualAccessibility::setMessagingTimeout(AXUIElementRef element, float seconds) {
  if (AXError error = check(element)) return error;
  if (seconds < 0) return kAXErrorIllegalArgument;
  if (element->node->kind == Kind::kSystemWide) {
    messagingTimeout_ = seconds == 0 ? kDefaultMessagingTimeout : seconds;
  }
  return kAXErrorSuccess;
}

}  // namespace vsession
