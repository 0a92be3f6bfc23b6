// SPDX-License-Identifier: Apache-2.0
#include <VantoService/dispatch.h>

#include <new>

#include <unistd.h>

#include "dispatch/Futex.h"
#include "dispatch/Pool.h"
#include "dispatch/Queue.h"
#include "dispatch/Workers.h"
#include "value/Assertion.h"
#include "value/Memory.h"

namespace {

using vanto::Pool;
using vanto::WorkItem;

/// How often a thread that waits for its item tries to get a worker made where there was none to be had, or, as the
/// only one, looks for what another thread has left it.
constexpr std::uint64_t retryNanoseconds = 10'000'000;

void submit(dispatch_queue_s& queue, WorkItem& item, Pool::Urgency urgency) noexcept {
  if (queue.add(item)) Pool::shared().serve(queue, urgency);
}

/// Runs a function on the calling thread, which owns the queue, and leaves what came meanwhile to a worker.
void runAsOwner(dispatch_queue_s& queue, void* context, void (*function)(void*)) noexcept {
  queue.run(context, function);
  if (!queue.tryDisown()) Pool::shared().serve(queue, Pool::Urgency::WhenConvenient);
}

}  // namespace

dispatch_queue_t dispatch_queue_create(const char* label, const void* attributes) {
  VANTO_ASSERT(attributes == nullptr);
  return label != nullptr ? dispatch_queue_s::create(label).leak() : nullptr;
}

const char* dispatch_queue_label(dispatch_queue_t queue) {
  return queue->label();
}

void dispatch_queue_retain(dispatch_queue_t queue) {
  if (queue != nullptr) queue->retain();
}

void dispatch_queue_release(dispatch_queue_t queue) {
  if (queue != nullptr) queue->release();
}

void dispatch_queue_submit(dispatch_queue_t queue, void* context, void (*function)(void*)) {
  VANTO_ASSERT(function != nullptr);
  void* const memory = vanto::Memory::allocate(sizeof(WorkItem));
  submit(*queue, *::new (memory) WorkItem{function, context, nullptr, nullptr}, Pool::Urgency::WhenConvenient);
}

void dispatch_queue_submit_and_wait(dispatch_queue_t queue, void* context, void (*function)(void*)) {
  VANTO_ASSERT(function != nullptr);
  VANTO_ASSERT(!queue->isRunningHere());
  if (queue->tryOwn()) return runAsOwner(*queue, context, function);
  std::atomic<std::uint32_t> finished{0};
  WorkItem item{function, context, &finished, nullptr};
  submit(*queue, item, Pool::Urgency::AtOnce);
  Pool& pool = Pool::shared();
  const bool isOnlyWorker = pool.isOnlyWorkerHere();
  while (finished.load(std::memory_order_acquire) == 0) {
    if (isOnlyWorker && pool.runQueueInPlace()) continue;
    vanto::waitWhileEqual(finished, 0, !isOnlyWorker && pool.start() ? vanto::waitForever : retryNanoseconds);
  }
}

void dispatch_main() {
  VANTO_ASSERT(getpid() == gettid());
  Pool::shared().join();
}

namespace vanto {

void runOnQueue(dispatch_queue_t queue, void* context, void (*function)(void*)) noexcept {
  if (!dispatch_queue_s::isAnyRunningHere() && queue->tryOwn()) return runAsOwner(*queue, context, function);
  dispatch_queue_submit(queue, context, function);
}

}  // namespace vanto
