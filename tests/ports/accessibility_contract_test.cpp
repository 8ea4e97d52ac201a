// The accessibility interface: the agent finds what is under the cursor through the
// system-wide element, keeps elements in sets by CFEqual and CFHash (each copy a new handle),
// and bounds every call with a messaging timeout.
#include <algorithm>
#include <atomic>
#include <optional>
#include <string>

#include "contract.h"

namespace {

using namespace port;

class AccessibilityContract : public contract::PortContract {
 protected:
  Accessibility& ax() { return *ports().accessibility; }

  // The frontmost ordinary window of another application, from the window list.
  std::optional<WindowInfo> frontWindow() { return contract::frontWindow(ports()); }
};

// The trust test answers without prompting, whatever the answer; the system-wide element is
// one element however often it is made.
TEST_F(AccessibilityContract, TheTrustTestAnswersAndTheSystemWideElementIsOne) {
  ax().isProcessTrustedWithOptions(false);
  AXUIElementRef a = ax().createSystemWide();
  AXUIElementRef b = ax().createSystemWide();
  ASSERT_NE(a, nullptr);
  ASSERT_NE(b, nullptr);
  EXPECT_TRUE(ax().equal(a, b));
  EXPECT_EQ(ax().hash(a), ax().hash(b));
  if (trusted()) {
    EXPECT_EQ(ax().setMessagingTimeout(a, 0.25f), kAXErrorSuccess);
  }
  ax().release(a);
  ax().release(b);
}

TEST_F(AccessibilityContract, TwoCopiesOfTheElementUnderAWindowAreEqualWithEqualHashes) {
  if (!trusted()) GTEST_SKIP() << contract::kNeedsAccessibility;
  std::optional<WindowInfo> window = frontWindow();
  if (!window) GTEST_SKIP() << "no window of another application on screen to point at";
  float x = static_cast<float>(contract::centreOf(window->bounds).x);
  float y = static_cast<float>(contract::centreOf(window->bounds).y);

  AXUIElementRef systemWide = ax().createSystemWide();
  AXUIElementRef first = nullptr, second = nullptr;
  ASSERT_EQ(ax().copyElementAtPosition(systemWide, x, y, &first), kAXErrorSuccess);
  ASSERT_EQ(ax().copyElementAtPosition(systemWide, x, y, &second), kAXErrorSuccess);
  ASSERT_NE(first, nullptr);
  ASSERT_NE(second, nullptr);
  EXPECT_TRUE(ax().equal(first, second));
  EXPECT_EQ(ax().hash(first), ax().hash(second));

  int32_t pid = 0;
  ASSERT_EQ(ax().getPid(first, &pid), kAXErrorSuccess);
  EXPECT_EQ(pid, window->ownerPid) << "the element under a window belongs to its owner";
  AXValue role;
  ASSERT_EQ(ax().copyAttributeValue(first, "AXRole", &role), kAXErrorSuccess);
  ASSERT_TRUE(std::holds_alternative<std::string>(role.value));
  EXPECT_FALSE(std::get<std::string>(role.value).empty());
  std::vector<std::string> names;
  ASSERT_EQ(ax().copyAttributeNames(first, &names), kAXErrorSuccess);
  EXPECT_NE(std::find(names.begin(), names.end(), "AXRole"), names.end());

  // The application element of that process is the application, and a different element.
  AXUIElementRef app = ax().createApplication(pid);
  ASSERT_NE(app, nullptr);
  AXValue appRole;
  ASSERT_EQ(ax().copyAttributeValue(app, "AXRole", &appRole), kAXErrorSuccess);
  EXPECT_EQ(std::get<std::string>(appRole.value), "AXApplication");
  EXPECT_FALSE(ax().equal(app, first));

  // An element kept past its first release by a retain is still the element.
  ax().retain(first);
  ax().release(first);
  EXPECT_TRUE(ax().equal(first, second));
  void* pool = ports().threads->autoreleasePoolPush();
  ax().autorelease(first);
  ports().threads->autoreleasePoolPop(pool);
  ax().release(second);
  ax().release(app);
  ax().release(systemWide);
}

// Where no application's window is, over the desktop, the answer is an error with no element
// or the element of whoever owns the desktop; never success with nothing.
TEST_F(AccessibilityContract, APointOverTheDesktopIsNeverSuccessWithNoElement) {
  if (!trusted()) GTEST_SKIP() << contract::kNeedsAccessibility;
  std::vector<WindowInfo> windows = ports().windowServer->copyOnScreenWindowList();
  CGRect screen = ports().windowServer->screenFrames().at(0);
  std::optional<CGPoint> bare;
  for (double y = screen.size.height - 5; y > 30 && !bare; y -= 25) {
    for (double x = screen.size.width - 5; x > 5 && !bare; x -= 25) {
      bool covered = std::any_of(windows.begin(), windows.end(), [x, y](const WindowInfo& w) {
        return w.layer >= 0 && x >= w.bounds.origin.x &&
               x < w.bounds.origin.x + w.bounds.size.width && y >= w.bounds.origin.y &&
               y < w.bounds.origin.y + w.bounds.size.height;
      });
      if (!covered) bare = CGPoint{x, y};
    }
  }
  if (!bare) GTEST_SKIP() << "windows cover the whole main screen";
  AXUIElementRef systemWide = ax().createSystemWide();
  AXUIElementRef element = nullptr;
  AXError error = ax().copyElementAtPosition(systemWide, static_cast<float>(bare->x),
                                             static_cast<float>(bare->y), &element);
  if (error == kAXErrorSuccess) {
    EXPECT_NE(element, nullptr) << "success with no element";
  } else {
    EXPECT_EQ(element, nullptr);
  }
  if (element) ax().release(element);
  ax().release(systemWide);
}

// A call to an application that does not answer holds the calling thread until the messaging
// timeout and then fails; one that answers within it succeeds late. A tap served by a thread
// held past the tap timeout is disabled and told so once the thread is free.
TEST_F(AccessibilityContract, ACallToAHungApplicationTakesTheMessagingTimeoutThenFails) {
  if (!trusted()) GTEST_SKIP() << contract::kNeedsAccessibility;
  std::optional<WindowInfo> window = frontWindow();
  if (!window) GTEST_SKIP() << "no window of another application on screen to point at";
  float x = static_cast<float>(contract::centreOf(window->bounds).x);
  float y = static_cast<float>(contract::centreOf(window->bounds).y);
  Clock& clock = *ports().clock;
  AXUIElementRef systemWide = ax().createSystemWide();
  ASSERT_EQ(ax().setMessagingTimeout(systemWide, 0.25f), kAXErrorSuccess);

  if (!contract::applicationStopsAnswering(window->ownerPid, 10)) {
    ax().release(systemWide);
    GTEST_SKIP() << contract::kNeedsAHungApplication;
  }
  AXUIElementRef element = nullptr;
  double before = clock.absoluteTimeGetCurrent();
  EXPECT_EQ(ax().copyElementAtPosition(systemWide, x, y, &element), kAXErrorCannotComplete);
  double waited = clock.absoluteTimeGetCurrent() - before;
  EXPECT_GE(waited, 0.25);
  EXPECT_LT(waited, 1.0);
  EXPECT_EQ(element, nullptr);

  // Answering within the timeout: late, but whole.
  contract::runFor(10);
  contract::applicationStopsAnswering(window->ownerPid, 0.1);
  before = clock.absoluteTimeGetCurrent();
  ASSERT_EQ(ax().copyElementAtPosition(systemWide, x, y, &element), kAXErrorSuccess);
  EXPECT_GE(clock.absoluteTimeGetCurrent() - before, 0.1);
  ax().release(element);
  element = nullptr;

  // A thread that serves a tap, held past the tap timeout with no event waiting for the tap:
  // nothing times out.
  struct Notices {
    std::atomic<int> timeouts{0};
    static CGEventRef tap(CGEventTapProxy, CGEventType type, CGEventRef e, void* info) {
      if (type == kCGEventTapDisabledByTimeout) ++static_cast<Notices*>(info)->timeouts;
      return e;
    }
  };
  Notices& notices = contract::outliving<Notices>();
  QuartzEvents& q = *ports().quartz;
  CFMachPortRef tap =
      contract::tapOnMain(ports(), kCGEventTapOptionDefault, CGEventMaskBit(kCGEventScrollWheel),
                          Notices::tap, &notices);
  ASSERT_NE(tap, nullptr);
  ASSERT_EQ(ax().setMessagingTimeout(systemWide, 3.0f), kAXErrorSuccess);
  contract::applicationStopsAnswering(window->ownerPid, 10);
  EXPECT_EQ(ax().copyElementAtPosition(systemWide, x, y, &element), kAXErrorCannotComplete);
  EXPECT_TRUE(q.tapIsEnabled(tap));
  contract::runFor(0.5);
  EXPECT_EQ(notices.timeouts.load(), 0);
  ax().release(systemWide);
}

TEST_F(AccessibilityContract, AnAttributeTheElementLacksIsAnErrorNotAValue) {
  if (!trusted()) GTEST_SKIP() << contract::kNeedsAccessibility;
  AXUIElementRef systemWide = ax().createSystemWide();
  AXValue value;
  AXError error = ax().copyAttributeValue(systemWide, "AXVarselNoSuchAttribute", &value);
  EXPECT_NE(error, kAXErrorSuccess);
  ax().release(systemWide);
}

}  // namespace
