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

constexpr int32_t kH = 900;  // main screen height: Cocoa y = 900 - Quartz y

const CGRect kWindow{{100, 100}, {800, 600}};
const CGRect kArea{{100, 140}, {800, 560}};
const IRect kAreaCocoa{760, 100, 200, 900};

// One application with one window, the cursor over it.
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

// Settings of the application's own, so that the agent switches to them and knows its
// bundle identifier.
void giveOwnSettings(AgentSession& agent, const char* bundle,
                     port::PlistDict settings = {{"hoverOn", 1}}) {
  sim::ScenarioPrefs prefs;
  prefs.apps.push_back({bundle, std::nullopt, std::move(settings)});
  sim::writeScenarioPrefs(prefs, agent.session());
}

const Bars& handedOver() {
  return bgDelegate_statics().eventThreadBars;
}

uint64_t onePass(AgentSession& agent);

// The bars a discovery pass found, before hover scrolling keeps only the vertical ones.
const Bars& discovered(AgentSession& agent) {
  onePass(agent);
  return bgDelegate_statics().bars;
}

std::vector<bool> foundEntries(const Bars& b) {
  return {b.up.found != 0, b.down.found != 0, b.left.found != 0, b.right.found != 0};
}

// The tree's node at a Quartz point.
vsession::AXNode& nodeAt(AgentSession& agent, double x, double y) {
  auto& ax = agent.session().accessibility();
  AXUIElementRef system = ax.createSystemWide();
  AXUIElementRef e = nullptr;
  ax.copyElementAtPosition(system, static_cast<float>(x), static_cast<float>(y), &e);
  vsession::AXNode& node = ax.node(e);
  ax.release(e);
  ax.release(system);
  return node;
}

// One pass at the Cocoa point p, as the run timer makes it; the accessibility calls it made.
uint64_t onePassAt(AgentSession& agent, CGPoint p) {
  uint64_t before = agent.session().accessibility().calls();
  AXReadsOfOnePass pass;
  IRect r;
  if (VAux::updateAppUnderCursor_centered_wRect(p, false, &r) > 0) {
    VAux::updateBars_andWindowRect(&bgDelegate_statics().bars, &r);
  }
  return agent.session().accessibility().calls() - before;
}

uint64_t onePass(AgentSession& agent) {
  return onePassAt(agent, platform().cocoa->mouseLocation());
}

TEST(DiscoveryTest, TheBarsValueDecidesWhichWaysTheAreaCanStillScroll) {
  struct Case {
    bool vertical;
    double offset;
    std::vector<bool> found;
    float value;
  };
  // 5000 px of content in 560 visible, 800 in 785 across: 4440 px and 15 px of travel.
  for (const Case& c : {Case{true, 0, {false, true, false, false}, 0.0f},
                        Case{true, 2220, {true, true, false, false}, 0.5f},
                        Case{true, 4440, {true, false, false, false}, 1.0f},
                        Case{false, 0, {false, false, false, true}, 0.0f},
                        Case{false, 7.5, {false, false, true, true}, 0.5f},
                        Case{false, 15, {false, false, true, false}, 1.0f}}) {
    UiSpec area = uiScrollArea(kArea, {800, 5000}, c.vertical ? c.offset : 0, {});
    area.verticalBar = c.vertical;
    area.horizontalBar = !c.vertical;
    area.content = c.vertical ? CGSize{800, 5000} : CGSize{815, 560};
    area.offset.x = c.vertical ? 0 : c.offset;
    AgentSession agent(oneWindow({area}));
    const Bars& b = discovered(agent);
    EXPECT_EQ(foundEntries(b), c.found) << c.vertical << " " << c.offset;
    for (const Sbar* e : {&b.up, &b.down, &b.left, &b.right}) {
      if (!e->found) continue;
      EXPECT_EQ(e->value, c.value);
      EXPECT_EQ(e->rect, kAreaCocoa);  // Cocoa coordinates: top is the larger y
    }
    EXPECT_EQ(b.windowNumber, 101u);
    EXPECT_FALSE(b.nonAXbars);
    // Hover scrolling has no sideways zones: the event thread never hears of those bars.
    EXPECT_FALSE(handedOver().left.found || handedOver().right.found);
    EXPECT_STREQ(b.windowIdentifier.c_str(), "Long document");
  }
}

