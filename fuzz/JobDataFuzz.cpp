// SPDX-License-Identifier: Apache-2.0
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <VantoService/tolven_data.h>

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

/// What unpacks must pack to the same bytes and have a description.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  tolven_data_t data = tolven_data_unpack(bytes, size);
  if (data == nullptr) return 0;
  std::size_t length = 0;
  void* packed = tolven_data_pack(data, &length);
  require(packed != nullptr && length == size && std::memcmp(packed, bytes, size) == 0);
  std::free(packed);
  std::free(tolven_data_copy_description(data));
  tolven_data_free(data);
  return 0;
}
