// SPDX-License-Identifier: Apache-2.0
#include <VantoService/dispatch.h>
#include <VantoService/vanto.h>

// The queues of dispatch for callers in C, who cannot name functions with C++ linkage.

vanto_queue_t vanto_queue_create(const char* label) {
  return label != nullptr ? dispatch_queue_create(label, nullptr) : nullptr;
}

vanto_queue_t vanto_queue_retain(vanto_queue_t queue) {
  if (queue != nullptr) dispatch_queue_retain(queue);
  return queue;
}

void vanto_queue_release(vanto_queue_t queue) {
  if (queue != nullptr) dispatch_queue_release(queue);
}
