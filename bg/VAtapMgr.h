// The event tap manager: installs the four session taps through which every mouse, wheel,
// gesture and key event passes before any application sees it, and owns the event
// thread on whose run loop the mouse, wheel and gesture taps run. It is also the one way
// other threads get work done on the event thread (postVAEvent).
#pragma once

#include <cstdint>

#include "acc/relaxed.h"
#include "platform/api/events.h"

class VAtapMgr {
 public:
  // Makes the key tap on the main thread, then starts the event thread. Once per process.
  static VAtapMgr* init();
  // The event thread's body: its run loop, the re-enable timer and the three taps.
  void startEventThread();
  // Queues VA event `kind` for the event thread; callable from any thread.
  void postVAEvent(int kind);
};

// Turns the mouse-moved tap and the gesture tap on or off together.
void evtapMMoved_setEnabled(bool on);
void reEnableTapTimerProc(port::CFRunLoopTimerRef timer, void* info);

port::CGEventRef MyEventTapCallBack(port::CGEventTapProxy proxy, port::CGEventType type,
                                    port::CGEventRef event, void* userInfo);
port::CGEventRef MyWatchEventTapCallBack(port::CGEventTapProxy proxy, port::CGEventType type,
                                         port::CGEventRef event, void* userInfo);
port::CGEventRef keyEventTapCallBack(port::CGEventTapProxy proxy, port::CGEventType type,
                                     port::CGEventRef event, void* userInfo);

inline constexpr port::CGEventMask kKeyTapMask = 0xC00;         // key down, key up
inline constexpr port::CGEventMask kMainTapMask = 0xE4010DE;    // buttons, drags, flags, wheel
inline constexpr port::CGEventMask kMovedTapMask = 0x20;        // mouse moved
inline constexpr port::CGEventMask kWatchTapMask = 0x20000000;  // gesture

struct VAtapMgrStatics {
  VAtapMgr* selfObject = nullptr;
  // Stored by the event thread as it starts, read by any thread that posts to it: null
  // until then, which the run-loop calls take as no loop.
  Published<port::RunLoop> sEventThreadRunLoop = nullptr;
  port::CFMachPortRef sTap = nullptr;
  port::CFRunLoopSourceRef sEventSrc = nullptr;
  port::CFMachPortRef sTapMMoved = nullptr;
  port::CFRunLoopSourceRef sEventSrcMMoved = nullptr;
  port::CFMachPortRef sTapWatch = nullptr;
  port::CFRunLoopSourceRef sEventSrcWatch = nullptr;
  port::CFMachPortRef sTapKeys = nullptr;
  port::CFRunLoopSourceRef sEventSrcKeys = nullptr;
  // Written by the run timer on the main thread, read by the callbacks and the re-enable
  // timer on the event thread; a stale read only delays a re-enable.
  Relaxed<uint8_t> sEnableEvTapMMoved = 1;
};

const VAtapMgrStatics& VAtapMgr_statics();
void VAtapMgr_reset();
