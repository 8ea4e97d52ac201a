#include "waitingCalls.h"

#include <atomic>

namespace {
std::atomic<uint32_t> sReached[kWaitingCallCount];
}  // namespace

void waitingCall(Waiting call) {
  sReached[static_cast<size_t>(call)].fetch_add(1, std::memory_order_relaxed);
}

uint32_t waitingCallCount(Waiting call) {
  return sReached[static_cast<size_t>(call)].load(std::memory_order_relaxed);
}

void waitingCalls_reset() {
  for (auto& count : sReached) count.store(0, std::memory_order_relaxed);
}
