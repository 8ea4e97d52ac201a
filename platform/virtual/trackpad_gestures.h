// What a trackpad sends for a two-finger scroll, as timed steps: a gesture event (type 29)
// for each touch frame, scroll events with Quartz scroll phases while the fingers move,
// and the system's momentum events after they lift. Made up from a few numbers (a swipe)
// or inferred from a recorded stream of wheel deltas that carries no phases.
#pragma once

#include <cstdint>
#include <vector>

namespace vsession {

// Quartz scroll phases (field 99) and momentum phases (field 123).
inline constexpr int kScrollPhaseBegan = 1;
inline constexpr int kScrollPhaseChanged = 2;
inline constexpr int kScrollPhaseEnded = 4;
inline constexpr int kScrollPhaseCancelled = 8;
inline constexpr int kScrollPhaseMayBegin = 128;
inline constexpr int kMomentumPhaseBegin = 1;
inline constexpr int kMomentumPhaseContinue = 2;
inline constexpr int kMomentumPhaseEnd = 3;

struct TrackpadStep {
  double t = 0;          // seconds from the gesture's start
  bool gesture = false;  // a touch frame (type 29) rather than a scroll event
  double pixelsX = 0;    // field 97
  double pixelsY = 0;    // field 96: positive scrolls toward the top
  int phase = 0;
  int momentumPhase = 0;
};

// Fingers travel `pixelsX`, `pixelsY` (the sum of the finger-driven deltas) over `over`
// seconds at 120 frames a second, speeding up as real swipes do; then, with `momentum`,
// the system's 60 Hz tail decays from the final speed until it moves less than a pixel.
std::vector<TrackpadStep> swipeSteps(double pixelsX, double pixelsY, double over, bool momentum);

// One recorded wheel delta (pixels, in the event's own sense) at a time in seconds.
struct RecordedDelta {
  double t = 0;
  double pixelsX = 0;
  double pixelsY = 0;
};

// A recorded trackpad stream with its phases inferred: fingers drive the deltas at the
// touch rate (about 8 ms apart); the first longer pause marks the lift, and from there the
// deltas are the system's momentum. Times are relative to the first recorded delta.
std::vector<TrackpadStep> trackpadStepsFromRecording(const std::vector<RecordedDelta>& recording);

}  // namespace vsession
