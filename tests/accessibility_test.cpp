// The accessibility helpers over the virtual session's accessibility trees: what each one
// reads, how errors and missing values come out, who owns the elements they hand back, and
// how a pass reads each attribute once.
#include <gtest/gtest.h>

#include "VAutils.h"
#include "agent_session.h"
#include "platform/virtual/ui_builders.h"

namespace {

using namespace port;
using testing_support::AgentSession;
using vsession::uiElement;

// A browser window: toolbar text over a web area that holds a scrolling document.
vsession::SessionConfig browser() {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  vsession::UiSpec area = uiElement("AXScrollArea", {{100, 160}, {800, 540}},
                                    {uiElement("AXStaticText", {{120, 200}, {300, 20}})});
  area.content = CGSize{800, 5540};
  area.offset = {0, 2500};
  area.verticalBar = area.horizontalBar = true;
  vsession::UiSpec web = uiElement("AXWebArea", {{100, 140}, {800, 560}}, {area});
  web.url = "https://example.com/doc";
  web.identifier = "content";
  vsession::UiSpec toolbar = uiElement("AXToolbar", {{100, 100}, {800, 40}});
  toolbar.title = "Tools";
  config.windows[0].ui = {toolbar, web};
  config.windows[0].title = "Doc";
  return config;
}

// Each test runs inside an autorelease pool of its own, as the agent's passes do.
class AccessibilityTest : public ::testing::Test {
 protected:
  AccessibilityTest()
      : agent(browser()),
        ax(agent.session().accessibility()),
        pool(agent.session().threading().autoreleasePoolPush()) {}
  ~AccessibilityTest() override { agent.session().threading().autoreleasePoolPop(pool); }

  // The element at a Quartz point, handed back autoreleased as the agent's helpers do.
  AXUIElementRef at(float x, float y) {
    AXUIElementRef system = ax.createSystemWide();
    AXUIElementRef e = nullptr;
    EXPECT_EQ(ax.copyElementAtPosition(system, x, y, &e), kAXErrorSuccess);
    ax.release(system);
    if (e) ax.autorelease(e);
    return e;
  }

