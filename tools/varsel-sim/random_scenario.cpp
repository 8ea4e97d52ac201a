#include "random_scenario.h"

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "Commonprefs.h"
#include "platform/virtual/keyboard_layout.h"
#include "platform/virtual/ui_builders.h"

namespace sim {

using port::CGPoint;
using port::CGRect;
using port::PlistDict;
using port::PlistValue;

namespace {

// Reads choices from the bytes; once they run out every choice is 0.
class ByteChooser {
 public:
  ByteChooser(const uint8_t* data, size_t size) : data_(data), left_(size) {}

  bool empty() const { return left_ == 0; }
  uint8_t byte() {
    if (left_ == 0) return 0;
    --left_;
    return *data_++;
  }
  // A whole number from 0 to `most`.
  uint64_t upTo(uint64_t most) {
    uint64_t value = 0;
    for (uint64_t range = most; range > 0; range >>= 8) value = (value << 8) | byte();
    return most == UINT64_MAX ? value : value % (most + 1);
  }
  int64_t between(int64_t low, int64_t high) {
    return low + static_cast<int64_t>(upTo(static_cast<uint64_t>(high - low)));
  }
  // A number from `low` to `high` in 1/65535 steps of the range.
  double number(double low, double high) {
    return low + (high - low) * static_cast<double>(upTo(65535)) / 65535;
  }
  bool chance(int in) { return upTo(static_cast<uint64_t>(in - 1)) == 0; }
  template <class T, size_t N>
  const T& oneOf(const std::array<T, N>& items) {
    return items[upTo(N - 1)];
  }

