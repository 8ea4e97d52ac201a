// A unit of work handed to a run loop, a queue or a thread: the role an Objective-C block
// plays on macOS. The closure lives inline in fixed storage, so a Block itself never touches
// the heap. On macOS the system's block that carries it to the other thread is copied to the
// heap, as every hand-over there is.
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

namespace port {

class Block {
 public:
  static constexpr std::size_t kCapacity = 64;

  Block() noexcept = default;

  template <class F, class = std::enable_if_t<!std::is_same_v<std::decay_t<F>, Block>>>
  Block(F&& f) {  // NOLINT(google-explicit-constructor): blocks are written as lambdas
    using Fn = std::decay_t<F>;
    static_assert(sizeof(Fn) <= kCapacity, "closure too large for a Block");
    static_assert(alignof(Fn) <= alignof(std::max_align_t));
    static_assert(std::is_nothrow_move_constructible_v<Fn>);
    ::new (static_cast<void*>(storage_)) Fn(std::forward<F>(f));
    ops_ = &kOps<Fn>;
  }

  Block(const Block& other) {
    if (other.ops_) {
      other.ops_->copy(storage_, other.storage_);
      ops_ = other.ops_;
    }
  }

  Block(Block&& other) noexcept { take(other); }

  Block& operator=(Block other) noexcept {
    reset();
    take(other);
    return *this;
  }

  ~Block() { reset(); }

  explicit operator bool() const { return ops_ != nullptr; }

  void operator()() {
    if (ops_) ops_->call(storage_);
  }

 private:
  struct Ops {
    void (*call)(void*);
    void (*copy)(void*, const void*);
    void (*move)(void*, void*);
    void (*destroy)(void*);
  };

  template <class Fn>
  static constexpr Ops kOps = {
      [](void* p) { (*static_cast<Fn*>(p))(); },
      [](void* to, const void* from) { ::new (to) Fn(*static_cast<const Fn*>(from)); },
      [](void* to, void* from) { ::new (to) Fn(std::move(*static_cast<Fn*>(from))); },
      [](void* p) { static_cast<Fn*>(p)->~Fn(); },
  };

  void take(Block& other) noexcept {
    if (other.ops_) {
      other.ops_->move(storage_, other.storage_);
      ops_ = other.ops_;
      other.reset();
    }
  }

  void reset() noexcept {
    if (ops_) {
      ops_->destroy(storage_);
      ops_ = nullptr;
    }
  }

  alignas(std::max_align_t) unsigned char storage_[kCapacity];
  const Ops* ops_ = nullptr;
};

}  // namespace port
