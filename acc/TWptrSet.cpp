#include "TWptrSet.h"

#include "platform/api/platform.h"

class TWptrSet::Guard {
 public:
  explicit Guard(port::NSLockRef lock) : lock_(lock) {
    if (lock_) port::platform().threads->lock(lock_);
  }
  ~Guard() {
    if (lock_) port::platform().threads->unlock(lock_);
  }
  Guard(const Guard&) = delete;
  Guard& operator=(const Guard&) = delete;

 private:
  port::NSLockRef lock_;
};

TWptrSet::~TWptrSet() {
  delete set_;
  if (lock_) port::platform().threads->lockRelease(lock_);
}

void TWptrSet::add(void* p) {
  if (!set_) {
    set_ = new std::unordered_set<void*>();
    set_->reserve(10);
    if (useLock_) lock_ = port::platform().threads->lockCreate();
  }
  Guard guard(lock_);
  set_->insert(p);
}

void TWptrSet::remove(void* p) {
  if (!set_) return;
  Guard guard(lock_);
  set_->erase(p);
}

bool TWptrSet::contains(void* p) {
  if (!set_) return false;
  Guard guard(lock_);
  return set_->count(p) != 0;
}
