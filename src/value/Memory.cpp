// SPDX-License-Identifier: Apache-2.0
#include "value/Memory.h"

#include "value/Assertion.h"

namespace vanto {

void Memory::fail(const char* operation) noexcept {
  assertionFailed(operation, __FILE_NAME__, __LINE__, "enough memory");
}

}  // namespace vanto
