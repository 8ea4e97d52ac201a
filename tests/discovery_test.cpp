// Discovery of what lies under the cursor: the process, the window and the scroll bars,
// end to end through the run timer's pass and by direct calls for the rules of one pass.
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "VAstate.h"
#include "agent_session.h"
#include "platform/virtual/ui_builders.h"
#include "tools/varsel-sim/runner.h"

namespace {

using namespace port;
using testing_support::AgentSession;
using vsession::uiElement;
using vsession::uiScrollArea;
using vsession::UiSpec;

constexpr double kH = 900;  // main screen height: Cocoa y = 900 - Quartz y

const CGRect kWindow{{100, 100}, {800, 600}};
const CGRect kArea{{100, 140}, {800, 560}};

// One application with one window, the cursor over it, and (when `bid` is given) settings
// of its own so that the agent switches to them.
vsession::SessionConfig oneWindow(std::vector<UiSpec> ui, const char* bundle = "com.example.reader",
                                  CGRect frame = kWindow, CGPoint cursor = {400, 400}) {
  vsession::SessionConfig config;
  config.apps.resize(1);
  config.apps[0].pid = 501;
  config.apps[0].bundleIdentifier = bundle;
  config.apps[0].name = "App";
  config.windows = {{101, 501, frame, "Long document", 0, false, std::move(ui)}};
  config.frontPid = 501;
  config.cursor = cursor;
  return config;
}

void giveOwnSettings(AgentSession& agent, const char* bundle) {
  sim::ScenarioPrefs prefs;
  prefs.apps.push_back({bundle, std::nullopt, {{"hoverOn", 1}}});
  sim::writeScenarioPrefs(prefs, agent.session());
}

const Bars& handedOver() {
  return bgDelegate_statics().eventThreadBars;
}

std::vector<bool> foundEntries(const Bars& b) {
  return {b.up.found != 0, b.down.found != 0, b.left.found != 0, b.right.found != 0};
}

AXUIElementRef elementAt(AgentSession& agent, double x, double y) {
  auto& ax = agent.session().accessibility();
  AXUIElementRef e = nullptr;
  ax.copyElementAtPosition(ax.createSystemWide(), static_cast<float>(x), static_cast<float>(y), &e);
  return e;
}

uint64_t callsOfOnePass(AgentSession& agent) {
  uint64_t before = agent.session().accessibility().calls();
  IRect r;
  VAux::updateBars_andWindowRect(&bgDelegate_statics().bars, &r);
  return agent.session().accessibility().calls() - before;
}

TEST(DiscoveryTest, TheBarsValueDecidesWhichWaysTheAreaCanStillScroll) {
  struct Case {
    double offset;
    std::vector<bool> found;
    float value;
  };
  // 5000 px of content in 560 visible: 4440 px of travel.
  for (const Case& c :
       {Case{0, {false, true, false, false}, 0.0f}, Case{2220, {true, true, false, false}, 0.5f},
        Case{4440, {true, false, false, false}, 1.0f}}) {
    AgentSession agent(oneWindow({uiScrollArea(kArea, {800, 5000}, c.offset, {})}));
    const Bars& b = handedOver();
    EXPECT_EQ(foundEntries(b), c.found) << c.offset;
    const Sbar& e = b.up.found ? b.up : b.down;
    EXPECT_EQ(e.value, c.value);
    // The area, in Cocoa coordinates: top is the larger y.
    EXPECT_EQ(e.rect, (IRect{760, 100, 200, 900}));
    if (b.up.found && b.down.found) {
      EXPECT_EQ(b.up.rect, b.down.rect);
    }
    EXPECT_EQ(b.windowNumber, 101u);
    EXPECT_FALSE(b.nonAXbars);
    EXPECT_STREQ(b.windowIdentifier, "Long document");
  }
}

TEST(DiscoveryTest, ABarOnlyNarrowsItsAreaWhenItStartsAtOrBelowTheAreasTop) {
  for (double barTop : {120.0, 200.0}) {
    AgentSession agent(oneWindow({uiScrollArea(kArea, {800, 5000}, 2220, {})}), false);
    AXUIElementRef bar = elementAt(agent, 890, 400);
    ASSERT_EQ(bar->role, "AXScrollBar");
    bar->overrides["AXPosition"] = AXValue{CGPoint{885, barTop}};
    bar->overrides["AXSize"] = AXValue{CGSize{15, 700 - barTop}};
    agent.startAgent();
    int32_t top = barTop < 140 ? 760 : static_cast<int32_t>(kH - barTop);
    EXPECT_EQ(handedOver().up.rect, (IRect{top, 100, 200, 900})) << barTop;
  }
}

TEST(DiscoveryTest, OverAMenuNothingIsFoundAndNothingMadeUp) {
  vsession::SessionConfig config =
      oneWindow({uiElement("AXMenu", {{300, 300}, {200, 300}},
                           {uiElement("AXMenuItem", {{300, 300}, {200, 22}}),
                            uiElement("AXMenuItem", {{300, 322}, {200, 22}})})},
                "com.example.reader", {{300, 300}, {200, 300}}, {350, 330});
  AgentSession agent(config);
  EXPECT_EQ(foundEntries(handedOver()), std::vector<bool>(4, false));
  EXPECT_FALSE(handedOver().nonAXbars);
  // Without the menu rule the same window would get made-up bars.
  vsession::SessionConfig plain = config;
  plain.windows[0].ui = plain.windows[0].ui[0].children;
  for (UiSpec& item : plain.windows[0].ui) item.role = "AXGroup";
  AgentSession other(plain);
  EXPECT_TRUE(handedOver().nonAXbars);
}

TEST(DiscoveryTest, OfficeWindowsWithoutBarsGetZonesBelowTheirRibbonsAndFourSkippedPasses) {
  struct Case {
    const char* bundle;
    int32_t top, bottom;
  };
  for (const Case& c : {Case{"com.microsoft.Excel", 190, -40}, Case{"com.microsoft.Word", 150, -20},
                        Case{"com.microsoft.Outlook", 120, -25}}) {
    AgentSession agent(oneWindow({}, c.bundle), false);
    giveOwnSettings(agent, c.bundle);
    agent.startAgent();
    const Bars& b = handedOver();
    // The window is {100, 100, 700, 900} in accessibility terms, then flipped.
    IRect want{static_cast<int32_t>(kH) - (100 + c.top), 100,
               static_cast<int32_t>(kH) - (700 + c.bottom), 900};
    EXPECT_EQ(b.up.rect, want) << c.bundle;
    EXPECT_EQ(b.down.rect, want);
    EXPECT_EQ(b.up.value, kMadeUpBarValue);
    EXPECT_TRUE(b.nonAXbars);
    // Office's trees are traced as the walk goes.
    const auto& logs = agent.session().logLines();
    EXPECT_NE(std::find(logs.begin(), logs.end(), "role: AXWindow"), logs.end());

    std::vector<uint64_t> calls;
    for (int pass = 0; pass < 5; ++pass) calls.push_back(callsOfOnePass(agent));
    EXPECT_EQ(std::count(calls.begin(), calls.begin() + 4, 0u), 4) << c.bundle;
    EXPECT_GT(calls[4], 0u);
  }
}

TEST(DiscoveryTest, OnlyWindowsAtLeast200By80MayGetMadeUpBarsOutsideOffice) {
  for (double height : {199.0, 200.0}) {
    for (const char* bundle : {"com.example.game", "com.microsoft.Excel"}) {
      AgentSession agent(oneWindow({}, bundle, {{100, 100}, {800, height}}, {400, 150}), false);
      giveOwnSettings(agent, bundle);
      agent.startAgent();
      bool office = std::string(bundle).find("microsoft") != std::string::npos;
      EXPECT_EQ(handedOver().nonAXbars != 0, office || height >= 200) << bundle << " " << height;
    }
  }
}

TEST(DiscoveryTest, ContentThatAccessibilityDoesNotDescribeIsGuessedFromTheTree) {
  CGRect big{{150, 150}, {500, 400}};
  auto madeUp = [](std::vector<UiSpec> ui) {
    AgentSession agent(oneWindow(std::move(ui), "com.example.game", kWindow, {120, 120}));
    return handedOver().nonAXbars != 0;
  };
  // A big leaf that is neither picture nor text is probably drawn content.
  EXPECT_TRUE(madeUp({uiElement("AXGroup", big)}));
  // A big picture covering 30 % or more of the window is just a picture.
  EXPECT_FALSE(madeUp({uiElement("AXImage", big)}));
  // Small children that cover little of the window: the rest is drawn.
  EXPECT_TRUE(madeUp({uiElement("AXButton", {{150, 150}, {60, 20}})}));
  // Any scroll area or browser means the window describes its scrolling itself.
  EXPECT_FALSE(
      madeUp({uiElement("AXGroup", big, {uiElement("AXBrowser", {{160, 160}, {50, 50}})})}));

  // Nested big groups are followed 21 levels deep, no further.
  auto nested = [&](int levels) {
    UiSpec leaf = uiElement("AXGroup", big);
    for (int i = 0; i < levels; ++i) leaf = uiElement("AXGroup", big, {leaf});
    return leaf;
  };
  EXPECT_TRUE(madeUp({nested(21)}));
  EXPECT_FALSE(madeUp({nested(22)}));
}

TEST(DiscoveryTest, TheWalkClimbsAtMost39LevelsAndStopsAtARoleItCannotRead) {
  auto chain = [](int levels) {
    CGRect f{{100, 140}, {785, 560}};
    UiSpec inner = uiElement("AXGroup", f);
    for (int i = 1; i < levels; ++i) inner = uiElement("AXGroup", f, {inner});
    return uiScrollArea(kArea, {800, 5000}, 2220, {inner});
  };
  {
    AgentSession agent(oneWindow({chain(39)}));
    EXPECT_TRUE(handedOver().up.found);
  }
  {
    AgentSession agent(oneWindow({chain(40)}));
    EXPECT_FALSE(handedOver().up.found);
    // A pass over this tree stays bounded.
    EXPECT_LT(callsOfOnePass(agent), 2500u);
  }
  {
    AgentSession agent(oneWindow({chain(10)}), false);
    AXUIElementRef deepest = elementAt(agent, 400, 400);
    agent.session().accessibility().failElement(deepest->parent->parent, kAXErrorCannotComplete);
    agent.startAgent();
    EXPECT_FALSE(handedOver().up.found);
    EXPECT_EQ(agent.session().logLines(),
              std::vector<std::string>{
                  "Could not get accessibility role of element under cursor in application 501"});
    // The window is still found through the last element reached.
    EXPECT_EQ(handedOver().windowNumber, 101u);
    IRect window;
    EXPECT_TRUE(state_haveCurWindow_rectPtr(&window));
    EXPECT_EQ(window, (IRect{800, 100, 200, 900}));
  }
}

TEST(DiscoveryTest, SafarisReaderViewGetsZonesOverTheWholeArea) {
  for (const char* url : {"safari-reader://example.com/story", "https://example.com/story"}) {
    UiSpec web = uiElement("AXWebArea", {{100, 140}, {785, 560}});
    web.url = url;
    // At the very end: the bar alone would only offer up.
    AgentSession agent(oneWindow({uiScrollArea(kArea, {800, 5000}, 4440, {web})}));
    bool reader = std::string(url).starts_with("safari-reader");
    const Bars& b = handedOver();
    EXPECT_EQ(foundEntries(b), (std::vector<bool>{true, reader, false, false})) << url;
    EXPECT_EQ(b.up.value, reader ? kMadeUpBarValue : 1.0f);
    EXPECT_FALSE(b.nonAXbars);
  }
}

TEST(DiscoveryTest, OverTheDockTheWalkStopsAndTheGridFlagIsSet) {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  vsession::VirtualApp dock;
  dock.pid = 90;
  dock.bundleIdentifier = "com.apple.dock";
  dock.name = "Dock";
  config.apps.push_back(dock);
  config.windows.insert(config.windows.begin(),
                        {9,
                         90,
                         {{400, 830}, {640, 70}},
                         "Dock",
                         20,
                         false,
                         {uiElement("AXList", {{400, 830}, {640, 70}},
                                    {uiElement("AXDockItem", {{410, 835}, {60, 60}})})}});
  config.cursor = {440, 860};
  AgentSession agent(config);
  EXPECT_TRUE(state_cursorOverDockGrid());
  EXPECT_EQ(handedOver().windowNumber, 9u);
  EXPECT_EQ(bgDelegate::lastWindowNumber(), 9);
  EXPECT_EQ(foundEntries(handedOver()), std::vector<bool>(4, false));
  agent.input().moveTo({400, 400});
  agent.runUntil(1);
  EXPECT_FALSE(state_cursorOverDockGrid());
  EXPECT_EQ(bgDelegate::lastWindowNumber(), 101);  // told as the cursor changed windows
}

TEST(DiscoveryTest, FailuresAtNewPointsAreCountedAndTheThirtyFirstGivesUp) {
  AgentSession agent;
  auto& ax = agent.session().accessibility();
  ax.failApplication(501, kAXErrorFailure);
  std::vector<int32_t> answers;
  for (int i = 0; i < 32; ++i) answers.push_back(VAux::updateAppUnderCursor({200.0 + i, 400}));
  EXPECT_EQ(std::count(answers.begin(), answers.begin() + 30, 0), 30);
  EXPECT_EQ(answers[30], -1);
  EXPECT_EQ(answers[31], 0);  // counting starts again

  // The same point again, or another kind of error, is not counted.
  for (int i = 0; i < 40; ++i) EXPECT_EQ(VAux::updateAppUnderCursor({250, 400}), 0);
  ax.failApplication(501, kAXErrorCannotComplete);
  for (int i = 0; i < 40; ++i) EXPECT_EQ(VAux::updateAppUnderCursor({300.0 + i, 400}), 0);
  // Over the desktop there is no element at all.
  ax.failApplication(501, kAXErrorSuccess);
  EXPECT_EQ(VAux::updateAppUnderCursor({1400, 50}), -2);
}

TEST(DiscoveryTest, TheCentredVariantAsksAtTheMiddleOfTheWindowUnderTheCursor) {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  // A small editor palette over the middle of the reader's window.
  config.windows.insert(config.windows.begin(),
                        {301, 502, {{450, 350}, {100, 100}}, "Palette", 0, false, {}});
  config.windows[1].ui = {uiElement("AXGroup", {{100, 140}, {800, 560}})};
  AgentSession agent(config);
  IRect r;
  EXPECT_EQ(VAux::updateAppUnderCursor_centered_wRect({150, kH - 150}, false, &r), 501);
  EXPECT_EQ(VAux::updateAppUnderCursor_centered_wRect({150, kH - 150}, true, &r), 502);
  EXPECT_EQ(r, (IRect{800, 100, 200, 900}));  // the reader's window
}

TEST(DiscoveryTest, FrontmostIsTheFirstOrdinaryWindowOrForChromeItsPopupsOwner) {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  config.windows = {{900, 400, {{0, 0}, {50, 50}}, "", 0, false, {}},        // the agent's own
                    {800, 77, {{0, 0}, {1440, 22}}, "Menu", 24, false, {}},  // not layer 0
                    {601, 501, {{200, 200}, {300, 200}}, "Popup", 0, false, {}},
                    {101, 501, {{100, 100}, {800, 600}}, "Doc", 0, false, {}},
                    {201, 502, {{700, 200}, {600, 500}}, "Notes", 0, false, {}}};
  AgentSession agent(config);
  VAuxStatics& ux = VAux_statics();
  ux.sWindowNumberUnderCursor = 601;
  EXPECT_TRUE(VAux::isCurrentWindowFrontMost());
  ux.sWindowNumberUnderCursor = 101;
  state_setCurrentAppBid(std::make_shared<const std::string>("com.example.reader"));
  EXPECT_FALSE(VAux::isCurrentWindowFrontMost());
  state_setCurrentAppBid(std::make_shared<const std::string>("com.google.Chrome"));
  EXPECT_TRUE(VAux::isCurrentWindowFrontMost());
  ux.sWindowNumberUnderCursor = 201;
  EXPECT_FALSE(VAux::isCurrentWindowFrontMost());
}

}  // namespace
