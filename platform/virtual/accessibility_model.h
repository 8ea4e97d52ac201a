// The accessibility interface of the virtual session: a tree per application (application,
// windows, and the elements the scenario describes), the system-wide element, the element at
// a position, the permission, and errors a test can inject per application or per element.
//
// As on macOS, every element the interface hands out is a new object owned by the caller: a
// handle to a node of the tree, released by the caller or by the autorelease pool it was
// given to. Handles to one node are equal but never the same pointer, and the session
// counts the handles alive, so a leak or a comparison by pointer shows.
#pragma once

#include <cstdio>
#include <cstdlib>
#include <deque>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <unordered_set>
#include <utility>
#include <vector>

#include "platform/api/accessibility.h"
#include "threading.h"
#include "world.h"

namespace vsession {

// One element of an application's user interface.
struct AXNode {
  enum class Kind { kSystemWide, kApplication, kWindow, kElement, kScrollBar };
  Kind kind = Kind::kElement;
  int32_t pid = 0;
  std::string role;
  port::CGRect frame;  // Quartz global coordinates
  std::string title;
  std::string identifier;
  std::string url;
  bool enabled = true;
  AXNode* parent = nullptr;
  AXNode* window = nullptr;
  std::vector<AXNode*> children;
  // A scroll area: its content and offset (kept in step with the world's description, so
  // a rebuild keeps what was scrolled), its place among the window's areas, and its bars.
  std::optional<port::CGSize> content;
  port::CGPoint offset;
  UiSpec* described = nullptr;
  int areaIndex = -1;
  AXNode* verticalBar = nullptr;
  AXNode* horizontalBar = nullptr;
  // A scroll bar: the area it scrolls and its direction.
  AXNode* area = nullptr;
  bool vertical = true;
  std::map<std::string, port::AXValue> overrides;  // attribute values a test put in place
};

}  // namespace vsession

namespace port {

// A handle the interface handed out: the node it stands for, the tree that node belongs to
// (a rebuild makes older handles invalid, as a closed window's elements are), and its
// reference count.
struct AXUIElement {
  vsession::AXNode* node = nullptr;
  uint64_t tree = 0;
  int32_t references = 1;
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
  VirtualAccessibility(World& world, Threading& threading) : world_(world), threading_(threading) {}
  ~VirtualAccessibility() override;

  // (Re)builds every application's tree from the world's windows. Handles to the old trees
  // stay alive but answer kAXErrorInvalidUIElement.
  void rebuild();
  void setTrusted(bool trusted) { trusted_ = trusted; }
  bool trusted() const { return trusted_; }
  void failApplication(int32_t pid, port::AXError error) { appErrors_[pid] = error; }
  void failElement(const AXNode& element, port::AXError error) { elementErrors_[&element] = error; }
  // The node a live handle of the current trees stands for, for tests that reach into them.
  AXNode& node(port::AXUIElementRef element) {
    AXNode* node = nodeOf(element);
    if (ofAnEarlierTree(element)) {
      std::fprintf(stderr, "virtual session: an element of a tree that was rebuilt\n");
      std::abort();
    }
    return *node;
  }

  // Calls made into the interface (each one a round trip on a real system), and the
  // handles alive now.
  uint64_t calls() const { return calls_; }
  size_t liveElements() const { return live_.size(); }
  // From startReadLog on: how many attribute reads asked a node for an attribute it had
  // already been asked for.
  void startReadLog() {
    reads_.clear();
    repeatedReads_ = 0;
    logReads_ = true;
  }
  uint64_t repeatedReads() const { return repeatedReads_; }

  // The application under `p` scrolls the area there by a wheel event's pixel deltas
  // (positive: toward the start), clamped at the content's edges. Nothing when no area
  // is there or it is already at that edge.
  std::optional<ContentScroll> scrollContentAt(port::CGPoint p, double pixelsX, double pixelsY);
  // Every scroll area with its offset now, window by window.
  std::vector<ContentScroll> scrollAreas() const;

