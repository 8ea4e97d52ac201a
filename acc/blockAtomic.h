// BlockWithAutoreleasePool: wraps work handed to another thread so that it runs inside an
// autorelease pool of its own; nothing it autoreleases outlives it on that thread.
#pragma once

#include <type_traits>
#include <utility>

#include "platform/api/platform.h"

template <class F>
port::Block BlockWithAutoreleasePool(F&& work) {
  return port::Block([work = std::forward<F>(work)]() mutable {
    port::Threads& threads = *port::platform().threads;
    void* pool = threads.autoreleasePoolPush();
    work();
    threads.autoreleasePoolPop(pool);
  });
}

// Queues `work` on the main queue, in a pool of its own: how every hand-over to the main
// thread goes.
template <class F>
void dispatchMainWithAutoreleasePool(F&& work) {
  port::Dispatch& dispatch = *port::platform().dispatch;
  dispatch.async(dispatch.getMainQueue(), BlockWithAutoreleasePool(std::forward<F>(work)));
}

// Runs `work` now inside a fresh autorelease pool, as each tap callback does per event.
template <class F>
decltype(auto) withAutoreleasePool(F&& work) {
  port::Threads& threads = *port::platform().threads;
  struct Pop {
    port::Threads& threads;
    void* pool;
    ~Pop() { threads.autoreleasePoolPop(pool); }
  } pop{threads, threads.autoreleasePoolPush()};
  return std::forward<F>(work)();
}
