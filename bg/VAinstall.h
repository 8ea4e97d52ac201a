// Installation: the agent keeps its login item, removes earlier generations of the product
// (login items, an older agent, older panes, the privileged helper's older job), asks its
// privileged helper tool for what needs an administrator, and quits when it runs from a
// place it should not.
#pragma once

#include <string>

#include "platform/api/channels.h"

class VAinstall {
 public:
  // Registers for the helper's reply and finds the helper beside the executable; once.
  static void start();
  // The helper's reply notification: "c" the command answered, "r" "y" for success.
  static void vxsReply(const port::PlistDict& userInfo);
};

// Runs the helper once with (cmd, parm) as a launchd job of the system domain, under an
// administrator's authorization; the submission's error in `error`.
bool runBlessedHelper_cmd_parm_error(const std::string& cmd, const std::string& parm,
                                     std::string* error);
void install_removePrevVersions();
void install_addToAccessibility();
void install_setOpenAtLogin(bool on);
// Removes every login item whose name begins with `name`.
void removeLoginItemNamed_forSysVers(const std::string& name, uint32_t sysvers);
std::string runAppleScriptString(const std::string& source);
// From inside an installed pane: clears away what an earlier generation left.
void checkNeedToRemovePrevVersion();
// The agent quits unless it lies in /Applications or in the system's randomised copy of a
// fresh download.
void bgAppDelegate_validatePath();

struct VAinstallStatics {
  bool started = false;
  std::string sVxsPath;
  std::string oldAgentPortName;  // built once
};
VAinstallStatics& VAinstall_statics();
void VAinstall_reset();
