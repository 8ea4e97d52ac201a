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
    IOPMAssertionID assertion = 0;
    if (IOPMAssertionCreateWithName(kIOPMAssertionTypeNoDisplaySleep, kIOPMAssertionLevelOn,
                                    (CFStringRef)toNSString(name), &assertion) != kIOReturnSuccess)
      return 0;
    return assertion;
  }
  void releaseAssertion(port::IOPMAssertionID id) override { IOPMAssertionRelease(id); }
};

}  // namespace

port::Power& power() {
  static Power instance;
  return instance;
}

}  // namespace macos
