#include "main.h"

#include "Commonprefs.h"
#include "VAevent.h"
#include "VAstate.h"
#include "VAtapMgr.h"
#include "VAutils.h"
#include "bgDelegate.h"
#include "bgprefs.h"

void agent_resetModules() {
  bgDelegate_reset();
  VAtapMgr_reset();
  VAevent_reset();
  VAstate_reset();
  VAutils_reset();
  bgprefs_reset();
  Commonprefs_reset();
}
