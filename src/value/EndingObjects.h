// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <VantoService/Object.h>

namespace vanto {

/// Keeps the end of containers inside containers from using stack without bound. The destroy function of a container
/// makes one on its stack before it releases its children. On each thread a few ends may nest; a container that would
/// end deeper is put on the thread's list instead and ends when the outermost one has released its own children.
class EndingObjects {
 public:
  /// True when `object`, whose last reference is gone, was put on the list: the destroy function then leaves it alone
  /// and is called again later.
  [[nodiscard]] static bool postponed(const Object& object) noexcept;

  EndingObjects() noexcept;
  ~EndingObjects();
  EndingObjects(const EndingObjects&) = delete;
  EndingObjects& operator=(const EndingObjects&) = delete;
};

}  // namespace vanto
