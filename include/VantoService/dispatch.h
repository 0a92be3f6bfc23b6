// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <VantoService/Export.h>

// Dispatch: once-guards and serial queues. These functions have C++ linkage, since other libraries of a process may
// define the same plain names.

/// A once-guard: 0 = not run, -1 = done. Zero-initialise it and leave it alone.
using dispatch_once_t = std::int64_t;

/// Runs `function(context)` exactly once per guard. Callers that come while it runs wait for it; all see its effects
/// when they return. Entering a guard again from inside its own function is a broken invariant. An exception that
/// leaves the function ends the process.
VANTO_EXPORT void dispatch_once(dispatch_once_t* guard, void* context, void (*function)(void* context)) noexcept;

/// True when the guard is done; everything its function did is then visible. The fast path of a lazy getter.
[[nodiscard]] inline bool dispatch_once_done(const dispatch_once_t* guard) noexcept {
  return __atomic_load_n(guard, __ATOMIC_ACQUIRE) == -1;
}

/// The same for a callable, named or not, with the fast path inline.
template <typename Function>
void dispatch_once(dispatch_once_t* guard, Function&& function) noexcept {
  if (dispatch_once_done(guard)) return;
  auto call = [&function] {
    function();
  };
  dispatch_once(guard, &call, [](void* context) { (*static_cast<decltype(call)*>(context))(); });
}

/// A serial queue: runs its work items one at a time in the order of their arrival, on threads of the library. No
/// thread exists before the first item is submitted. Where the system refuses a thread the items wait until there is
/// one, which each further submission tries. A child made by fork() has no such threads: it may only execute another
/// program.
struct dispatch_queue_s;
using dispatch_queue_t = dispatch_queue_s*;

/// A new serial queue, owned by the caller; `label` is copied and names it to people, `attributes` must be null. Null
/// when `label` is null. Never starts a thread.
[[nodiscard]] VANTO_EXPORT dispatch_queue_t dispatch_queue_create(const char* label, const void* attributes);

/// The label, alive as long as the queue.
[[nodiscard]] VANTO_EXPORT const char* dispatch_queue_label(dispatch_queue_t queue);

VANTO_EXPORT void dispatch_queue_retain(dispatch_queue_t queue);
/// Drops a reference. A queue that still has work keeps itself until that is done.
VANTO_EXPORT void dispatch_queue_release(dispatch_queue_t queue);

/// Adds a work item: `function(context)` runs later on the queue, inside a temporary-object scope of its own. Any
/// thread.
VANTO_EXPORT void dispatch_queue_submit(dispatch_queue_t queue, void* context, void (*function)(void* context));

/// Adds a work item and waits until it has run; an idle queue runs it on the calling thread. From the queue itself this
/// is a broken invariant.
VANTO_EXPORT void dispatch_queue_submit_and_wait(dispatch_queue_t queue, void* context,
                                                 void (*function)(void* context));

/// Makes the main thread one of the threads that serve the queues. To be called on the main thread; never returns.
[[noreturn]] VANTO_EXPORT void dispatch_main();
