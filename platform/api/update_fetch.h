// Update fetch and user notifications: a blocking HTTP GET (NSData dataWithContentsOfURL:),
// NSUserNotificationCenter, NSAlert and -[NSWorkspace openURL:].
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace port {

class UpdateFetch {
 public:
  virtual ~UpdateFetch() = default;
  virtual std::optional<std::vector<uint8_t>> dataWithContentsOfURL(const std::string& url) = 0;
};

class UserNotifications {
 public:
  virtual ~UserNotifications() = default;
  virtual void deliverNotification(const std::string& title, const std::string& text,
                                   const std::string& actionURL) = 0;
  // Runs a modal alert and returns the index of the button pressed (0 is the first).
  virtual int runAlert(const std::string& message, const std::string& information,
                       const std::vector<std::string>& buttons) = 0;
  virtual bool openURL(const std::string& url) = 0;
};

}  // namespace port