TEST(DiscoveryTest, ABarNarrowsItsAreaAlongItsOwnAxisAndASquareBarIsHorizontal) {
  struct Case {
    CGRect bar;  // where the area's vertical bar claims to be
    std::vector<bool> found;
    IRect rect;
  };
  for (const Case& c : {
           // Starting above the area's top leaves the whole area.
           Case{{{885, 120}, {15, 580}}, {true, true, false, false}, kAreaCocoa},
           // Starting below it, the zone starts where the bar does.
           Case{{{885, 200}, {15, 300}}, {true, true, false, false}, {kH - 200, 100, 400, 900}},
           // A square bar counts as horizontal: its extent limits left and right, always.
           Case{{{300, 685}, {15, 15}}, {false, false, true, true}, {760, 300, 200, 315}},
       }) {
    AgentSession agent(oneWindow({uiScrollArea(kArea, {800, 5000}, 2220, {})}), false);
    vsession::AXNode& bar = nodeAt(agent, 890, 400);
    ASSERT_EQ(bar.role, "AXScrollBar");
    bar.overrides["AXPosition"] = AXValue{c.bar.origin};
    bar.overrides["AXSize"] = AXValue{c.bar.size};
    agent.startAgent();
    const Bars& b = discovered(agent);
    EXPECT_EQ(foundEntries(b), c.found) << c.bar.origin.y;
    const Sbar& e = b.up.found ? b.up : b.left;
    EXPECT_EQ(e.rect, c.rect) << c.bar.origin.y;
    EXPECT_EQ((b.up.found ? b.down : b.right).rect, c.rect);
  }
}

TEST(DiscoveryTest, AnAreaWithoutChildrenGetsMadeUpZonesOverTheWholeArea) {
  UiSpec area = uiElement("AXScrollArea", kArea);
  area.content = CGSize{800, 5000};
  AgentSession agent(oneWindow({area}));
  const Bars& b = handedOver();
  EXPECT_EQ(foundEntries(b), (std::vector<bool>{true, true, false, false}));
  EXPECT_EQ(b.up.rect, kAreaCocoa);
  EXPECT_EQ(b.down.rect, kAreaCocoa);
  EXPECT_EQ(b.up.value, kMadeUpBarValue);
  EXPECT_FALSE(b.nonAXbars);  // the area is accessible: no passes are skipped
  EXPECT_GT(onePass(agent), 0u);
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
  // A copy first: assigning the menu's own children over the list that holds the menu
  // would read them after they were freed.
  std::vector<UiSpec> items = plain.windows[0].ui[0].children;
  plain.windows[0].ui = std::move(items);
  for (UiSpec& item : plain.windows[0].ui) item.role = "AXGroup";
  AgentSession other(plain);
  EXPECT_TRUE(handedOver().nonAXbars);
}