  AgentSession agent;
  vsession::VirtualAccessibility& ax;
  void* pool;
};

TEST_F(AccessibilityTest, APassAsksForEachAttributeOfAnElementOnce) {
  AXUIElementRef text = at(150, 210);
  uint64_t calls = ax.calls();
  VAutils::role(text);
  VAutils::role(at(150, 210));
  EXPECT_EQ(ax.calls() - calls, 3u) << "outside a pass: two reads and the element query";

  size_t before = ax.liveElements();
  {
    AXReadsOfOnePass pass;
    calls = ax.calls();
    VAutils::role(text);
    VAutils::role(at(150, 210));  // another handle to the same element
    VAutils::windowElementForElement(text);
    VAutils::windowElementForElement(text);
    EXPECT_EQ(ax.calls() - calls, 3u) << "the role once, the window once, the element query";
    EXPECT_GT(ax.liveElements(), before);
  }
  EXPECT_EQ(ax.liveElements(), before) << "the pass's copies go with its pool";
}

TEST_F(AccessibilityTest, ScrollBarsFollowTheContentOffset) {
  AXUIElementRef area = at(150, 400);
  AXUIElementRef vertical = VAutils::verticalScrollBar(area);
  AXUIElementRef horizontal = VAutils::horizontalScrollBar(area);
  ASSERT_NE(vertical, nullptr);
  ASSERT_NE(horizontal, nullptr);
  EXPECT_FLOAT_EQ(VAutils::value(vertical), 0.5f);  // 2500 of 5540 - 540
  EXPECT_TRUE(VAutils::isEnabled(vertical));
  EXPECT_FALSE(VAutils::isEnabled(horizontal));  // nothing to scroll sideways
  EXPECT_EQ(VAutils::rectForElement(vertical), (IRect{160, 885, 700, 900}));
  ax.node(area).offset = {0, 5000};
  EXPECT_FLOAT_EQ(VAutils::value(vertical), 1.0f);
  EXPECT_TRUE(ax.equal(VAutils::parentOfUIElement(vertical), area));
}

TEST_F(AccessibilityTest, HelpersReadRolesWindowsUrlsAndWebAreaParents) {
  AXUIElementRef text = at(150, 210);
  EXPECT_TRUE(VAutils::hasWebAreaParent(text));
  EXPECT_FALSE(VAutils::hasWebAreaParent(at(150, 120)));  // the toolbar: its window comes first
  AXUIElementRef window = VAutils::windowElementForElement(text);
  EXPECT_EQ(VAutils::role(window), "AXWindow");
  EXPECT_EQ(VAutils::rectForElement(window), (IRect{100, 100, 700, 900}));
  EXPECT_EQ(VAutils::windowIdentifier(window), "Doc");  // no identifier: the title
  AXUIElementRef web = VAutils::parentOfUIElement(VAutils::parentOfUIElement(text));
  EXPECT_EQ(VAutils::urlScheme(web), "https");
  EXPECT_EQ(VAutils::windowIdentifier(web), "content");
  auto names = VAutils::attributeNamesOfUIElement(web);
  ASSERT_TRUE(names);
  EXPECT_NE(std::find(names->begin(), names->end(), "AXURL"), names->end());
  EXPECT_FALSE(VAutils::urlScheme(text));
}

TEST_F(AccessibilityTest, IdentifiersThatAreNotTextAreReadOrLogged) {
  vsession::AXNode& window = ax.node(VAutils::windowElementForElement(at(150, 210)));
  AXUIElementRef handle = VAutils::windowElementForElement(at(150, 210));
  window.overrides["AXIdentifier"] = AXValue{42.0};
  EXPECT_EQ(VAutils::windowIdentifier(handle), "42");
  window.overrides["AXIdentifier"] = AXValue{0.25};
  EXPECT_EQ(VAutils::windowIdentifier(handle), "0.25");
  window.overrides["AXIdentifier"] = AXValue{CGSize{1, 2}};
  EXPECT_EQ(VAutils::windowIdentifier(handle), "Doc");
  EXPECT_EQ(agent.session().logLines().back(), "Unknown window identifier type AXValue");
}

TEST_F(AccessibilityTest, NullElementsAndErrorsGiveNothingAndNullMakesNoCall) {
  uint64_t calls = ax.calls();
  EXPECT_FALSE(VAutils::role(nullptr));
  EXPECT_FALSE(VAutils::children(nullptr));
  EXPECT_FALSE(VAutils::attributeNamesOfUIElement(nullptr));
  EXPECT_EQ(VAutils::size(nullptr), CGSize{});
  EXPECT_EQ(VAutils::value(nullptr), 0.0f);
  EXPECT_FALSE(VAutils::isEnabled(nullptr));
  EXPECT_FALSE(VAutils::hasWebAreaParent(nullptr));
  EXPECT_EQ(VAutils::rectForElement(nullptr), IRect{});
  EXPECT_EQ(VAutils::windowIdentifier(nullptr), "");
  EXPECT_EQ(ax.calls(), calls);

  AXUIElementRef text = at(150, 210);
  AXUIElementRef area = at(150, 400);
  ax.failElement(ax.node(text), kAXErrorCannotComplete);
  EXPECT_FALSE(VAutils::role(at(150, 210)));  // every handle to that element fails
  EXPECT_EQ(VAutils::role(area), "AXScrollArea");
  ax.setTrusted(false);  // the permission is withdrawn: every call fails
  EXPECT_FALSE(VAutils::role(area));
}

TEST_F(AccessibilityTest, WebAreaSearchStopsAfterFortyTwoAncestors) {
  // A chain of groups under a web area: 41 groups between still finds it, 42 do not.
  for (int depth : {41, 42}) {
    vsession::UiSpec chain = uiElement("AXStaticText", {{110, 110}, {5, 5}});
    for (int i = 0; i < depth; ++i) chain = uiElement("AXGroup", {{100, 100}, {400, 400}}, {chain});
    agent.session().world().windows[0].ui = {
        uiElement("AXWebArea", {{100, 100}, {400, 400}}, {chain})};
    ax.rebuild();
    EXPECT_EQ(VAutils::hasWebAreaParent(at(111, 111)), depth == 41) << depth;
  }
}

TEST_F(AccessibilityTest, RectsTruncateTowardZeroFromTheTruncatedCorner) {
  AXUIElementRef text = at(150, 210);
  ax.node(text).frame = {{-10.7, 20.9}, {100.6, 50.5}};
  EXPECT_EQ(VAutils::rectForElement(text), (IRect{20, -10, 70, 90}));
  ax.node(text).overrides["AXPosition"] = AXValue{CGPoint{1e12, -1e12}};
  IRect huge = VAutils::rectForElement(text);
  EXPECT_EQ(huge.left, std::numeric_limits<int32_t>::max());
  EXPECT_EQ(huge.top, std::numeric_limits<int32_t>::min());
}

}  // namespace
