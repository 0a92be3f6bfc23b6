// SPDX-License-Identifier: Apache-2.0
#include "value/EndingObjects.h"

namespace vanto {

namespace {

/// Containers whose ends may nest on one thread.
constexpr std::size_t maximumDepth = 64;

/// Containers of this thread that are ending one inside the other.
__attribute__((tls_model("initial-exec"))) constinit thread_local std::size_t depth = 0;
/// Containers of this thread that wait for their end, the latest first.
__attribute__((tls_model("initial-exec"))) constinit thread_local const Object* waiting = nullptr;

}  // namespace

bool EndingObjects::postponed(const Object& object) noexcept {
  if (depth < maximumDepth) return false;
  object.nextEnding_ = waiting;
  waiting = &object;
  return true;
}

EndingObjects::EndingObjects() noexcept {
  ++depth;
}

EndingObjects::~EndingObjects() {
  if (depth == 1) {
    // The depth stays 1 meanwhile, so that what ends here does not come here as well.
    while (waiting != nullptr) {
      const Object* object = waiting;
      waiting = object->nextEnding_;
      object->end();
    }
  }
  --depth;
}

}  // namespace vanto
