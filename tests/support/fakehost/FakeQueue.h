// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <functional>
#include <string>

#include <VantoService/dispatch.h>

/// A serial queue whose items wait until somebody performs them. HostState's mutex guards it.
struct dispatch_queue_s {
  std::string label;
  int references = 1;
  std::deque<std::function<void()>> items;
  /// An item is being performed, so that the next one must wait.
  bool isRunning = false;
};

namespace vanto::test {

/// A queue with one reference.
[[nodiscard]] dispatch_queue_t makeQueue(std::string label);

/// Null is ignored.
void retainQueue(dispatch_queue_t queue);
void releaseQueue(dispatch_queue_t queue);

/// Adds an item, which keeps the queue until it was performed.
void enqueue(dispatch_queue_t queue, std::function<void()> item);

/// Performs items, each inside a temporary-object scope, until none is left that can be performed on this thread now.
void performQueues();

/// Drops all items.
void clearQueues();

}  // namespace vanto::test
