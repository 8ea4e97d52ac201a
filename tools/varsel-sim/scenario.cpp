#include "scenario.h"

#include <algorithm>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <initializer_list>
#include <set>
#include <sstream>

#include <nlohmann/json.hpp>

#include "Commonprefs.h"
#include "platform/virtual/event_record.h"
#include "platform/virtual/input_devices.h"
#include "platform/virtual/plist_codec.h"
#include "platform/virtual/system_services.h"

namespace sim {

namespace {

using json = nlohmann::json;

std::string escapePointerToken(const std::string& key) {
  std::string out;
  for (char c : key) {
    if (c == '~')
      out += "~0";
    else if (c == '/')
      out += "~1";
    else
      out += c;
  }
  return out;
}

// One value of the scenario with its place in the file (a JSON pointer).
class Node {
 public:
  Node(const std::string& file, const json& value, std::string path)
      : file_(file), value_(value), path_(std::move(path)) {}

  [[noreturn]] void fail(const std::string& message) const {
    throw ScenarioError(file_, path_.empty() ? "/" : path_, message);
  }

  // An object whose keys all come from `known`.
  void expectObject(std::initializer_list<const char*> known) const {
    if (!value_.is_object()) fail("expected an object");
    for (const auto& item : value_.items()) {
      const std::string& key = item.key();
      auto is = [&key](const char* k) { return key == k; };
      if (std::any_of(known.begin(), known.end(), is)) continue;
      at(key.c_str()).fail("unknown key \"" + key + "\"");
    }
  }

  bool has(const char* key) const { return value_.contains(key); }

  Node at(const char* key) const {
    if (!value_.contains(key)) fail(std::string("missing \"") + key + "\"");
    return Node(file_, value_.at(key), path_ + "/" + escapePointerToken(key));
  }

  std::vector<Node> elements() const {
    if (!value_.is_array()) fail("expected an array");
    std::vector<Node> out;
    for (size_t i = 0; i < value_.size(); ++i) {
      out.emplace_back(file_, value_[i], path_ + "/" + std::to_string(i));
    }
    return out;
  }

  double number() const {
    if (!value_.is_number()) fail("expected a number");
    double v = value_.get<double>();
    if (!std::isfinite(v)) fail("expected a finite number");
    return v;
  }

  double numberIn(double low, double high) const {
    double v = number();
    if (v < low || v > high) {
      std::ostringstream m;
      m << "expected a number from " << low << " to " << high << ", got " << v;
      fail(m.str());
    }
    return v;
  }

  int64_t integerIn(int64_t low, int64_t high) const {
    double v = number();
    if (v != std::trunc(v)) fail("expected a whole number");
    if (v < static_cast<double>(low) || v > static_cast<double>(high)) {
      fail("expected a whole number from " + std::to_string(low) + " to " + std::to_string(high));
    }
    return static_cast<int64_t>(v);
  }

  std::string string() const {
    if (!value_.is_string()) fail("expected a string");
    return value_.get<std::string>();
  }

  bool boolean() const {
    if (!value_.is_boolean()) fail("expected true or false");
    return value_.get<bool>();
  }

  port::CGPoint point() const {
    std::vector<Node> xy = elements();
    if (xy.size() != 2) fail("expected [x, y]");
    return {xy[0].number(), xy[1].number()};
  }

  port::CGRect rect() const {
    std::vector<Node> r = elements();
    if (r.size() != 4) fail("expected [x, y, width, height]");
    port::CGRect out{{r[0].number(), r[1].number()}, {r[2].number(), r[3].number()}};
    if (out.size.width <= 0 || out.size.height <= 0) fail("width and height must be positive");
    return out;
  }

  const json& value() const { return value_; }
  const std::string& path() const { return path_; }

