// A set of raw pointers (identity only, nothing retained), optionally guarded by a lock.
// Without the lock, the owner keeps it to one thread.
#pragma once

#include <unordered_set>

#include "platform/api/run_loop.h"

class TWptrSet {
 public:
  explicit TWptrSet(bool useLock) : useLock_(useLock) {}  // initWithLock:
  ~TWptrSet();
  TWptrSet(const TWptrSet&) = delete;
  TWptrSet& operator=(const TWptrSet&) = delete;

  void add(void* p);
  void remove(void* p);
  bool contains(void* p);

 private:
  class Guard;

  // Made on the first add, so an unused set costs nothing.
  std::unordered_set<void*>* set_ = nullptr;
  port::NSLockRef lock_ = nullptr;
  bool useLock_;
};
