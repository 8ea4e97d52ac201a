// The accessibility interface of the virtual session: a tree per application (application,
// windows, and the elements the scenario describes), the system-wide element, the element at
// a position, the permission, and errors a test can inject per application or per element.
#pragma once

#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/api/accessibility.h"
#include "world.h"

namespace port {

struct AXUIElement {
  enum class Kind { kSystemWide, kApplication, kWindow, kElement, kScrollBar };
  Kind kind = Kind::kElement;
  int32_t pid = 0;
  std::string role;
  CGRect frame;  // Quartz global coordinates
  std::string title;
  std::string identifier;
  std::string url;
  bool enabled = true;
  AXUIElement* parent = nullptr;
  AXUIElement* window = nullptr;
  std::vector<AXUIElement*> children;
  // A scroll area: its content and offset (kept in step with the world's description, so
  // a rebuild keeps what was scrolled), its place among the window's areas, and its bars.
  std::optional<CGSize> content;
  CGPoint offset;
  vsession::UiSpec* described = nullptr;
  int areaIndex = -1;
  AXUIElement* verticalBar = nullptr;
  AXUIElement* horizontalBar = nullptr;
  // A scroll bar: the area it scrolls and its direction.
  AXUIElement* area = nullptr;
  bool vertical = true;
  std::map<std::string, AXValue> overrides;  // attribute values a test put in place
};

}  // namespace port

namespace vsession {

inline constexpr double kScrollBarWidth = 15;

// A scroll area's content moved.
struct ContentScroll {
  int32_t pid = 0;
  int64_t window = 0;
  int area = 0;  // the area's place among its window's scroll areas, depth first
  port::CGPoint offset;
};

class VirtualAccessibility final : public port::Accessibility {
 public:
  explicit VirtualAccessibility(World& world) : world_(world) {}

  // (Re)builds every application's tree from the world's windows.
  void rebuild();
  void setTrusted(bool trusted) { trusted_ = trusted; }
  bool trusted() const { return trusted_; }
  void failApplication(int32_t pid, port::AXError error) { appErrors_[pid] = error; }
  void failElement(port::AXUIElementRef element, port::AXError error) {
    elementErrors_[element] = error;
  }
  uint64_t calls() const { return calls_; }
  // The application under `p` scrolls the area there by a wheel event's pixel deltas
  // (positive: toward the start), clamped at the content's edges. Nothing when no area
  // is there or it is already at that edge.
  std::optional<ContentScroll> scrollContentAt(port::CGPoint p, double pixelsX, double pixelsY);

  port::AXUIElementRef createSystemWide() override { return &systemWide_; }
  port::AXUIElementRef createApplication(int32_t pid) override;
  port::AXError copyElementAtPosition(port::AXUIElementRef application, float x, float y,
                                      port::AXUIElementRef* element) override;
  port::AXError copyAttributeValue(port::AXUIElementRef element, std::string_view attribute,
                                   port::AXValue* value) override;
  port::AXError copyAttributeNames(port::AXUIElementRef element,
                                   std::vector<std::string>* names) override;
  port::AXError getPid(port::AXUIElementRef element, int32_t* pid) override;
  void retain(port::AXUIElementRef) override {}
  void release(port::AXUIElementRef) override {}
  bool isProcessTrustedWithOptions(bool) override { return trusted_; }
  bool apiEnabled() override { return trusted_; }

 private:
  port::AXUIElementRef add(port::AXUIElement element);
  port::AXUIElementRef addElement(UiSpec& described, port::AXUIElementRef parent,
                                  port::AXUIElementRef window, int32_t pid, int& areas);
  port::AXError check(port::AXUIElementRef element);
  std::optional<port::AXValue> attribute(port::AXUIElementRef e, std::string_view name) const;

  static port::AXUIElement systemWideElement() {
    port::AXUIElement e;
    e.kind = port::AXUIElement::Kind::kSystemWide;
    e.role = "AXSystemWide";
    return e;
  }

  World& world_;
  bool trusted_ = true;
  uint64_t calls_ = 0;
  port::AXUIElement systemWide_ = systemWideElement();
  std::deque<port::AXUIElement> nodes_;
  std::map<int32_t, port::AXUIElementRef> applications_;
  std::map<int64_t, port::AXUIElementRef> windows_;
  std::map<int32_t, port::AXError> appErrors_;
  std::map<port::AXUIElementRef, port::AXError> elementErrors_;
};

}  // namespace vsession
