// SPDX-License-Identifier: Apache-2.0
#include "dispatch/Queue.h"

#include <cstring>
#include <new>

#include <VantoService/TemporaryScope.h>

#include "dispatch/Futex.h"
#include "value/Memory.h"
#include "value/ValueStorage.h"

namespace {

using vanto::WorkItem;

constinit const vanto::Class queueClass{
    "dispatch_queue_s", &vanto::objectClass, vanto::NoKind, nullptr, nullptr, nullptr};

/// End of the chain of an owned queue; never run.
constinit WorkItem ownedMark{nullptr, nullptr, nullptr, nullptr};

/// After so many items a queue lets others have their turn.
constexpr int itemsPerTurn = 64;

/// The items that a thread is running, innermost first.
struct Frame {
  const dispatch_queue_s* queue;
  const Frame* outer;
};
constinit thread_local const Frame* innermostFrame = nullptr;

WorkItem* inOrderOfArrival(WorkItem* chain) noexcept {
  WorkItem* result = nullptr;
  while (chain != &ownedMark) {
    WorkItem* const next = chain->next;
    chain->next = result;
    result = chain;
    chain = next;
  }
  return result;
}

}  // namespace

const vanto::Class& dispatch_queue_s::classDescriptor() noexcept {
  return queueClass;
}

dispatch_queue_s::dispatch_queue_s(const char* label) noexcept : Object(queueClass), label_(label) {}

vanto::Ref<dispatch_queue_s> dispatch_queue_s::create(const char* label) noexcept {
  const std::size_t labelSize = std::strlen(label) + 1;
  void* const memory = allocate(sizeof(dispatch_queue_s), labelSize);
  char* const copy = static_cast<char*>(memory) + sizeof(dispatch_queue_s);
  std::memcpy(copy, label, labelSize);
  return vanto::Ref<dispatch_queue_s>::adopt(::new (memory) dispatch_queue_s(copy));
}

bool dispatch_queue_s::tryOwn() noexcept {
  WorkItem* idle = nullptr;
  // Acquire: what the items before did comes before what the new owner runs.
  if (!incoming_.compare_exchange_strong(idle, &ownedMark, std::memory_order_acquire, std::memory_order_relaxed)) {
    return false;
  }
  retain();
  return true;
}

bool dispatch_queue_s::add(WorkItem& item) noexcept {
  WorkItem* newest = incoming_.load(std::memory_order_relaxed);
  do {
    item.next = newest != nullptr ? newest : &ownedMark;
    // Release: the item is complete before the owner sees it. Acquire: for the case that this thread becomes the owner.
  } while (!incoming_.compare_exchange_weak(newest, &item, std::memory_order_acq_rel, std::memory_order_relaxed));
  if (newest != nullptr) return false;
  retain();
  return true;
}

void dispatch_queue_s::run(void* context, void (*function)(void*)) noexcept {
  const Frame frame{this, innermostFrame};
  innermostFrame = &frame;
  {
    const vanto::TemporaryScope scope;
    function(context);
  }
  innermostFrame = frame.outer;
}

bool dispatch_queue_s::tryDisown() noexcept {
  if (pending_ != nullptr) return false;
  WorkItem* nothingNew = &ownedMark;
  if (!incoming_.compare_exchange_strong(nothingNew, nullptr, std::memory_order_release, std::memory_order_relaxed)) {
    return false;
  }
  release();
  return true;
}

WorkItem* dispatch_queue_s::takeNext() noexcept {
  if (pending_ == nullptr) pending_ = inOrderOfArrival(incoming_.exchange(&ownedMark, std::memory_order_acquire));
  WorkItem* const item = pending_;
  if (item != nullptr) pending_ = item->next;
  return item;
}

bool dispatch_queue_s::runTurn() noexcept {
  for (int i = 0; i < itemsPerTurn; ++i) {
    if (tryDisown()) return true;
    WorkItem& item = *takeNext();
    std::atomic<std::uint32_t>* const finished = item.finished;
    run(item.context, item.function);
    if (finished == nullptr) {
      vanto::Memory::free(&item);
      continue;
    }
    // The item is gone as soon as its owner sees this.
    finished->store(1, std::memory_order_release);
    vanto::wakeOne(*finished);
  }
  return tryDisown();
}

bool dispatch_queue_s::isRunningHere() const noexcept {
  const Frame* frame = innermostFrame;
  while (frame != nullptr && frame->queue != this) frame = frame->outer;
  return frame != nullptr;
}

bool dispatch_queue_s::isAnyRunningHere() noexcept {
  return innermostFrame != nullptr;
}
