// The system log: one NSLog line per message.
#import <Foundation/Foundation.h>

#include "bridge.h"
#include "platform/api/system_log.h"
#include "ports.h"

namespace macos {
namespace {

class SystemLog final : public port::SystemLog {
 public:
  void log(std::string_view message) override { NSLog(@"%@", macos::toNSString(message)); }
};

}  // namespace

port::SystemLog& systemLog() {
  static SystemLog instance;
  return instance;
}

}  // namespace macos
