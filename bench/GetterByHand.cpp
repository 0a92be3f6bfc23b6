// SPDX-License-Identifier: Apache-2.0
#include "GetterByHand.h"

namespace vanto::bench {

void* GetterByHand::value() noexcept {
  if (predicate_ != -1) [[unlikely]]
    compute();
  return value_;
}

void GetterByHand::compute() noexcept {
  value_ = source_;
  predicate_ = -1;
}

}  // namespace vanto::bench
