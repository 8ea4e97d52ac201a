#include "waitingCalls.h"

#include <atomic>

namespace {
std::atomic<uint32_t> sReached[kWaitingCallCount];
std::atomic<int64_t> sLastArgument[kWaitingCallCount];
}  // namespace

void waitingCall(Waiting call, int64_t argument) {
  sReached[static_cast<size_t>(call)].fetch_add(1, std::memory_order_relaxed);
  sLastArgument[static_cast<size_t>(call)].store(argument, std::memory_order_relaxed);
}

uint32_t waitingCallCount(Waiting call) {
  return sReached[static_cast<size_t>(call)].load(std::memory_order_relaxed);
}

int64_t waitingCallArgument(Waiting call) {
  return sLastArgument[static_cast<size_t>(call)].load(std::memory_order_relaxed);
}

void waitingCalls_reset() {
  for (auto& count : sReached) count.store(0, std::memory_order_relaxed);
  for (auto& argument : sLastArgument) argument.store(0, std::memory_order_relaxed);
}
