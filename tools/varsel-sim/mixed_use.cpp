#include "mixed_use.h"

#include <nlohmann/json.hpp>

#include <random>

namespace sim {

using nlohmann::json;

namespace {

// A fast mouse reports moves at this rate (gaming mice do); with it an hour of use is about a
// million events.
constexpr double kMouseRate = 1000;

class UseWriter {
 public:
  explicit UseWriter(uint32_t seed) : random_(seed) {}

  double uniform(double low, double high) {
    return std::uniform_real_distribution(low, high)(random_);
  }
  int pick(int count) { return std::uniform_int_distribution(0, count - 1)(random_); }

  void step(double t, const char* kind, json value) {
    input_.push_back({{"t", t}, {kind, std::move(value)}});
  }
  void moveTo(double t, double x, double y, double over) {
    step(t, "move", {{"to", {x, y}}, {"over", over}, {"rate", kMouseRate}});
  }
  // To a point drawn within the ranges, x first: the draws are sequenced, so a seed gives
  // the same use whichever compiler built the program.
  void moveWithin(double t, double x0, double x1, double y0, double y1, double over) {
    double x = uniform(x0, x1);
    double y = uniform(y0, y1);
    moveTo(t, x, y, over);
  }

  // One activity from `t`; answers when it is over.
  double activity(double t) {
    // The hand moves on to where the next thing is done.
    double travel = uniform(0.3, 1.2);
    moveWithin(t, 50, 1390, 50, 850, travel);
    t += travel + 0.05;
    switch (pick(8)) {
      case 0: {  // reading with the wheel: a few flicks of notches
        moveWithin(t, 150, 850, 200, 650, 0.4);
        t += 0.5;
        for (int flick = 0; flick < 4; ++flick) {
          int notches = 2 + pick(6);
          double direction = pick(4) == 0 ? 1 : -1;
          for (int n = 0; n < notches; ++n) step(t += 0.03, "wheel", {{"y", direction}});
          t += uniform(0.8, 2.5);
        }
        return t;
      }
      case 1: {  // reading with the trackpad: swipes with momentum
        for (int s = 0; s < 3; ++s) {
          step(t, "swipe", {{"y", uniform(-900, 300)}, {"over", uniform(0.1, 0.3)}});
          t += uniform(1.5, 3);
        }
        return t;
      }
      case 2:  // pointing and clicking
        for (int c = 0; c < 3; ++c) {
          double over = uniform(0.3, 1.2);
          moveWithin(t, 50, 1390, 50, 850, over);
          t += over + 0.1;
          step(t, "button", {{"number", 0}});
          t += uniform(0.3, 1);
        }
        return t;
      case 3: {  // selecting text by dragging
        moveWithin(t, 150, 600, 200, 400, 0.5);
        t += 0.6;
        step(t, "button", {{"number", 0}, {"down", true}});
        moveWithin(t + 0.05, 600, 850, 400, 650, 0.8);
        step(t + 0.9, "button", {{"number", 0}, {"down", false}});
        return t + 1.5;
      }
      case 4: {  // typing a sentence, one word shifted
        static constexpr uint16_t kLetters[] = {0, 11, 8, 2, 14, 3, 5, 4, 34, 38, 40, 37, 46, 45};
        for (int k = 0; k < 40; ++k) {
          if (k == 10) step(t, "modifiers", json::array({"shift"}));
          step(t, "key", {{"code", kLetters[pick(14)]}});
          if (k == 10) step(t + 0.1, "modifiers", json::array());
          t += k % 6 == 5 ? 0.25 : uniform(0.09, 0.2);
        }
        return t + 1;
      }
      case 5: {  // a grab with the middle button
        moveWithin(t, 200, 800, 250, 600, 0.4);
        t += 0.5;
        step(t, "button", {{"number", 2}, {"down", true}});
        double over = uniform(0.2, 0.6);
        moveWithin(t + 0.02, 200, 800, 250, 600, over);
        step(t + 0.7, "button", {{"number", 2}, {"down", false}});
        return t + 2.5;
      }
      case 6: {  // drifting into the page's bottom zone and resting there
        moveTo(t, 400, 640, 0.5);
        moveTo(t + 0.6, 400, 690, 1.5);
        return t + uniform(4, 8);
      }
      default:  // a pause: reading
        return t + uniform(2, 10);
    }
  }

  json scenario(double seconds) {
    double t = 0.5;
    while (t < seconds - 15) t = activity(t);
    return {
        {"name", "mixed use"},
        {"screens", {{0, 0, 1440, 900}}},
        {"apps",
         {{{"pid", 501},
           {"bundle", "com.example.reader"},
           {"name", "Reader"},
           {"windows",
            {{{"number", 101},
              {"frame", {100, 100, 800, 600}},
              {"title", "Long document"},
              {"ui",
               {{{"role", "AXScrollArea"},
                 {"frame", {100, 140, 800, 560}},
                 {"content", {800, 200000}},
                 {"offset", {0, 100000}},
                 {"scrollBars", {"vertical"}}}}}}}}}}},
        {"cursor", {400, 400}},
        {"prefs", {{"all", {{"hoverOn", 1}, {"padCoastVOn", 1}}}}},
        {"input", input_},
        {"until", seconds},
    };
  }

 private:
  std::mt19937 random_;
  json input_ = json::array();
};

}  // namespace

std::string mixedUseScenario(double seconds, uint32_t seed) {
  UseWriter writer(seed);
  return writer.scenario(seconds).dump(1) + "\n";
}

}  // namespace sim
