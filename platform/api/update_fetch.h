// Update check: a blocking HTTP GET with a time-out (NSURLRequest and NSURLConnection), the
// user notification centre with its delegate's click report, the checker's small dialog
// window (a title, an informative text, a default button and a second one), NSAlert and
// -[NSWorkspace openURL:].
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "preferences.h"

namespace port {

class UpdateFetch {
 public:
  virtual ~UpdateFetch() = default;
  // The body of a successful answer, fetched anew rather than from a cache; nothing on any
  // failure, a time-out included.
  virtual std::optional<std::vector<uint8_t>> dataWithContentsOfURL(const std::string& url,
                                                                    double timeoutSeconds) = 0;
};

// userNotificationCenter:didActivateNotification: for the notification `id`.
using NotificationActivatedCallBack = void (*)(int64_t id, const PlistDict& userInfo);
// The dialog's button pressed: the default one or the second.
using DialogButtonCallBack = void (*)(bool defaultButton);

struct DialogTexts {
  std::string title;
  std::string informativeText;
  std::string defaultButton;
  std::optional<std::string> secondButton;  // hidden when absent
};

class UserNotifications {
 public:
  virtual ~UserNotifications() = default;
  // Schedules a notification on the default centre, shown even while the agent is active;
  // returns its id.
  virtual int64_t deliverNotification(const std::string& title, const std::string& text,
                                      const PlistDict& userInfo) = 0;
  virtual void setActivationHandler(NotificationActivatedCallBack callback) = 0;
  virtual void removeDeliveredNotification(int64_t id) = 0;
  // The dialog window: its texts and buttons set, made key and ordered front; or ordered out.
  virtual void showDialog(const DialogTexts& texts) = 0;
  virtual void hideDialog() = 0;
  virtual void setDialogButtonHandler(DialogButtonCallBack callback) = 0;
  // Runs a modal alert and returns the index of the button pressed (0 is the first).
  virtual int runAlert(const std::string& message, const std::string& information,
                       const std::vector<std::string>& buttons) = 0;
  virtual bool openURL(const std::string& url) = 0;
};

}  // namespace port
