// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <pthread.h>

#include <cstddef>
#include <functional>

#include <gtest/gtest.h>

namespace vanto::testing {

/// Runs `work` on a thread with a stack of `bytes`.
inline void runOnSmallStack(std::size_t bytes, std::function<void()> work) {
  pthread_attr_t attributes;
  pthread_t thread;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, bytes), 0);
  const auto start = [](void* context) -> void* {
    (*static_cast<std::function<void()>*>(context))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, start, &work), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  pthread_attr_destroy(&attributes);
}

}  // namespace vanto::testing
