// A scenario: the session to build (system, screens, applications, cursor) and the input
// to play in it. Read strictly: anything unknown or malformed is refused with the file,
// the place in it and what is wrong, and nothing runs.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <variant>
#include <vector>

#include "platform/api/events.h"
#include "platform/api/preferences.h"
#include "platform/virtual/trackpad_gestures.h"
#include "platform/virtual/world.h"

namespace sim {

class ScenarioError : public std::runtime_error {
 public:
  ScenarioError(const std::string& file, const std::string& where, const std::string& message)
      : std::runtime_error(file + ": " + (where.empty() ? "" : where + ": ") + message) {}
};

struct ScenarioWindow {
  int64_t number = 0;
  port::CGRect frame;
  std::string title;
  int32_t layer = 0;                 // 0 for document windows; the Dock and menus lie above
  std::vector<vsession::UiSpec> ui;  // the window's accessibility tree
};

struct ScenarioApp {
  int32_t pid = 0;
  std::optional<std::string> bundle;
  std::optional<std::string> name;
  std::string process;
  std::optional<std::string> path;
  uint32_t creator = 0;  // four-character code, 0 for none
  std::vector<ScenarioWindow> windows;
  // From this many seconds after the start, for that many, the application answers nothing.
  std::optional<std::pair<double, double>> hang;
};

// Settings as the preference pane writes them: global keys, the settings for all
// applications (appList element 0) and one element per application. Or an existing
// preferences file, used as it is.
struct ScenarioAppSettings {
  std::optional<std::string> bid;
  std::optional<uint32_t> creator;
  port::PlistDict settings;
};
struct ScenarioPrefs {
  std::optional<std::string> domainFile;  // resolved against the scenario's folder
  port::PlistDict global;
  port::PlistDict all;
  std::vector<ScenarioAppSettings> apps;
};

struct WheelInput {
  double x = 0;
  double y = 0;
  std::optional<port::CGPoint> pixels;
};
struct MoveInput {
  port::CGPoint to;
  double over = 0;
  double rate = 125;
};
struct ModifiersInput {
  uint32_t keys = 0;  // bit i for vsession::kModifierKeys[i]
};
struct ButtonInput {
  int number = 0;
  std::optional<bool> down;  // absent: a click
  uint64_t stylus = 0;       // a tablet stylus's buttons (4 upper, 2 lower, 1 tip) pressing it
};
struct KeyInput {
  std::optional<std::string> chars;     // absent: the layout's for the code
  std::optional<std::string> ignoring;  // the characters ignoring modifiers
  uint16_t code = 0;
  std::optional<bool> down;  // absent: a press and release
};
struct RawEventInput {
  port::CGEventType type = 0;
  std::map<port::CGEventField, double> fields;
  uint64_t flags = 0;
};

// One raw trackpad event: pixel deltas with a scroll phase or a momentum phase.
struct TrackpadInput {
  vsession::TrackpadStep step;
};
// A whole two-finger gesture: the fingers' travel in pixels (positive y scrolls toward the
// top), over how long, and whether the system's momentum follows.
struct SwipeInput {
  double x = 0;
  double y = 0;
  double over = 0.15;
  bool momentum = true;
};
// A recording of real wheel events played back: a trackpad's (phases inferred) or a mouse
// wheel's. Deltas are in the event's own sense (the recording's browser deltas negated).
struct ReplayInput {
  std::string file;
  bool trackpad = true;
  struct Event {
    double t = 0;  // seconds from the recording's first event
    double x = 0;
    double y = 0;
    bool lines = false;  // the deltas count lines, not pixels
  };
  std::vector<Event> events;
};

// A URL opened as the system's get-URL event would bring it, any text at all.
struct UrlInput {
  std::string url;
};

// A message of the preference pane to the agent.
struct PaneInput {
  int64_t m = 0;
  std::optional<std::string> s;
};

// Something on the file system at the start: a bundle folder (with its version), a property
// list, or an empty file; `~` is the session's home.
struct ScenarioFile {
  std::string path;
  std::optional<std::string> version;
  std::optional<port::PlistDict> plist;
  bool quarantine = false;
};

// What the loopback server answers at a path: a property list, or a bare status.
struct WebEntry {
  std::optional<port::PlistDict> plist;
  int status = 200;
};

// The user clicks the agent's last notification.
struct NotificationInput {};
// The helper tool posts this reply ("c" the command answered, "r" the result).
struct HelperInput {
  port::PlistDict reply;
};

// The user presses the button of this title in the dialog on screen.
struct DialogInput {
  std::string button;
};

// The machine sleeps this many seconds, then wakes.
struct SleepInput {
  double seconds = 0;
};

struct InputStep {
  using Action = std::variant<WheelInput, MoveInput, ModifiersInput, ButtonInput, KeyInput,
                              RawEventInput, PaneInput, TrackpadInput, SwipeInput, ReplayInput,
                              UrlInput, NotificationInput, DialogInput, HelperInput, SleepInput>;
  double t = 0;
  Action action;
  // When the step's own input is over: a sleep ends at its wake.
  double end() const;
};

struct Scenario {
  std::string file;
  std::string name;
  std::optional<std::string> agentVersion;
  std::optional<std::string> agentPath;
  bool authorizationRefused = false;
  std::vector<std::string> loginItems;
  std::vector<ScenarioFile> files;
  std::optional<double> date;  // the absolute time at the start
  std::map<std::string, WebEntry> web;
  port::SystemVersion systemVersion{10, 15, 7};
  std::optional<double> scrollWheelScaling;
  bool accessibility = true;
  std::optional<double> accessibilityGrantedAt;
  std::optional<double> accessibilityRevokedAt;
  bool pane = false;                // the preference pane runs
  std::optional<std::string> home;  // resolved against the scenario's folder
  std::vector<port::CGRect> screens;
  std::vector<ScenarioApp> apps;
  int32_t front = 0;
  std::optional<port::CGPoint> cursor;
  std::optional<ScenarioPrefs> prefs;
  std::vector<InputStep> input;  // in time order
  double until = 0;
  bool untilGiven = false;  // otherwise the run ends kUntilAfterLastInput after the last step
};

inline constexpr double kUntilAfterLastInput = 1.0;

Scenario parseScenario(const std::string& text, const std::string& file);
// A four-character code as a number: "ABCD" is 0x41424344.
uint32_t fourCharCode(const std::string& code);
Scenario loadScenario(const std::string& path);

}  // namespace sim