  port::AXUIElementRef createSystemWide() override { return handle(&systemWide_); }
  port::AXUIElementRef createApplication(int32_t pid) override;
  port::AXError copyElementAtPosition(port::AXUIElementRef application, float x, float y,
                                      port::AXUIElementRef* element) override;
  port::AXError copyAttributeValue(port::AXUIElementRef element, std::string_view attribute,
                                   port::AXValue* value) override;
  port::AXError copyAttributeNames(port::AXUIElementRef element,
                                   std::vector<std::string>* names) override;
  port::AXError getPid(port::AXUIElementRef element, int32_t* pid) override;
  port::AXError setMessagingTimeout(port::AXUIElementRef element, float seconds) override;
  // How long a call may wait for an application's answer: the system's default until the
  // agent sets one on the system-wide element.
  float messagingTimeout() const { return messagingTimeout_; }
  // Application `pid` answers no request from `from` to `until` (absolute times): a call to it
  // meanwhile blocks the calling thread until it answers or the messaging timeout passes, and
  // then fails with kAXErrorCannotComplete, as the system's does.
  void hangApplication(int32_t pid, double from, double until) { hangs_[pid] = {from, until}; }
  // How the calling thread waits `seconds` for an application's answer.
  void setWaiter(std::function<void(double seconds)> wait) { wait_ = std::move(wait); }
  static constexpr float kDefaultMessagingTimeout = 6.0f;
  void retain(port::AXUIElementRef element) override;
  void release(port::AXUIElementRef element) override;
  void autorelease(port::AXUIElementRef element) override;
  bool equal(port::AXUIElementRef a, port::AXUIElementRef b) override;
  size_t hash(port::AXUIElementRef element) override;
  bool isProcessTrustedWithOptions(bool) override { return trusted_; }
  bool apiEnabled() override { return trusted_; }

 private:
  AXNode* add(AXNode node);
  AXNode* addElement(UiSpec& described, AXNode* parent, AXNode* window, int32_t pid, int& areas);
  port::AXUIElementRef handle(AXNode* node);
  // The handle's node; a handle that was released is the caller's bug and ends the run.
  AXNode* nodeOf(port::AXUIElementRef element) const;
  port::AXError check(port::AXUIElementRef element);
  // A request that application `pid` must answer: kAXErrorSuccess once it has, or the
  // timeout's error after the messaging timeout of waiting for a hung one.
  port::AXError waitForAnswer(int32_t pid);
  // A handle to a tree that was rebuilt since: its node is gone (the system-wide element
  // belongs to no tree).
  bool ofAnEarlierTree(port::AXUIElementRef element) const {
    return element->tree != 0 && element->tree != tree_;
  }
  // The attribute as the application would answer it, with a new handle for every element.
  std::optional<port::AXValue> attribute(AXNode* e, std::string_view name);
  port::AXValue freshCopy(const port::AXValue& value);
  void releaseHandles(port::AXValue& value);
  static AXNode systemWideNode() {
    AXNode e;
    e.kind = AXNode::Kind::kSystemWide;
    e.role = "AXSystemWide";
    return e;
  }

  World& world_;
  Threading& threading_;
  bool trusted_ = true;
  uint64_t calls_ = 0;
  uint64_t tree_ = 0;
  AXNode systemWide_ = systemWideNode();
  std::deque<AXNode> nodes_;
  std::map<int32_t, AXNode*> applications_;
  std::map<int64_t, AXNode*> windows_;
  std::map<int32_t, port::AXError> appErrors_;
  std::map<const AXNode*, port::AXError> elementErrors_;
  std::unordered_set<port::AXUIElementRef> live_;
  std::set<std::pair<const AXNode*, std::string>> reads_;
  uint64_t repeatedReads_ = 0;
  bool logReads_ = false;
  float messagingTimeout_ = kDefaultMessagingTimeout;
  std::map<int32_t, std::pair<double, double>> hangs_;
  std::function<void(double)> wait_;
};

}  // namespace vsession
