// Power: the display-sleep assertion (IOPMAssertionCreateWithName, IOPMAssertionRelease).
#pragma once

#include <cstdint>
#include <string>

namespace port {

using IOPMAssertionID = uint32_t;

class Power {
 public:
  virtual ~Power() = default;
  // kIOPMAssertionTypeNoDisplaySleep; 0 when it could not be made.
  virtual IOPMAssertionID createNoDisplaySleepAssertion(const std::string& name) = 0;
  virtual void releaseAssertion(IOPMAssertionID id) = 0;
};

}  // namespace port
