// SPDX-License-Identifier: Apache-2.0
#include "value/Memory.h"

#include <cstdint>

#include <sys/mman.h>

#include "value/Assertion.h"

namespace vanto {

void Memory::preferLargePages(void* memory, std::size_t size) noexcept {
  // A multiple of every size of small pages.
  constexpr std::uintptr_t largePage = std::uintptr_t{2} << 20;
  const auto begin = reinterpret_cast<std::uintptr_t>(memory);
  const std::uintptr_t first = (begin + largePage - 1) / largePage * largePage;
  const std::uintptr_t end = (begin + size) / largePage * largePage;
  if (first < end) static_cast<void>(madvise(reinterpret_cast<void*>(first), end - first, MADV_HUGEPAGE));
}

void Memory::fail(const char* operation) noexcept {
  assertionFailed(operation, __FILE_NAME__, __LINE__, "enough memory");
}

}  // namespace vanto
