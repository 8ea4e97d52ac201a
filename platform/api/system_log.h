// The system log (NSLog / os_log): one line per message.
#pragma once

#include <string_view>

namespace port {

class SystemLog {
 public:
  virtual ~SystemLog() = default;
  virtual void log(std::string_view message) = 0;
};

}  // namespace port
