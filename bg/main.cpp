#include "main.h"

#include "Commonprefs.h"
#include "Commonprefs_offsets.h"
#include "VAcursor.h"
#include "VAevent.h"
#include "VAgrab.h"
#include "VAhover.h"
#include "VAinstall.h"
#include "VAkeys.h"
#include "VAremote.h"
#include "VAscroll.h"
#include "VAshow.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "VAutils.h"
#include "VAux.h"
#include "VAvector.h"
#include "bgDelegate.h"
#include "bgprefs.h"
#include "platform/api/platform.h"
#include "tarnwickCkUpdate.h"

void agent_resetModules() {
  bgDelegate_reset();
  VAtapMgr_reset();
  VAevent_reset();
  VAgrab_reset();
  VAhover_reset();
  VAinstall_reset();
  VAkeys_reset();
  VAshow_reset();
  VAvector_reset();
  VAcursor_reset();
  VAremote_reset();
  VAscroll_reset();
  VAstate_reset();
  VAutils_reset();
  VAux_reset();
  bgprefs_reset();
  Commonprefs_reset();
  Offsets_reset();
  tarnwickCkUpdate_reset();
}

int agent_main() {
  port::platform().application->run(&bgDelegate::applicationDidFinishLaunching);
  return 0;
}
