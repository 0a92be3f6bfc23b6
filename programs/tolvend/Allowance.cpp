// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Allowance.h"

namespace vanto::manager {

bool Allowance::use(std::uint64_t now) noexcept {
  if (used_ == 0 || now >= renewal()) {
    begin_ = now;
    used_ = 0;
  }
  ++used_;
  return used_ < count_;
}

}  // namespace vanto::manager
