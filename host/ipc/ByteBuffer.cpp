// SPDX-License-Identifier: Apache-2.0
#include "ipc/ByteBuffer.h"

#include <algorithm>

#include "value/Memory.h"

namespace vanto {
namespace {

constexpr std::size_t firstCapacity = 512;

}  // namespace

ByteBuffer::~ByteBuffer() {
  Memory::free(memory_);
}

bool ByteBuffer::grow(std::size_t size, std::size_t limit) noexcept {
  if (size_ > limit || size > limit - size_) return false;
  const std::size_t wanted = std::max({firstCapacity, 2 * capacity_, size_ + size});
  capacity_ = std::max(size_ + size, std::min(wanted, limit));
  memory_ = static_cast<std::uint8_t*>(Memory::resize(memory_, capacity_));
  return true;
}

}  // namespace vanto