 private:
  const uint8_t* data_;
  size_t left_;
};

constexpr CGRect kMainScreen{{0, 0}, {1440, 900}};
constexpr CGRect kSecondScreen{{1440, 0}, {1920, 1080}};

// Any value a settings key could hold: mostly what the pane writes (flags, kinds, speeds,
// key codes and modifier pairs), sometimes anything at all.
PlistValue anySetting(ByteChooser& in) {
  switch (in.upTo(7)) {
    case 0:
      return PlistValue(in.between(0, 1));
    case 1:
      return PlistValue(in.between(0, 6));
    case 2:
    case 3:
      return PlistValue(in.between(0, 1000));
    case 4:
      return PlistValue(in.between(0, 65535));
    case 5:
      return PlistValue(static_cast<int64_t>(in.upTo(UINT64_MAX)));
    case 6:
      return PlistValue(in.number(-2000, 2000));
    default:
      return PlistValue(in.between(-5, 5));
  }
}

PlistDict anySettings(ByteChooser& in, const std::vector<std::string>& keys, uint64_t most) {
  PlistDict settings;
  for (uint64_t n = in.upTo(most); n > 0; --n) {
    settings[keys[in.upTo(keys.size() - 1)]] = anySetting(in);
  }
  return settings;
}

ScenarioApp app(int32_t pid, std::optional<std::string> bundle, std::string name,
                ScenarioWindow window) {
  ScenarioApp a;
  a.pid = pid;
  a.bundle = std::move(bundle);
  a.name = name;
  a.process = std::move(name);
  a.windows.push_back(std::move(window));
  return a;
}

void chooseSystem(ByteChooser& in, Scenario& s) {
  static constexpr std::array<port::SystemVersion, 6> kVersions = {
      {{10, 15, 7}, {10, 6, 8}, {10, 7, 5}, {10, 9, 5}, {10, 12, 6}, {13, 4, 0}}};
  s.systemVersion = in.oneOf(kVersions);
  s.screens = {kMainScreen};
  if (in.chance(4)) s.screens.push_back(kSecondScreen);
  if (in.chance(8)) {
    s.accessibility = false;
    if (in.chance(2)) s.accessibilityGrantedAt = in.number(0, 20);
  }
  s.pane = in.chance(2);

  // A long page, a wide sheet and a window without anything to scroll.
  double pageHeight = in.number(0, 20000);
  ScenarioWindow page{101, {{100, 100}, {800, 600}}, "Doc", 0, {}};
  page.ui = {vsession::uiScrollArea({{100, 140}, {800, 560}}, {800, pageHeight},
                                    in.number(0, pageHeight), {})};
  ScenarioWindow sheet{201, {{700, 200}, {600, 500}}, "Sheet", 0, {}};
  sheet.ui = {vsession::uiScrollArea({{700, 220}, {600, 480}}, {3000, 3000}, 500, {})};
  ScenarioWindow plain{301, {{300, 500}, {400, 300}}, "Plain", 0, {}};
  s.apps = {app(501, "com.example.reader", "Reader", page),
            app(502, "com.example.sheets", "Sheets", sheet),
            app(503, std::nullopt, "Plain", plain)};
  s.front = static_cast<int32_t>(501 + in.upTo(2));
  s.cursor = CGPoint{in.number(0, 1440), in.number(0, 900)};

  ScenarioPrefs prefs;
  std::vector<std::string> globals(std::begin(kGlobalPrefsKeys), std::end(kGlobalPrefsKeys));
  std::vector<std::string> perApp = prefs_settingsKeys();
  prefs.global = anySettings(in, globals, 3);
  prefs.all = anySettings(in, perApp, 24);
  for (uint64_t n = in.upTo(2); n > 0; --n) {
    ScenarioAppSettings entry;
    static constexpr std::array<const char*, 3> kBundles = {"com.example.reader",
                                                            "com.example.sheets", "com.other"};
    entry.bid = in.oneOf(kBundles);
    entry.settings = anySettings(in, perApp, 12);
    prefs.apps.push_back(std::move(entry));
  }
  s.prefs = std::move(prefs);
}

CGPoint anyPoint(ByteChooser& in, const Scenario& s) {
  if (in.chance(16)) return {in.number(-500, 4000), in.number(-500, 1600)};  // off the screens
  const CGRect& screen = s.screens[in.upTo(s.screens.size() - 1)];
  return {in.number(screen.origin.x, screen.origin.x + screen.size.width),
          in.number(screen.origin.y, screen.origin.y + screen.size.height)};
}

std::optional<bool> downUpOrClick(ByteChooser& in) {
  switch (in.upTo(2)) {
    case 0:
      return std::nullopt;
    case 1:
      return true;
    default:
      return false;
  }
}

InputStep::Action anyInput(ByteChooser& in, const Scenario& s) {
  switch (in.upTo(15)) {
    case 0:
    case 1: {
      WheelInput w;
      w.x = in.chance(4) ? in.number(-10, 10) : 0;
      w.y = in.number(-10, 10);
      if (in.chance(3)) w.pixels = CGPoint{in.number(-300, 300), in.number(-300, 300)};
      return w;
    }
    case 2: {
      TrackpadInput pad;
      static constexpr std::array<int, 6> kPhases = {1, 2, 4, 8, 128, 0};
      pad.step.pixelsX = in.number(-100, 100);
      pad.step.pixelsY = in.number(-100, 100);
      if (in.chance(3)) {
        pad.step.momentumPhase = static_cast<int>(in.between(1, 3));
      } else {
        pad.step.phase = in.oneOf(kPhases);
      }
      pad.step.gesture = in.chance(6);
      return pad;
    }
    case 3:
      return SwipeInput{in.number(-800, 800), in.number(-1500, 1500), in.number(0.02, 0.6),
                        in.chance(2)};
    case 4:
    case 5: {
      ButtonInput b;
      b.number = static_cast<int>(in.chance(8) ? in.upTo(31) : in.upTo(4));
      b.down = downUpOrClick(in);
      if (in.chance(16)) b.stylus = in.between(1, 7);
      return b;
    }
    case 6:
    case 7:
    case 8: {
      MoveInput m;
      m.to = anyPoint(in, s);
      if (in.chance(2)) m.over = in.number(0, 0.6);
      return m;
    }
    case 9:
      return ModifiersInput{
          static_cast<uint32_t>(in.upTo((1u << vsession::kModifierKeyCount) - 1))};
    case 10: {
      KeyInput k;
      static constexpr std::array<uint16_t, 8> kKeys = {123, 124, 125, 126, 53, 49, 0, 5};
      k.code = in.chance(2) ? in.oneOf(kKeys) : static_cast<uint16_t>(in.upTo(127));
      k.down = downUpOrClick(in);
      return k;
    }
    case 11: {
      static constexpr std::array<const char*, 12> kUrls = {
          "varsel://stop",       "varsel://autoscroll",   "varsel://autoscrollup",
          "varsel://grabscroll", "varsel://vectorscroll", "varsel://uponce",
          "varsel://downonce",   "varsel://leftonce",     "varsel://rightonce",
          "varsel://up",         "varsel://down",         "VARSEL://Stop"};
      return UrlInput{in.oneOf(kUrls)};
    }
    case 12: {
      // Every message but those that end the agent (7 quit, 8 from a pane of another
      // version, 9 relaunch): a run that ends there would leave nothing to check.
      static constexpr std::array<int64_t, 12> kMessages = {-1, 0, 1, 2, 3, 4, 5, 6, 10, 11, 12, 8};
      PaneInput p;
      p.m = in.oneOf(kMessages);
      if (p.m == 8) {
        p.s = "4.2";  // the agent's own version: it stays
      } else if (in.chance(2)) {
        static constexpr std::array<const char*, 3> kTexts = {"3.0", "", "com.example.reader"};
        p.s = in.oneOf(kTexts);
      }
      return p;
    }
    case 13:
      // Sleep is rarer than the rest, as it is in use.
      if (in.chance(4)) return SleepInput{in.number(0.5, 90)};
      return UrlInput{"varsel://stop"};
    case 14: {
      RawEventInput raw;
      static constexpr std::array<port::CGEventType, 8> kTypes = {29, 30, 31, 23, 24, 13, 0, 2000};
      raw.type = in.oneOf(kTypes);
      for (uint64_t n = in.upTo(3); n > 0; --n) {
        raw.fields[static_cast<port::CGEventField>(in.upTo(130))] = in.number(-1000, 1000);
      }
      raw.flags = in.upTo(UINT32_MAX);
      return raw;
    }
    default:
      return ModifiersInput{0};
  }
}

}  // namespace

Scenario scenarioFromBytes(const uint8_t* data, size_t size, const std::string& folder) {
  if (size > 0 && data[0] == '{') {
    try {
      return parseScenario(std::string(reinterpret_cast<const char*>(data), size),
                           folder + "/input.json");
    } catch (const std::exception&) {
      // Not a scenario after all: the bytes choose one.
    }
  }
  ByteChooser in(data, size);
  Scenario s;
  s.file = kRandomScenarioFile;
  s.name = "random input";
  chooseSystem(in, s);
  double t = 0.5;
  while (!in.empty() && s.input.size() < kRandomInputSteps && t < kRandomInputSeconds) {
    t += in.number(0, 0.5);
    s.input.push_back({t, anyInput(in, s)});
  }
  double last = 0;
  for (const InputStep& step : s.input) last = std::max(last, step.end());
  s.until = last + 3;  // long enough for a swipe's momentum to end
  return s;
}

}  // namespace sim
