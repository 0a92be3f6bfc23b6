// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include <VantoService/Export.h>

namespace vanto::bench {

/// The least that a cached getter in a shared library can be: one comparison of a guard, one load of a field.
class VANTO_EXPORT GetterByHand {
 public:
  explicit GetterByHand(void* value) noexcept : source_(value) {}

  /// The value, computed at the first call.
  [[nodiscard]] void* value() noexcept;

 private:
  void compute() noexcept;

  void* source_;
  void* value_ = nullptr;
  /// 0 not computed, -1 computed.
  std::int64_t predicate_ = 0;
};

}  // namespace vanto::bench
