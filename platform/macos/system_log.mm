// The system log: one NSLog line per message.
#import <Foundation/Foundation.h>

#include "platform/api/system_log.h"
#include "ports.h"

namespace macos {
namespace {

class SystemLog final : public port::SystemLog {
 public:
  void log(std::string_view message) override {
    NSLog(@"%.*s", static_cast<int>(message.size()), message.data());
  }
};

}  // namespace

port::SystemLog& systemLog() {
  static SystemLog instance;
  return instance;
}

}  // namespace macos
