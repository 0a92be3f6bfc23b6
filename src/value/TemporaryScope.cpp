// SPDX-License-Identifier: Apache-2.0
#include <VantoService/TemporaryScope.h>

#include <algorithm>
#include <utility>

#include <pthread.h>

#include <VantoService/Object.h>
#include <VantoService/dispatch.h>

#include "value/Assertion.h"
#include "value/Memory.h"

namespace vanto {

namespace {

/// The temporaries of a thread: those of its root scope first, then those of each open scope in the order of opening.
struct Pool {
  const Object** temporaries;
  std::size_t count;
  std::size_t capacity;
  /// Number of open scopes, the root scope not counted.
  std::size_t level;
};

/// Trivially destructible, so that it works until the very end of the thread.
__attribute__((tls_model("initial-exec"))) constinit thread_local Pool pool{};

constinit dispatch_once_t keyGuard = 0;
constinit pthread_key_t key = 0;

void releaseDownTo(std::size_t count) noexcept {
  // What a release makes end may add temporaries of its own; they go in the same sweep.
  while (pool.count > count) pool.temporaries[--pool.count]->release();
}

/// Releases the root scope of a thread that ends. A later destructor of the thread may add temporaries again; the
/// thread then comes here once more.
void endThread(void*) noexcept {
  releaseDownTo(0);
  Memory::free(std::exchange(pool.temporaries, nullptr));
  pool.capacity = 0;
}

void grow() noexcept {
  dispatch_once(&keyGuard, [] {
    const int failure = pthread_key_create(&key, [](void* value) { endThread(value); });
    VANTO_ASSERT_IN("TemporaryScope", failure == 0);
  });
  if (pool.capacity == 0) {
    const int failure = pthread_setspecific(key, &pool);
    VANTO_ASSERT_IN("TemporaryScope", failure == 0);
  }
  pool.capacity = std::max(Memory::product(pool.capacity, 2), std::size_t{64});
  const std::size_t size = Memory::product(pool.capacity, sizeof(Object*));
  pool.temporaries = static_cast<const Object**>(Memory::resize(pool.temporaries, size));
}

}  // namespace

void addTemporary(const Object& object) noexcept {
  if (pool.count == pool.capacity) [[unlikely]]
    grow();
  pool.temporaries[pool.count++] = &object;
}

TemporaryScope::TemporaryScope() noexcept : thread_(&pool), level_(++pool.level), firstTemporary_(pool.count) {}

TemporaryScope::~TemporaryScope() {
  close();
}

void TemporaryScope::close() noexcept {
  if (level_ == 0) return;
  VANTO_ASSERT_IN("TemporaryScope close", thread_ == &pool);
  VANTO_ASSERT_IN("TemporaryScope close", level_ == pool.level);
  releaseDownTo(firstTemporary_);
  --pool.level;
  level_ = 0;
}

}  // namespace vanto