// A skipped pass only asks what is under the cursor; another window is looked at at once.
TEST(DiscoveryTest, OfficeWindowsWithoutBarsGetZonesBelowTheirRibbonsAndFourSkippedPasses) {
  struct Case {
    const char* bundle;
    int32_t top, bottom;
  };
  for (const Case& c : {Case{"com.microsoft.Excel", 190, -40}, Case{"com.microsoft.Word", 150, -20},
                        Case{"com.microsoft.Outlook", 120, -25}}) {
    vsession::SessionConfig config = oneWindow({}, c.bundle);
    config.windows.push_back({102, 501, {{1000, 100}, {400, 600}}, "Other", 0, false, {}});
    AgentSession agent(config, false);
    giveOwnSettings(agent, c.bundle);
    agent.startAgent();
    const Bars& b = handedOver();
    // The window is {100, 100, 700, 900} in accessibility terms, then flipped.
    IRect want{kH - (100 + c.top), 100, kH - (700 + c.bottom), 900};
    EXPECT_EQ(b.up.rect, want) << c.bundle;
    EXPECT_EQ(b.down.rect, want);
    EXPECT_EQ(b.up.value, kMadeUpBarValue);
    EXPECT_TRUE(b.nonAXbars);
    // Office's trees are traced as the walk goes.
    const auto& logs = agent.session().logLines();
    EXPECT_NE(std::find(logs.begin(), logs.end(), "role: AXWindow"), logs.end());

    CGPoint other{1200, kH - 400.0};
    std::vector<uint64_t> calls;
    for (int pass = 0; pass < 5; ++pass) calls.push_back(onePass(agent));
    for (int pass = 0; pass < 6; ++pass) calls.push_back(onePassAt(agent, other));
    EXPECT_EQ(bgDelegate_statics().bars.windowNumber, 102u);
    // Passes 0 to 3 skipped, 4 looks again; 5 is the other window, 6 to 9 skipped there.
    uint64_t skipped = calls[0];
    for (int i : {1, 2, 3, 6, 7, 8, 9}) EXPECT_EQ(calls[i], skipped) << c.bundle << " " << i;
    for (int i : {4, 5, 10}) EXPECT_GT(calls[i], skipped) << c.bundle << " " << i;
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
    EXPECT_LT(onePass(agent), 2500u);
  }
  {
    AgentSession agent(oneWindow({chain(10)}), false);
    vsession::AXNode& deepest = nodeAt(agent, 400, 400);
    agent.session().accessibility().failElement(*deepest.parent->parent, kAXErrorCannotComplete);
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

// The branch the walk came up from is not looked at again, however the element was copied.
TEST(DiscoveryTest, AGroupsChildrenAreCheckedWithoutTheBranchTheWalkCameFrom) {
  UiSpec area = uiScrollArea(kArea, {800, 5000}, 2220, {});
  area.role = "AXGroup";  // a group that shows a scroll bar among its children
  AgentSession agent(oneWindow({area}));
  auto& ax = agent.session().accessibility();
  AXReadsOfOnePass pass;
  VAux::updateAppUnderCursor({890, kH - 400.0});  // over the bar
  AXUIElementRef bar = VAux_statics().cursorElement;
  AXUIElementRef group = VAutils::parentOfUIElement(bar);
  std::vector<AXUIElementRef> children = VAutils::children(group).value();
  ASSERT_EQ(children.size(), 1u);
  ASSERT_NE(children[0], bar);

  for (bool skip : {true, false}) {
    Bars b;
    VAuxStatics& ux = VAux_statics();
    ux.upSbar = &b.up;
    ux.downSbar = &b.down;
    ux.leftSbar = &b.left;
    ux.rightSbar = &b.right;
    checkChildrenOfElement_childToSkip(group, skip ? bar : nullptr);
    EXPECT_EQ(foundEntries(b), (std::vector<bool>{!skip, !skip, false, false})) << skip;
  }
  EXPECT_TRUE(ax.equal(children[0], bar));
}

TEST(DiscoveryTest, APassAsksEachQuestionOnceAndLeavesNoElementBehind) {
  // Text eight groups deep in a web page, below a toolbar: the walk reads many ancestors
  // twice over (climbing, and searching for a web area above each group).
  UiSpec inner = uiElement("AXStaticText", {{300, 400}, {500, 18}});
  for (int level = 0; level < 8; ++level) {
    inner = uiElement("AXGroup", {{200.0 - level, 300.0 - level}, {600.0, 300.0}},
                      {inner, uiElement("AXLink", {{210, 330}, {100, 18}})});
  }
  UiSpec web = uiElement("AXWebArea", {{100, 140}, {785, 560}}, {inner});
  AgentSession agent(oneWindow({uiElement("AXToolbar", {{100, 100}, {800, 40}}),
                                uiScrollArea(kArea, {800, 5000}, 2220, {web})},
                               "com.example.reader", kWindow, {400, 405}));
  auto& ax = agent.session().accessibility();
  EXPECT_TRUE(handedOver().up.found);
  // The agent keeps the system-wide element and the element under the cursor.
  EXPECT_EQ(ax.liveElements(), 2u);

  for (double y : {420.0, 500.0}) {
    ax.startReadLog();
    agent.input().moveTo({400, y});
    agent.runUntil(agent.session().elapsed() + 1.5);
    EXPECT_EQ(ax.repeatedReads(), 0u) << y;
    EXPECT_EQ(ax.liveElements(), 2u) << y;
  }
}

TEST(DiscoveryTest, ANewWindowIdentifierForgetsWhatWasFoundBefore) {
  AgentSession agent(oneWindow({uiScrollArea(kArea, {800, 5000}, 2220, {})}));
  const Bars& bars = bgDelegate_statics().bars;
  onePass(agent);
  EXPECT_TRUE(bars.up.wasFound);
  Bars eventThreadCopy = handedOver();  // as the event thread holds it during one event

  vsession::AXNode& window = *nodeAt(agent, 400, 400).window;
  // Titles longer than the record holds, with a two-byte character across its end, and
  // differing only beyond it.
  std::string longTitle = std::string(254, 'a') + "\xC3\xA9" + "tail";
  for (const std::string& title : {std::string("Another"), longTitle, longTitle + "s"}) {
    window.overrides["AXTitle"] = AXValue{title};
    onePass(agent);
    EXPECT_FALSE(bars.up.wasFound) << title;
    EXPECT_TRUE(bars.up.found);
    onePass(agent);
    EXPECT_TRUE(bars.up.wasFound) << "the same identifier again: " << title;
  }
  EXPECT_EQ(std::string(bars.windowIdentifier.c_str()), std::string(254, 'a'));
  EXPECT_STREQ(eventThreadCopy.windowIdentifier.c_str(), "Long document");
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
  AXReadsOfOnePass pass;
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
  // Over the desktop the system finds no element and says so: no application, not counted.
  ax.failApplication(501, kAXErrorSuccess);
  int32_t counted = VAux_statics().errCount;
  EXPECT_EQ(VAux::updateAppUnderCursor({1400, 50}), 0);
  EXPECT_EQ(VAux_statics().errCount, counted);
}

TEST(DiscoveryTest, InAnApplicationWhereEverythingIsOffTheSameWindowCostsNoQuestion) {
  for (bool allOff : {true, false}) {
    AgentSession agent(testing_support::twoWindowConfig(), false);
    port::PlistDict off = {{"wheelOn", 0}, {"padOn", 0},  {"hoverOn", 0}, {"autoScrollOn", 0},
                           {"grabOn", 0},  {"keysOn", 0}, {"vectorOn", 0}};
    if (!allOff) off.erase("keysOn");
    giveOwnSettings(agent, "com.example.reader", off);
    agent.startAgent();
    AXReadsOfOnePass pass;
    uint64_t before = agent.session().accessibility().calls();
    EXPECT_EQ(VAux::updateAppUnderCursor({300, kH - 300.0}), 501);
    EXPECT_EQ(agent.session().accessibility().calls() == before, allOff) << allOff;
  }
}

TEST(DiscoveryTest, TheCentredVariantAsksAtTheMiddleOfTheWindowUnderTheCursor) {
  vsession::SessionConfig config = testing_support::twoWindowConfig();
  // A small editor palette over the middle of the reader's window.
  config.windows.insert(config.windows.begin(),
                        {301, 502, {{450, 350}, {100, 100}}, "Palette", 0, false, {}});
  config.windows[1].ui = {uiElement("AXGroup", {{100, 140}, {800, 560}})};
  AgentSession agent(config);
  AXReadsOfOnePass pass;
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