 private:
  const std::string& file_;
  const json& value_;
  std::string path_;
};

port::SystemVersion readVersion(const Node& node) {
  std::string text = node.string();
  port::SystemVersion v;
  char extra = 0;
  int fields = std::sscanf(text.c_str(), "%d.%d.%d%c", &v.major, &v.minor, &v.patch, &extra);
  if (fields < 2 || fields > 3 || v.major < 10 || v.minor < 0 || v.patch < 0) {
    node.fail("expected a macOS version such as \"10.15.7\", got \"" + text + "\"");
  }
  return v;
}

uint32_t readCreator(const Node& node) {
  std::string code = node.string();
  if (code.size() != 4) node.fail("a creator is four characters, such as \"ABCD\"");
  return fourCharCode(code);
}

// How many single-character edits turn one name into the other, ignoring case.
size_t editDistance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      size_t above = row[j];
      bool same = std::tolower(static_cast<unsigned char>(a[i - 1])) ==
                  std::tolower(static_cast<unsigned char>(b[j - 1]));
      row[j] = std::min({row[j] + 1, row[j - 1] + 1, diagonal + (same ? 0 : 1)});
      diagonal = above;
    }
  }
  return row[b.size()];
}

const std::vector<std::string>& globalKeys() {
  static const std::vector<std::string> keys(std::begin(kGlobalPrefsKeys),
                                             std::end(kGlobalPrefsKeys));
  return keys;
}

const std::vector<std::string>& applicationKeys() {
  static const std::vector<std::string> keys = prefs_settingsKeys();
  return keys;
}

