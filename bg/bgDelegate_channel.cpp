// The control channel with the preference pane: its port tells whether it runs, and
// distributed notifications carry small dictionaries each way.
#include "VAinstall.h"
#include "VAstate.h"
#include "acc/blockAtomic.h"
#include "bgDelegate.h"
#include "platform/api/platform.h"

using namespace port;

namespace {

// "m" as an integer, whatever number type the pane used; 0 when there is none.
int64_t messageNumber(const PlistDict& userInfo) {
  auto m = userInfo.find("m");
  if (m == userInfo.end()) return 0;
  if (auto* i = std::get_if<int64_t>(&m->second.value)) return *i;
  if (auto* d = std::get_if<double>(&m->second.value)) return static_cast<int64_t>(*d);
  if (auto* b = std::get_if<bool>(&m->second.value)) return *b ? 1 : 0;
  return 0;
}

}  // namespace

bool isFrontAppRunning() {
  bgDelegateStatics& s = bgDelegate_statics();
  if (s.FrontPortName.empty()) {
    s.FrontPortName = "com.tarnwick.v4" + std::to_string(platform().application->userId());
  }
  MessagePorts& ports = *platform().messagePorts;
  CFMessagePortRef remote = ports.createRemote(s.FrontPortName);
  if (!remote) return false;
  ports.invalidate(remote);
  ports.release(remote);
  return true;
}

void bgAppDelegateSendFrontApp_message_dict(const std::string& message, const PlistDict* data) {
  PlistDict userInfo;
  userInfo["m"] = PlistValue(message);
  userInfo["d"] = PlistValue(data ? *data : PlistDict{});
  platform().notifications->postNotification("com.tarnwick.v4bf", userInfo, true);
}

// The pane waits for the hot key the user presses next; the event thread hands the press
// over and the main queue sends it. A click ends the wait with 0 and 0.
void bgDelegate::notifyKeyPressed_mods(int keyCode, uint32_t flags) {
  dispatchMainWithAutoreleasePool([keyCode, flags] {
    PlistDict data;
    data["md"] = PlistValue(int64_t{flags});
    data["c"] = PlistValue(int64_t{keyCode});
    bgAppDelegateSendFrontApp_message_dict("k", &data);
  });
}

void appdelegate_relaunch() {
  Application& app = *platform().application;
  platform().workspace->launchApplication(app.bundlePath() + "/Contents/MacOS/Varsel Launcher.app");
  app.terminate();
}

void backReply(const PlistDict& userInfo) {
  switch (messageNumber(userInfo)) {
    case 3:
      dispatchMainWithAutoreleasePool([] {
        bgDelegate_statics().preferences.readPrefs();
        bgDelegate::runTimerOnMain();
      });
      break;
    case 7:
      platform().application->terminate();
      break;
    case 8: {
      // A pane of another version: this agent leaves the login items and quits.
      const std::string* paneVersion = stringEntry(userInfo, "s");
      std::string own =
          platform()
              .application->bundleShortVersionString(platform().application->bundlePath())
              .value_or("");
      if (!paneVersion || *paneVersion != own) {
        install_setOpenAtLogin(false);
        platform().application->terminate();
      }
      bgAppDelegate_validatePath();
      break;
    }
    case 9:
      install_addToAccessibility();
      appdelegate_relaunch();
      break;
    case 10:
      state_setInterceptNextKeypress(true);
      break;
    case 11:
      state_setInterceptNextKeypress(false);
      break;
    default:
      break;  // messages of other versions of the pane
  }
}
