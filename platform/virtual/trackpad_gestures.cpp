#include "trackpad_gestures.h"

#include <cmath>

namespace vsession {

namespace {
constexpr double kTouchFrame = 1.0 / 120;
constexpr double kMomentumFrame = 1.0 / 60;
constexpr double kMomentumDecay = 0.95;
// Finger frames come about 8 ms apart; a longer pause means the fingers lifted.
constexpr double kLiftGap = 0.012;

void touchDown(std::vector<TrackpadStep>& out, double t) {
  out.push_back({t, true, 0, 0, 0, 0});
  out.push_back({t, false, 0, 0, kScrollPhaseMayBegin, 0});
}

void fingerFrame(std::vector<TrackpadStep>& out, double t, double x, double y, bool first) {
  out.push_back({t, true, 0, 0, 0, 0});
  out.push_back({t, false, x, y, first ? kScrollPhaseBegan : kScrollPhaseChanged, 0});
}

void lift(std::vector<TrackpadStep>& out, double t) {
  out.push_back({t, true, 0, 0, 0, 0});
  out.push_back({t, false, 0, 0, kScrollPhaseEnded, 0});
}

void momentumFrame(std::vector<TrackpadStep>& out, double t, double x, double y, bool first) {
  out.push_back({t, false, x, y, 0, first ? kMomentumPhaseBegin : kMomentumPhaseContinue});
}

void momentumEnd(std::vector<TrackpadStep>& out, double t) {
  out.push_back({t, false, 0, 0, 0, kMomentumPhaseEnd});
}
}  // namespace

std::vector<TrackpadStep> swipeSteps(double pixelsX, double pixelsY, double over, bool momentum) {
  std::vector<TrackpadStep> out;
  int frames = std::max(2, static_cast<int>(std::lround(over * 120)));
  double weights = frames * (frames + 1) / 2.0;
  touchDown(out, 0);
  // Whole pixels per frame, the fractions carried, so the frames add up to the travel.
  double carriedX = 0, carriedY = 0, lastX = 0, lastY = 0;
  double t = 0;
  for (int k = 1; k <= frames; ++k) {
    t = k * kTouchFrame;
    double wantX = pixelsX * k / weights + carriedX;
    double wantY = pixelsY * k / weights + carriedY;
    lastX = std::trunc(wantX);
    lastY = std::trunc(wantY);
    carriedX = wantX - lastX;
    carriedY = wantY - lastY;
    fingerFrame(out, t, lastX, lastY, k == 1);
  }
  lift(out, t + kTouchFrame);
  if (!momentum) return out;
  // The tail starts at the fingers' final speed, per 60 Hz frame.
  double vx = 2 * lastX, vy = 2 * lastY;
  double mt = t + 2.5 * kTouchFrame;
  bool first = true;
  while (std::fabs(vx) >= 1 || std::fabs(vy) >= 1) {
    momentumFrame(out, mt, std::trunc(vx), std::trunc(vy), first);
    first = false;
    vx *= kMomentumDecay;
    vy *= kMomentumDecay;
    mt += kMomentumFrame;
  }
  momentumEnd(out, mt);
  return out;
}

std::vector<TrackpadStep> trackpadStepsFromRecording(const std::vector<RecordedDelta>& recording) {
  std::vector<TrackpadStep> out;
  if (recording.empty()) return out;
  double start = recording.front().t;
  size_t lifted = recording.size();
  for (size_t i = 1; i < recording.size(); ++i) {
    if (recording[i].t - recording[i - 1].t > kLiftGap) {
      lifted = i;
      break;
    }
  }
  touchDown(out, 0);
  double t = 0;
  for (size_t i = 0; i < lifted; ++i) {
    t = recording[i].t - start + kTouchFrame;
    fingerFrame(out, t, recording[i].pixelsX, recording[i].pixelsY, i == 0);
  }
  lift(out, t + kTouchFrame / 2);
  for (size_t i = lifted; i < recording.size(); ++i) {
    t = recording[i].t - start + kTouchFrame;
    momentumFrame(out, t, recording[i].pixelsX, recording[i].pixelsY, i == lifted);
  }
  if (lifted < recording.size()) momentumEnd(out, t + kMomentumFrame);
  return out;
}

}  // namespace vsession
