// The display-sleep power assertion (IOPMLib).
#import <Foundation/Foundation.h>

#include <IOKit/pwr_mgt/IOPMLib.h>

#include "bridge.h"
#include "platform/api/power.h"
#include "ports.h"

namespace macos {
namespace {

class Power final : public port::Power {
 public:
  port::IOPMAssertionID createNoDisplaySleepAssertion(const std::string& name) override {
    IOPMAssertionID id = 0;
    if (IOPMAssertionCreateWithName(kIOPMAssertionTypeNoDisplaySleep, kIOPMAssertionLevelOn,
                                    (CFStringRef)toNSString(name), &id) != kIOReturnSuccess)
      return 0;
    return id;
  }
  void releaseAssertion(port::IOPMAssertionID id) override { IOPMAssertionRelease(id); }
};

}  // namespace

port::Power& power() {
  static Power instance;
  return instance;
}

}  // namespace macos
