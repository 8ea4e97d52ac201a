// A value written on one thread and read on another without a lock: a flag of the scrolling
// mode, a time, a speed. Each load and store is atomic with relaxed ordering, so a reader
// sees the old or the new value, never a torn one, and the compiler may not cache it; on
// x86 and ARM that is the same plain load and store the values would otherwise be. Nothing
// is ordered by it: a reader may see a change one event late, and where two such values
// must be seen together the code says so at that place.
#pragma once

#include <atomic>

template <class T>
class Relaxed {
  static_assert(std::atomic<T>::is_always_lock_free, "a lock would be taken on the hot path");

 public:
  constexpr Relaxed(T value = T{}) : value_(value) {}
  Relaxed(const Relaxed& other) : value_(other.load()) {}
  Relaxed& operator=(const Relaxed& other) {
    store(other.load());
    return *this;
  }
  Relaxed& operator=(T value) {
    store(value);
    return *this;
  }
  operator T() const { return load(); }
  T load() const { return value_.load(std::memory_order_relaxed); }
  void store(T value) { value_.store(value, std::memory_order_relaxed); }
  // Adds atomically and answers the value before: two threads counting at once lose no step.
  T fetchAdd(T delta) { return value_.fetch_add(delta, std::memory_order_relaxed); }

 private:
  std::atomic<T> value_;
};

// A pointer to something one thread makes and others then use, published once it is ready:
// the store releases and each load acquires, so a reader that sees the pointer sees what was
// done to the object before it was stored.
template <class T>
class Published {
  static_assert(std::atomic<T*>::is_always_lock_free, "a lock would be taken on the hot path");

 public:
  constexpr Published(T* value = nullptr) : value_(value) {}
  Published(const Published& other) : value_(other.load()) {}
  Published& operator=(const Published& other) {
    store(other.load());
    return *this;
  }
  Published& operator=(T* value) {
    store(value);
    return *this;
  }
  operator T*() const { return load(); }
  T* load() const { return value_.load(std::memory_order_acquire); }
  void store(T* value) { value_.store(value, std::memory_order_release); }

 private:
  std::atomic<T*> value_;
};