bool isOneOf(const std::vector<std::string>& names, const std::string& name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// Settings values are numbers, as the pane writes them, under keys the agent reads: global
// keys at the top of the domain, the others per application. A key it does not read is
// most likely a typo, and the nearest one it does is offered.
port::PlistDict readSettings(const Node& node, bool global) {
  if (!node.value().is_object()) node.fail("expected an object of settings");
  const std::vector<std::string>& known = global ? globalKeys() : applicationKeys();
  port::PlistDict out;
  for (const auto& [key, _] : node.value().items()) {
    Node value = node.at(key.c_str());
    if (!isOneOf(known, key)) {
      if (isOneOf(global ? applicationKeys() : globalKeys(), key)) {
        value.fail("\"" + key + "\" is " +
                   (global ? "set per application, under \"all\" or an app's \"settings\""
                           : "a global setting, under \"global\""));
      }
      const std::string* nearest = nullptr;
      size_t best = 4;  // more edits than this is not a typo
      for (const std::string& name : known) {
        size_t d = editDistance(key, name);
        if (d < best) {
          best = d;
          nearest = &name;
        }
      }
      value.fail("\"" + key + "\" is not a setting of the agent" +
                 (nearest ? " (did you mean " + *nearest + "?)" : ""));
    }
    if (value.value().is_number_integer()) {
      out[key] = port::PlistValue(value.value().get<int64_t>());
    } else if (value.value().is_number()) {
      out[key] = port::PlistValue(value.number());
    } else {
      value.fail("expected a number");
    }
  }
  return out;
}

ScenarioPrefs readPrefs(const Node& node, const std::string& file) {
  node.expectObject({"global", "all", "apps", "domainFile"});
  ScenarioPrefs prefs;
  if (node.has("domainFile")) {
    for (const char* other : {"global", "all", "apps"}) {
      if (node.has(other)) node.at(other).fail("a domain file is used as it is, without settings");
    }
    Node path = node.at("domainFile");
    std::filesystem::path resolved = std::filesystem::path(file).parent_path() / path.string();
    vsession::FileContents domain = vsession::readFileOrWhy(resolved, vsession::kMaxPlistBytes);
    if (!domain.bytes) path.fail(resolved.string() + " cannot be read: " + domain.error);
    vsession::PlistRead plist = vsession::readPlist(*domain.bytes);
    if (!plist.value || !plist.value->dict()) {
      path.fail(resolved.string() + " is not a preferences file: " +
                (plist.value ? "the top level is not a dictionary" : plist.error));
    }
    prefs.domainFile = resolved.string();
    return prefs;
  }
  if (node.has("global")) prefs.global = readSettings(node.at("global"), true);
  if (node.has("all")) prefs.all = readSettings(node.at("all"), false);
  if (node.has("apps")) {
    for (const Node& a : node.at("apps").elements()) {
      a.expectObject({"bid", "creator", "settings"});
      ScenarioAppSettings app;
      if (a.has("bid")) app.bid = a.at("bid").string();
      if (a.has("creator")) app.creator = readCreator(a.at("creator"));
      if (a.has("settings")) app.settings = readSettings(a.at("settings"), false);
      prefs.apps.push_back(std::move(app));
    }
  }
  return prefs;
}

vsession::UiSpec readUi(const Node& node, int depth) {
  if (depth > 64) node.fail("elements nested too deeply");
  node.expectObject({"role", "frame", "children", "identifier", "title", "url", "enabled",
                     "content", "offset", "scrollBars", "cursor"});
  vsession::UiSpec ui;
  ui.role = node.at("role").string();
  ui.frame = node.at("frame").rect();
  if (node.has("identifier")) ui.identifier = node.at("identifier").string();
  if (node.has("title")) ui.title = node.at("title").string();
  if (node.has("url")) ui.url = node.at("url").string();
  if (node.has("enabled")) ui.enabled = node.at("enabled").boolean();
  if (node.has("cursor")) {
    std::string cursor = node.at("cursor").string();
    if (cursor != "hand" && cursor != "arrow") {
      node.at("cursor").fail("a cursor is \"hand\" or \"arrow\"");
    }
    ui.handCursor = cursor == "hand";
  }
  if (node.has("content")) {
    port::CGPoint size = node.at("content").point();
    if (size.x <= 0 || size.y <= 0) node.at("content").fail("content must have a positive size");
    ui.content = port::CGSize{size.x, size.y};
  }
  for (const char* key : {"offset", "scrollBars"}) {
    if (node.has(key) && !ui.content)
      node.at(key).fail("only a scroll area (with content) has this");
  }
  if (node.has("offset")) ui.offset = node.at("offset").point();
  if (node.has("scrollBars")) {
    for (const Node& bar : node.at("scrollBars").elements()) {
      std::string which = bar.string();
      if (which == "vertical") {
        ui.verticalBar = true;
      } else if (which == "horizontal") {
        ui.horizontalBar = true;
      } else {
        bar.fail("a scroll bar is \"vertical\" or \"horizontal\"");
      }
    }
  }
  if (node.has("children")) {
    for (const Node& child : node.at("children").elements())
      ui.children.push_back(readUi(child, depth + 1));
  }
  return ui;
}

ScenarioApp readApp(const Node& node) {
  node.expectObject({"pid", "bundle", "name", "process", "path", "creator", "windows", "hang"});
  ScenarioApp app;
  app.pid = static_cast<int32_t>(node.at("pid").integerIn(1, 99999));
  if (node.has("bundle")) app.bundle = node.at("bundle").string();
  if (node.has("name")) app.name = node.at("name").string();
  if (node.has("process")) app.process = node.at("process").string();
  if (node.has("path")) app.path = node.at("path").string();
  if (node.has("creator")) app.creator = readCreator(node.at("creator"));
  if (node.has("hang")) {
    std::vector<Node> span = node.at("hang").elements();
    if (span.size() != 2) node.at("hang").fail("expected [start, seconds]");
    app.hang = {span[0].numberIn(0, 1e7), span[1].numberIn(0, 1e7)};
  }
  if (node.has("windows")) {
    for (const Node& w : node.at("windows").elements()) {
      w.expectObject({"number", "frame", "title", "layer", "ui"});
      ScenarioWindow window;
      window.number = w.at("number").integerIn(1, INT32_MAX);
      window.frame = w.at("frame").rect();
      if (w.has("title")) window.title = w.at("title").string();
      if (w.has("layer")) window.layer = static_cast<int32_t>(w.at("layer").integerIn(-1000, 1000));
      if (w.has("ui")) {
        for (const Node& element : w.at("ui").elements()) window.ui.push_back(readUi(element, 0));
      }
      app.windows.push_back(window);
    }
  }
  return app;
}

// One of the named values; the error lists them all.
int readNamed(const Node& node, std::initializer_list<std::pair<const char*, int>> names,
              const char* what) {
  std::string name = node.string();
  std::string known;
  for (const auto& [text, value] : names) {
    if (name == text) return value;
    known += (known.empty() ? "" : ", ") + std::string(text);
  }
  node.fail(std::string("unknown ") + what + " \"" + name + "\" (" + known + ")");
}

int readScrollPhase(const Node& node) {
  return readNamed(node,
                   {{"mayBegin", vsession::kScrollPhaseMayBegin},
                    {"began", vsession::kScrollPhaseBegan},
                    {"changed", vsession::kScrollPhaseChanged},
                    {"ended", vsession::kScrollPhaseEnded},
                    {"cancelled", vsession::kScrollPhaseCancelled}},
                   "phase");
}

int readMomentumPhase(const Node& node) {
  return readNamed(node,
                   {{"begin", vsession::kMomentumPhaseBegin},
                    {"continue", vsession::kMomentumPhaseContinue},
                    {"end", vsession::kMomentumPhaseEnd}},
                   "momentum phase");
}

// A recording of browser wheel events: {"wheelEvents": [{deltaMode, deltaX, deltaY,
// timeStamp}]}, times in milliseconds. Browsers report how far the page moves, the
// opposite of the event's own deltas.
std::vector<ReplayInput::Event> readRecording(const Node& where, const std::string& path) {
  vsession::FileContents recording = vsession::readFileOrWhy(path);
  if (!recording.bytes) where.fail("cannot read the recording " + path + ": " + recording.error);
  json doc = json::parse(recording.bytes->begin(), recording.bytes->end(), nullptr, false);
  if (doc.is_discarded()) where.fail("the recording " + path + " is not JSON");
  Node root(path, doc, "");
  root.expectObject({"wheelEvents", "userAgent"});
  std::vector<ReplayInput::Event> events;
  for (const Node& e : root.at("wheelEvents").elements()) {
    e.expectObject({"deltaMode", "deltaX", "deltaY", "deltaZ", "timeStamp"});
    int64_t mode = e.has("deltaMode") ? e.at("deltaMode").integerIn(0, 1) : 0;
    ReplayInput::Event event;
    event.t = e.at("timeStamp").numberIn(0, 1e12) / 1000;
    event.x = -e.at("deltaX").numberIn(-1e5, 1e5);
    event.y = -e.at("deltaY").numberIn(-1e5, 1e5);
    event.lines = mode == 1;
    if (!events.empty() && event.t < events.back().t) e.fail("time goes back");
    events.push_back(event);
  }
  if (events.empty()) root.at("wheelEvents").fail("no events");
  return events;
}

// A JSON value as the property list it stands for; nothing for null.
std::optional<port::PlistValue> plistFromJson(const Node& node) {
  const nlohmann::json& v = node.value();
  if (v.is_object()) {
    port::PlistDict dict;
    for (const auto& [key, _] : v.items()) {
      std::optional<port::PlistValue> item = plistFromJson(node.at(key.c_str()));
      if (!item) node.at(key.c_str()).fail("a property list has no null");
      dict[key] = std::move(*item);
    }
    return port::PlistValue(std::move(dict));
  }
  if (v.is_array()) {
    port::PlistArray array;
    for (const Node& element : node.elements()) {
      std::optional<port::PlistValue> item = plistFromJson(element);
      if (!item) element.fail("a property list has no null");
      array.push_back(std::move(*item));
    }
    return port::PlistValue(std::move(array));
  }
  if (v.is_string()) return port::PlistValue(v.get<std::string>());
  if (v.is_boolean()) return port::PlistValue(v.get<bool>());
  if (v.is_number_integer()) return port::PlistValue(v.get<int64_t>());
  if (v.is_number()) return port::PlistValue(v.get<double>());
  return std::nullopt;
}

InputStep readInput(const Node& node, const std::string& file) {
  static constexpr std::initializer_list<const char*> kKinds = {
      "wheel", "move",   "modifiers", "button",       "key",    "event",  "pane", "trackpad",
      "swipe", "replay", "url",       "notification", "dialog", "helper", "sleep"};
  node.expectObject({"t", "wheel", "move", "modifiers", "button", "key", "event", "pane",
                     "trackpad", "swipe", "replay", "url", "notification", "dialog", "helper",
                     "sleep"});
  InputStep step;
  step.t = node.at("t").numberIn(0, 1e6);
  const char* kind = nullptr;
  for (const char* k : kKinds) {
    if (!node.has(k)) continue;
    if (kind) node.fail(std::string("one input per step: both \"") + kind + "\" and \"" + k + "\"");
    kind = k;
  }
  if (!kind) {
    node.fail(
        "missing the input: one of wheel, move, modifiers, button, key, event, pane, trackpad, "
        "swipe, replay, url, notification, dialog, helper, sleep");
  }
  Node n = node.at(kind);
  std::string k = kind;
  if (k == "sleep") {
    double seconds = n.numberIn(0, 1e6);
    if (seconds <= 0) n.fail("a sleep lasts some time");
    step.action = SleepInput{seconds};
  } else if (k == "wheel") {
    n.expectObject({"x", "y", "pixels"});
    WheelInput w;
    if (n.has("x")) w.x = n.at("x").numberIn(-1e4, 1e4);
    if (n.has("y")) w.y = n.at("y").numberIn(-1e4, 1e4);
    if (n.has("pixels")) w.pixels = n.at("pixels").point();
    if (!n.has("x") && !n.has("y") && !n.has("pixels")) n.fail("a wheel step needs x, y or pixels");
    step.action = w;
  } else if (k == "move") {
    n.expectObject({"to", "over", "rate"});
    MoveInput m;
    m.to = n.at("to").point();
    if (n.has("over")) m.over = n.at("over").numberIn(0, 3600);
    if (n.has("rate")) m.rate = n.at("rate").numberIn(1, 2000);
    step.action = m;
  } else if (k == "modifiers") {
    ModifiersInput m;
    for (const Node& name : n.elements()) {
      int key = vsession::findModifierKey(name.string());
      if (key < 0) {
        name.fail("unknown modifier \"" + name.string() +
                  "\" (command, shift, control, option, fn, capsLock, rightShift, "
                  "rightControl, rightOption, rightCommand)");
      }
      m.keys |= 1u << key;
    }
    step.action = m;
  } else if (k == "button") {
    n.expectObject({"number", "down", "stylus"});
    ButtonInput b;
    b.number = static_cast<int>(n.at("number").integerIn(0, 31));
    if (n.has("down")) b.down = n.at("down").boolean();
    if (n.has("stylus")) b.stylus = static_cast<uint64_t>(n.at("stylus").integerIn(1, 7));
    step.action = b;
  } else if (k == "notification") {
    if (n.string() != "click") n.fail("the one thing to do with a notification is \"click\"");
    step.action = NotificationInput{};
  } else if (k == "helper") {
    n.expectObject({"c", "r"});
    HelperInput helper;
    for (const char* key : {"c", "r"}) {
      if (n.has(key)) helper.reply[key] = port::PlistValue(n.at(key).string());
    }
    step.action = helper;
  } else if (k == "dialog") {
    step.action = DialogInput{n.string()};
  } else if (k == "url") {
    step.action = UrlInput{n.string()};
  } else if (k == "key") {
    n.expectObject({"chars", "ignoring", "code", "down"});
    KeyInput key;
    key.code = static_cast<uint16_t>(n.at("code").integerIn(0, 0xFFFF));
    for (auto [name, text] : {std::pair{"chars", &key.chars}, {"ignoring", &key.ignoring}}) {
      if (!n.has(name)) continue;
      *text = n.at(name).string();
      if ((*text)->size() > port::KeyText::kCapacity) {
        n.at(name).fail("at most 31 bytes of characters");
      }
    }
    if (!key.chars && !vsession::layoutCharacters(key.code, 0)) {
      n.fail("the layout has no characters for this key code: give \"chars\"");
    }
    if (n.has("down")) key.down = n.at("down").boolean();
    step.action = key;
  } else if (k == "trackpad") {
    n.expectObject({"x", "y", "phase", "momentum"});
    TrackpadInput pad;
    if (n.has("x")) pad.step.pixelsX = n.at("x").numberIn(-1e6, 1e6);
    if (n.has("y")) pad.step.pixelsY = n.at("y").numberIn(-1e6, 1e6);
    if (n.has("phase") == n.has("momentum")) n.fail("give either \"phase\" or \"momentum\"");
    if (n.has("phase")) pad.step.phase = readScrollPhase(n.at("phase"));
    if (n.has("momentum")) pad.step.momentumPhase = readMomentumPhase(n.at("momentum"));
    step.action = pad;
  } else if (k == "swipe") {
    n.expectObject({"x", "y", "over", "momentum"});
    SwipeInput swipe;
    if (n.has("x")) swipe.x = n.at("x").numberIn(-1e5, 1e5);
    if (n.has("y")) swipe.y = n.at("y").numberIn(-1e5, 1e5);
    if (n.has("over")) swipe.over = n.at("over").numberIn(0.01, 10);
    if (n.has("momentum")) swipe.momentum = n.at("momentum").boolean();
    if (swipe.x == 0 && swipe.y == 0) n.fail("a swipe needs x or y");
    step.action = swipe;
  } else if (k == "replay") {
    n.expectObject({"file", "device"});
    ReplayInput replay;
    Node path = n.at("file");
    std::filesystem::path resolved = path.string();
    if (resolved.is_relative()) resolved = std::filesystem::path(file).parent_path() / resolved;
    replay.file = resolved.string();
    std::string device = n.has("device") ? n.at("device").string() : "trackpad";
    if (device != "trackpad" && device != "wheel") {
      n.at("device").fail("the device is \"trackpad\" or \"wheel\"");
    }
    replay.trackpad = device == "trackpad";
    replay.events = readRecording(path, replay.file);
    step.action = replay;
  } else if (k == "pane") {
    n.expectObject({"m", "s"});
    PaneInput pane;
    pane.m = n.at("m").integerIn(INT32_MIN, INT32_MAX);
    if (n.has("s")) pane.s = n.at("s").string();
    step.action = pane;
  } else {
    n.expectObject({"type", "fields", "flags"});
    RawEventInput e;
    e.type = static_cast<port::CGEventType>(n.at("type").integerIn(0, 0xFFFFFFFF));
    if (n.has("flags")) e.flags = static_cast<uint64_t>(n.at("flags").integerIn(0, 0xFFFFFFFF));
    if (n.has("fields")) {
      Node fields = n.at("fields");
      if (!fields.value().is_object()) fields.fail("expected an object of field numbers");
      for (const auto& [name, _] : fields.value().items()) {
        Node value = fields.at(name.c_str());
        char* end = nullptr;
        long number = std::strtol(name.c_str(), &end, 10);
        if (name.empty() || *end != '\0' || number < 0 ||
            number >= static_cast<long>(port::kCGEventFieldCount)) {
          value.fail("a field is named by its number, 0 to " +
                     std::to_string(port::kCGEventFieldCount - 1));
        }
        e.fields[static_cast<port::CGEventField>(number)] = value.number();
      }
    }
    step.action = e;
  }
  return step;
}

std::string lineAndColumn(const std::string& text, size_t byte) {
  size_t line = 1, column = 1;
  for (size_t i = 0; i < byte && i < text.size(); ++i) {
    if (text[i] == '\n') {
      ++line;
      column = 1;
    } else {
      ++column;
    }
  }
  return "line " + std::to_string(line) + ", column " + std::to_string(column);
}

}  // namespace

