#include "platform.h"

namespace port {

namespace {
Platform* sPlatform = nullptr;
}

void setPlatform(Platform* platform) {
  sPlatform = platform;
}

Platform& platform() {
  return *sPlatform;
}

}  // namespace port
