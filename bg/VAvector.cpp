#include "VAvector.h"

#include <algorithm>
#include <cmath>

#include "Commonprefs.h"
#include "VAcursor.h"
#include "VAevent.h"
#include "VAscroll.h"
#include "VAstate.h"
#include "VAutils.h"
#include "acc/blockAtomic.h"
#include "platform/api/platform.h"

using namespace port;

namespace {
VAvectorStatics s;

constexpr float kTickInterval = 1.0f / 60;  // taken in single precision
constexpr double kAnchorAlpha = 0.8;
constexpr double kAnchorSide = 26;

// The speed on one axis for the pointer `distance` from the anchor: a curve that starts
// flat, so small movements near the anchor barely scroll, and saturates at the radius.
double axisSpeed(double distance, double radius, double hoverFasterFloor) {
  double b = std::min(radius, std::fabs(distance)) / radius;
  double speed = std::pow(b, (static_cast<double>(0.4f) + b) * 5.0);
  if (state_hoverFaster()) speed = std::max(speed, hoverFasterFloor);
  return distance < 0 ? -speed : speed;
}
}  // namespace

VAvectorStatics& VAvector_statics() {
  return s;
}

void VAvector_reset() {
  s = VAvectorStatics{};
}

void vector_initPrefs() {
  s.prefs = prefs_bgprefs();
}

void vectorStart_point(double x, double y) {
  s.sStartPoint = CGPoint{x, y};
  s.sSpeedX = 0;
  s.sSpeedY = 0;
  resetScrollAccum();
  scroll_resetScrollPhase();
  vectorAnchor_showAt(x, y);
  state_setDoingVector(true);
  start_vectortimer();
}

// The vertical floor under a faster hover is the single-precision 0.8, the horizontal one
// the double: the axes differ by that much and are kept so.
void calcVectorSpeed_pt_startPoint(double x, double y, double ax, double ay) {
  double radius = s.prefs->vectorMaxRadius;
  double vertical = axisSpeed(y - ay, radius, static_cast<double>(0.8f));
  s.sSpeedY = static_cast<float>(s.prefs->vectorVspeed * vertical);
  if (s.prefs->vectorReverseYOn) s.sSpeedY = -s.sSpeedY;
  double horizontal = axisSpeed(x - ax, radius, 0.8);
  s.sSpeedX = static_cast<float>(s.prefs->vectorVspeedScaled * horizontal);
  if (s.prefs->vectorReverseXOn) s.sSpeedX = -s.sSpeedX;
}

void vectorContinue_event_cgEvent(NSEventRef, CGEventRef cgEvent) {
  CGPoint p = unflippedPointfor_cgevent(cgEvent);
  calcVectorSpeed_pt_startPoint(p.x, p.y, s.sStartPoint.x, s.sStartPoint.y);
}

// A speed that is not a number counts as moving.
void vectorTimerProc(CFRunLoopTimerRef, void*) {
  if (s.sSpeedX != 0 || s.sSpeedY != 0) scrollForCoast_x_y(s.sSpeedX, s.sSpeedY);
}

// The timer ticks on the run loop of the thread that started the scroll.
void start_vectortimer() {
  RunLoops& runLoops = *platform().runLoops;
  if (!s.sVectorTimer) {
    s.sVectorTimer = runLoops.timerCreate(utils_now(), static_cast<double>(kTickInterval),
                                          vectorTimerProc, nullptr);
    if (!s.sVectorTimer) return;
  }
  if (CFRunLoopRef current = runLoops.getCurrent()) {
    runLoops.addTimer(current, s.sVectorTimer, RunLoopMode::kCommon);
  }
}

void stop_vectortimer() {
  if (!s.sVectorTimer) return;
  platform().runLoops->timerInvalidate(s.sVectorTimer);
  s.sVectorTimer = nullptr;
}

CGEventRef vectorStop_event_cgEvent(NSEventRef event, CGEventRef cgEvent) {
  vectorAnchor_hide();
  state_setDoingVector(false);
  stop_vectortimer();
  if (!cgEvent) return nullptr;
  return event_releaseAwayFromPage(event, cgEvent);
}

void vectorAnchor_showAt(double x, double y) {
  dispatchMainWithAutoreleasePool([x, y] {
    OverlayWindows& windows = *platform().overlayWindows;
    bool gray = prefs_grayVector();
    if (gray != s.usingGray) {
      windows.releaseImage(s.anchorImage);
      s.anchorImage = nullptr;
      s.usingGray = gray;
    }
    if (!s.anchorImage) {
      std::string path =
          platform().application->resourcePath() + (gray ? "/v4gray.png" : "/v4.png");
      s.anchorImage = windows.imageWithContentsOfFile(path);
      windows.setImageSize(s.anchorImage, CGSize{kAnchorSide, kAnchorSide});
    }
    overlay_setImage(s.anchorImage);
    s.sHideOverlayWindow = 0;
    overlay_showAtPoint(x - 13, y + 4);
  });
}

void overlay_setImage(NSImageRef image) {
  overlayWindow_setImage(&s.sOverlayWindow, image, kAnchorAlpha);
}

// The image's origin lands at (anchor x - 13, anchor y - 11), centred under the anchor.
void overlay_showAtPoint(double x, double y) {
  overlayWindow_showAt(s.sOverlayWindow, &s.sHideOverlayWindow, x, y);
}

void vectorAnchor_hide() {
  s.sHideOverlayWindow.fetchAdd(1);
  dispatchMainWithAutoreleasePool([] {
    if (s.sOverlayWindow) platform().overlayWindows->orderOut(s.sOverlayWindow);
  });
}