double InputStep::end() const {
  const SleepInput* sleep = std::get_if<SleepInput>(&action);
  return sleep ? t + sleep->seconds : t;
}

Scenario parseScenario(const std::string& text, const std::string& file) {
  json doc;
  try {
    doc = json::parse(text);
  } catch (const json::parse_error& e) {
    std::string what = e.what();
    size_t detail = what.find("syntax error");
    throw ScenarioError(file, lineAndColumn(text, e.byte == 0 ? 0 : e.byte - 1),
                        detail == std::string::npos ? what : what.substr(detail));
  }
  Node root(file, doc, "");
  root.expectObject({"name", "system", "screens", "apps", "front", "cursor", "prefs", "input",
                     "until", "web", "files"});

  Scenario s;
  s.file = file;
  s.name =
      root.has("name") ? root.at("name").string() : std::filesystem::path(file).stem().string();
  if (root.has("system")) {
    Node system = root.at("system");
    system.expectObject({"version", "scrollWheelScaling", "accessibility", "accessibilityGrantedAt",
                         "accessibilityRevokedAt", "pane", "home", "agentVersion", "date",
                         "agentPath", "authorization", "loginItems"});
    if (system.has("agentPath")) {
      s.agentPath = system.at("agentPath").string();
      if (!s.agentPath->starts_with("/")) system.at("agentPath").fail("an absolute path");
    }
    if (system.has("authorization")) s.authorizationRefused = !system.at("authorization").boolean();
    if (system.has("loginItems")) {
      for (const Node& item : system.at("loginItems").elements()) {
        s.loginItems.push_back(item.string());
      }
    }
    if (system.has("agentVersion")) s.agentVersion = system.at("agentVersion").string();
    if (system.has("date")) s.date = system.at("date").numberIn(0, 4e9);
    if (system.has("version")) s.systemVersion = readVersion(system.at("version"));
    if (system.has("scrollWheelScaling")) {
      s.scrollWheelScaling = system.at("scrollWheelScaling").numberIn(-1, 100);
    }
    if (system.has("accessibilityRevokedAt")) {
      s.accessibilityRevokedAt = system.at("accessibilityRevokedAt").numberIn(0, 1e6);
    }
    if (system.has("accessibilityGrantedAt")) {
      Node grantedAt = system.at("accessibilityGrantedAt");
      s.accessibilityGrantedAt = grantedAt.numberIn(0, 1e6);
      s.accessibility = false;
      if (system.has("accessibility") && system.at("accessibility").boolean()) {
        grantedAt.fail("the permission is granted from the start (\"accessibility\": true)");
      }
    } else if (system.has("accessibility")) {
      s.accessibility = system.at("accessibility").boolean();
    }
    if (system.has("pane")) s.pane = system.at("pane").boolean();
    if (system.has("home")) {
      std::filesystem::path home = system.at("home").string();
      if (!home.is_absolute()) home = std::filesystem::path(file).parent_path() / home;
      std::error_code error;
      if (std::filesystem::exists(home, error) && !std::filesystem::is_directory(home, error)) {
        system.at("home").fail(home.string() + " is not a folder");
      }
      s.home = home.string();
    }
  }
  if (root.has("files")) {
    for (const Node& entry : root.at("files").elements()) {
      entry.expectObject({"path", "version", "plist", "quarantine"});
      ScenarioFile f;
      f.path = entry.at("path").string();
      if (!f.path.starts_with("/") && !f.path.starts_with("~/")) {
        entry.at("path").fail("an absolute path, or one in the home (~/...)");
      }
      if (f.path.find("/../") != std::string::npos || f.path.ends_with("/..")) {
        entry.at("path").fail("no \"..\" in a path");
      }
      if (entry.has("version")) f.version = entry.at("version").string();
      if (entry.has("plist")) {
        std::optional<port::PlistValue> plist = plistFromJson(entry.at("plist"));
        if (!plist || !plist->dict()) entry.at("plist").fail("a dictionary");
        f.plist = *plist->dict();
      }
      if (f.version && f.plist) entry.fail("a bundle with a version, or a property list: not both");
      if (entry.has("quarantine")) f.quarantine = entry.at("quarantine").boolean();
      s.files.push_back(std::move(f));
    }
  }
  if (root.has("web")) {
    Node web = root.at("web");
    for (const auto& [path, _] : web.value().items()) {
      Node entry = web.at(path.c_str());
      WebEntry e;
      if (entry.value().is_object() && entry.value().size() == 1 && entry.has("status")) {
        e.status = static_cast<int>(entry.at("status").integerIn(100, 599));
      } else {
        std::optional<port::PlistValue> plist = plistFromJson(entry);
        if (!plist || !plist->dict()) entry.fail("a dictionary to serve, or {\"status\": N}");
        e.plist = *plist->dict();
      }
      s.web[path] = std::move(e);
    }
  }
  if (root.has("screens")) {
    for (const Node& r : root.at("screens").elements()) s.screens.push_back(r.rect());
    if (s.screens.empty()) root.at("screens").fail("at least one screen");
  } else {
    s.screens.push_back({{0, 0}, {1440, 900}});
  }

  std::set<int32_t> pids;
  std::set<int64_t> windowNumbers;
  if (root.has("apps")) {
    for (const Node& a : root.at("apps").elements()) {
      ScenarioApp app = readApp(a);
      if (!pids.insert(app.pid).second) {
        a.at("pid").fail("pid " + std::to_string(app.pid) + " is used twice");
      }
      for (size_t i = 0; i < app.windows.size(); ++i) {
        if (!windowNumbers.insert(app.windows[i].number).second) {
          a.at("windows").elements()[i].at("number").fail("window number used twice");
        }
      }
      s.apps.push_back(std::move(app));
    }
  }
  if (root.has("front")) {
    Node front = root.at("front");
    s.front = static_cast<int32_t>(front.integerIn(1, 99999));
    if (!pids.count(s.front)) front.fail("no application has pid " + std::to_string(s.front));
  } else if (!s.apps.empty()) {
    s.front = s.apps.front().pid;
  }
  if (root.has("cursor")) s.cursor = root.at("cursor").point();
  if (root.has("prefs")) s.prefs = readPrefs(root.at("prefs"), file);

  if (root.has("input")) {
    for (const Node& step : root.at("input").elements()) s.input.push_back(readInput(step, file));
  }
  std::stable_sort(s.input.begin(), s.input.end(),
                   [](const InputStep& a, const InputStep& b) { return a.t < b.t; });
  double lastInput = 0;
  for (const InputStep& step : s.input) lastInput = std::max(lastInput, step.end());
  if (root.has("until")) {
    Node until = root.at("until");
    s.until = until.numberIn(0, 1e6);
    if (s.until < lastInput) until.fail("the run ends before its last input");
    s.untilGiven = true;
  } else {
    s.until = lastInput + kUntilAfterLastInput;
  }
  return s;
}

uint32_t fourCharCode(const std::string& code) {
  uint32_t value = 0;
  for (char c : code) value = value << 8 | static_cast<uint8_t>(c);
  return value;
}

Scenario loadScenario(const std::string& path) {
  vsession::FileContents file = vsession::readFileOrWhy(path);
  if (!file.bytes) throw ScenarioError(path, "", "cannot be read: " + file.error);
  if (file.bytes->empty()) throw ScenarioError(path, "", "the file is empty");
  return parseScenario(std::string(file.bytes->begin(), file.bytes->end()), path);
}

}  // namespace sim
