// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fcntl.h>
#include <sys/mman.h>

#include <string_view>

#include "ipc/Codec.h"
#include "ipc/IPCObject.h"
#include "value/Fd.h"

namespace vanto::test {

/// Takes over what a function of the C interface gave.
[[nodiscard]] inline Ref<vanto_object> own(vanto_object_t object) {
  return Ref<vanto_object>::adopt(object);
}

inline constexpr int allSeals = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

/// A memfd with `text` in it, made `size` bytes large where that is more, and sealed.
[[nodiscard]] inline Fd memoryFile(std::string_view text, int seals = allSeals, off_t size = 0) {
  Fd memory(memfd_create("sample", MFD_CLOEXEC | MFD_ALLOW_SEALING));
  if (write(memory.get(), text.data(), text.size()) != static_cast<ssize_t>(text.size())) return Fd();
  if (size != 0 && ftruncate(memory.get(), size) != 0) return Fd();
  if (seals != 0 && fcntl(memory.get(), F_ADD_SEALS, seals) != 0) return Fd();
  return memory;
}

/// An array in an array, `levels` of them.
[[nodiscard]] inline Ref<vanto_object> nestedArrays(std::size_t levels) {
  Ref<vanto_object> outermost = own(vanto_array_create(nullptr, 0));
  for (std::size_t level = 1; level < levels; ++level) {
    vanto_object_t inner = outermost.get();
    outermost = own(vanto_array_create(&inner, 1));
  }
  return outermost;
}

}  // namespace vanto::test
