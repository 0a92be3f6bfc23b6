// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>

#include <VantoService/Object.h>
#include <VantoService/dispatch.h>

namespace vanto {

/// One function to run on a queue.
struct WorkItem {
  void (*function)(void* context);
  void* context;
  /// Becomes 1 when the item has run, for the thread that owns the item and waits; null for an item that the queue
  /// frees.
  std::atomic<std::uint32_t>* finished;
  WorkItem* next;
};

}  // namespace vanto

/// A serial queue. Its state is one word: idle, or owned with nothing new, or owned with a chain of items, newest
/// first, that the owner has not looked at yet. Who turns it from idle to owned is its owner and runs items, or puts it
/// on the list of queues that wait for a worker, which passes ownership on. So a queue has no lock, and adding to a
/// busy one costs no system call. An owned queue holds a reference to itself.
struct dispatch_queue_s final : public vanto::Object {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// A new queue with a copy of `label`.
  [[nodiscard]] static vanto::Ref<dispatch_queue_s> create(const char* label) noexcept;

  [[nodiscard]] const char* label() const noexcept { return label_; }

  /// Makes the calling thread the owner if the queue is idle.
  [[nodiscard]] bool tryOwn() noexcept;

  /// Adds an item. True when the queue was idle: the caller is its owner now.
  [[nodiscard]] bool add(vanto::WorkItem& item) noexcept;

  /// Runs a function on the calling thread, which owns the queue.
  void run(void* context, void (*function)(void* context)) noexcept;

  /// Runs items, as the owner, until there are none or other queues should have their turn. True when the queue became
  /// idle; the owner's reference is gone then.
  [[nodiscard]] bool runTurn() noexcept;

  /// Ends ownership, with the owner's reference, if nothing waits to be run.
  [[nodiscard]] bool tryDisown() noexcept;

  /// True while the calling thread runs an item of this queue.
  [[nodiscard]] bool isRunningHere() const noexcept;

  /// True while the calling thread runs an item of any queue.
  [[nodiscard]] static bool isAnyRunningHere() noexcept;

  /// Link of the list of queues that wait for a worker; belongs to that list.
  dispatch_queue_s* nextRunnable = nullptr;

 private:
  explicit dispatch_queue_s(const char* label) noexcept;

  [[nodiscard]] vanto::WorkItem* takeNext() noexcept;

  /// Null when idle, else a chain that ends in a mark.
  std::atomic<vanto::WorkItem*> incoming_{nullptr};
  /// Items in the order of their arrival, for the owner alone.
  vanto::WorkItem* pending_ = nullptr;
  /// Behind the object, in the same memory.
  const char* const label_;
};
