// The accessibility helpers over the virtual session's accessibility trees: what each one
// reads, how errors and missing values come out, and the model's scroll bars and hit tests.
#include <gtest/gtest.h>

#include "VAutils.h"
#include "agent_session.h"

namespace {

using namespace port;
using testing_support::AgentSession;

vsession::UiSpec ui(std::string role, CGRect frame, std::vector<vsession::UiSpec> children = {}) {
  vsession::UiSpec described;
  described.role = std::move(role);
  described.frame = frame;
  described.children = std::move(children);
  return described;
}

// A browser window: toolbar text over a web area that holds a scrolling document.
vsession::SessionConfig browser() {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  vsession::UiSpec area = ui("AXScrollArea", {{100, 160}, {800, 540}});
  area.content = CGSize{800, 5540};
  area.offset = {0, 2500};
  area.verticalBar = area.horizontalBar = true;
  area.children = {ui("AXStaticText", {{120, 200}, {300, 20}})};
  vsession::UiSpec web = ui("AXWebArea", {{100, 140}, {800, 560}}, {area});
  web.url = "https://example.com/doc";
  web.identifier = "content";
  vsession::UiSpec toolbar = ui("AXToolbar", {{100, 100}, {800, 40}});
  toolbar.title = "Tools";
  config.windows[0].ui = {toolbar, web};
  config.windows[0].title = "Doc";
  return config;
}

class AccessibilityTest : public ::testing::Test {
 protected:
  AccessibilityTest() : agent(browser()), ax(agent.session().accessibility()) {}

  AXUIElementRef at(float x, float y) {
    AXUIElementRef e = nullptr;
    EXPECT_EQ(ax.copyElementAtPosition(ax.createSystemWide(), x, y, &e), kAXErrorSuccess);
    return e;
  }

  AgentSession agent;
  vsession::VirtualAccessibility& ax;
};

TEST_F(AccessibilityTest, ElementAtAPointIsTheDeepestInTheFrontWindowThere) {
  EXPECT_EQ(VAutils::role(at(150, 210)), "AXStaticText");
  EXPECT_EQ(VAutils::role(at(150, 400)), "AXScrollArea");
  EXPECT_EQ(VAutils::role(at(890, 400)), "AXScrollBar");  // the area's rightmost 15 points
  EXPECT_EQ(VAutils::role(at(150, 120)), "AXToolbar");
  EXPECT_EQ(VAutils::role(at(1000, 300)), "AXWindow");  // Editor's window, no tree of its own
  EXPECT_EQ(at(20, 20), nullptr);                       // the desktop
  agent.session().world().windows[0].ignoresMouseEvents = true;
  EXPECT_EQ(VAutils::role(at(750, 300)), "AXWindow");  // the point goes through to Editor
  int32_t pid = 0;
  ax.getPid(at(750, 300), &pid);
  EXPECT_EQ(pid, 502);
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
  area->offset = {0, 0};
  EXPECT_FLOAT_EQ(VAutils::value(vertical), 0.0f);
  area->offset = {0, 5000};
  EXPECT_FLOAT_EQ(VAutils::value(vertical), 1.0f);
  EXPECT_EQ(VAutils::parentOfUIElement(vertical), area);
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
  EXPECT_EQ(VAutils::children(web)->size(), 1u);
  auto names = VAutils::attributeNamesOfUIElement(web);
  ASSERT_TRUE(names);
  EXPECT_NE(std::find(names->begin(), names->end(), "AXURL"), names->end());
  EXPECT_FALSE(VAutils::urlScheme(text));
}

TEST_F(AccessibilityTest, IdentifiersThatAreNotTextAreReadOrLogged) {
  AXUIElementRef window = VAutils::windowElementForElement(at(150, 210));
  window->overrides["AXIdentifier"] = AXValue{42.0};
  EXPECT_EQ(VAutils::windowIdentifier(window), "42");
  window->overrides["AXIdentifier"] = AXValue{0.25};
  EXPECT_EQ(VAutils::windowIdentifier(window), "0.25");
  window->overrides["AXIdentifier"] = AXValue{CGSize{1, 2}};
  EXPECT_EQ(VAutils::windowIdentifier(window), "Doc");
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
  ax.failElement(text, kAXErrorCannotComplete);
  EXPECT_FALSE(VAutils::role(text));
  EXPECT_EQ(VAutils::role(at(150, 400)), "AXScrollArea");  // only that element fails
  ax.failApplication(501, kAXErrorFailure);
  AXUIElementRef hit = nullptr;
  EXPECT_EQ(ax.copyElementAtPosition(ax.createSystemWide(), 150, 400, &hit), kAXErrorFailure);
  EXPECT_EQ(hit, nullptr);
  ax.setTrusted(false);  // the permission is withdrawn: every call fails
  EXPECT_FALSE(VAutils::role(ax.createApplication(502)));
  EXPECT_FALSE(ax.isProcessTrustedWithOptions(false));
}

TEST_F(AccessibilityTest, WebAreaSearchStopsAfterFortyTwoAncestors) {
  // A chain of groups under a web area: 41 groups between still finds it, 42 do not.
  for (int depth : {41, 42}) {
    vsession::UiSpec leaf = ui("AXStaticText", {{110, 110}, {5, 5}});
    vsession::UiSpec chain = leaf;
    for (int i = 0; i < depth; ++i) chain = ui("AXGroup", {{100, 100}, {400, 400}}, {chain});
    agent.session().world().windows[0].ui = {ui("AXWebArea", {{100, 100}, {400, 400}}, {chain})};
    ax.rebuild();
    EXPECT_EQ(VAutils::hasWebAreaParent(at(111, 111)), depth == 41) << depth;
  }
}

TEST_F(AccessibilityTest, RectsTruncateTowardZeroFromTheTruncatedCorner) {
  AXUIElementRef text = at(150, 210);
  text->frame = {{-10.7, 20.9}, {100.6, 50.5}};
  EXPECT_EQ(VAutils::rectForElement(text), (IRect{20, -10, 70, 90}));
  text->overrides["AXPosition"] = AXValue{CGPoint{1e12, -1e12}};
  IRect huge = VAutils::rectForElement(text);
  EXPECT_EQ(huge.left, std::numeric_limits<int32_t>::max());
  EXPECT_EQ(huge.top, std::numeric_limits<int32_t>::min());
}

}  // namespace
