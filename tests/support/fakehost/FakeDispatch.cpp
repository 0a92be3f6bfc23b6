// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdlib>
#include <utility>

#include <VantoService/TemporaryScope.h>

#include "support/fakehost/FakeQueue.h"
#include "support/fakehost/HostState.h"

namespace vanto::test {
namespace {

/// Drops a reference; the caller has the lock.
void releaseLocked(HostState& state, dispatch_queue_t queue) {
  if (--queue->references != 0) return;
  state.queues.erase(std::find(state.queues.begin(), state.queues.end(), queue));
  delete queue;
}

void runScoped(const std::function<void()>& item) {
  const TemporaryScope scope;
  item();
}

}  // namespace

dispatch_queue_t makeQueue(std::string label) {
  HostState& state = HostState::shared();
  const std::lock_guard lock(state.mutex);
  auto* queue = new dispatch_queue_s;
  queue->label = std::move(label);
  state.queues.push_back(queue);
  return queue;
}

void retainQueue(dispatch_queue_t queue) {
  if (queue == nullptr) return;
  const std::lock_guard lock(HostState::shared().mutex);
  ++queue->references;
}

void releaseQueue(dispatch_queue_t queue) {
  if (queue == nullptr) return;
  HostState& state = HostState::shared();
  const std::lock_guard lock(state.mutex);
  releaseLocked(state, queue);
}

void enqueue(dispatch_queue_t queue, std::function<void()> item) {
  const std::lock_guard lock(HostState::shared().mutex);
  ++queue->references;
  queue->items.push_back(std::move(item));
}

void performQueues() {
  HostState& state = HostState::shared();
  const auto canRun = [](dispatch_queue_t queue) {
    return !queue->isRunning && !queue->items.empty();
  };
  for (std::unique_lock lock(state.mutex);; lock.lock()) {
    const auto found = std::find_if(state.queues.begin(), state.queues.end(), canRun);
    if (found == state.queues.end()) return;
    const dispatch_queue_t queue = *found;
    const std::function<void()> item = std::move(queue->items.front());
    queue->items.pop_front();
    queue->isRunning = true;
    lock.unlock();
    runScoped(item);
    lock.lock();
    queue->isRunning = false;
    releaseLocked(state, queue);
    lock.unlock();
  }
}

void clearQueues() {
  HostState& state = HostState::shared();
  std::deque<std::function<void()>> dropped;
  const std::lock_guard lock(state.mutex);
  for (const dispatch_queue_t queue : std::deque(state.queues)) {
    auto items = std::exchange(queue->items, {});
    for (auto& item : items) {
      dropped.push_back(std::move(item));
      releaseLocked(state, queue);
    }
  }
}

}  // namespace vanto::test

using vanto::test::called;
using vanto::test::enqueue;
using vanto::test::HostState;
using vanto::test::performQueues;
using vanto::test::record;
using vanto::test::textOf;

dispatch_queue_t dispatch_queue_create(const char* label, const void* attributes) {
  if (!called("dispatch_queue_create", {textOf(label), attributes == nullptr ? "null" : "attributes"})) return nullptr;
  if (attributes != nullptr) vanto::test::refuseUse("there are no attributes for a queue:", textOf(label));
  return label == nullptr ? nullptr : vanto::test::makeQueue(label);
}

const char* dispatch_queue_label(dispatch_queue_t queue) {
  record("dispatch_queue_label", {queue->label});
  return queue->label.c_str();
}

void dispatch_queue_retain(dispatch_queue_t queue) {
  record("dispatch_queue_retain", {queue == nullptr ? "null" : queue->label});
  vanto::test::retainQueue(queue);
}

void dispatch_queue_release(dispatch_queue_t queue) {
  record("dispatch_queue_release", {queue == nullptr ? "null" : queue->label});
  vanto::test::releaseQueue(queue);
}

void dispatch_queue_submit(dispatch_queue_t queue, void* context, void (*function)(void* context)) {
  record("dispatch_queue_submit", {queue->label});
  enqueue(queue, [context, function] { function(context); });
}

void dispatch_queue_submit_and_wait(dispatch_queue_t queue, void* context, void (*function)(void* context)) {
  record("dispatch_queue_submit_and_wait", {queue->label});
  bool isDone = false;
  enqueue(queue, [context, function, &isDone] {
    function(context);
    isDone = true;
  });
  performQueues();
  if (!isDone) vanto::test::refuseUse("a queue would wait for itself:", queue->label);
}

void dispatch_main() {
  record("dispatch_main");
  HostState& state = HostState::shared();
  if (state.whileRunning) state.whileRunning();
  performQueues();
  std::exit(0);
}
