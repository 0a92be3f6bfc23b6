// SPDX-License-Identifier: Apache-2.0
// Whatever is read in the binary form is written again as the very same bytes, and reads back equal; whatever is
// refused is refused with a place inside the bytes and a reason. Input that does not begin like the form gets its
// beginning.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include <VantoService/PropertyList.h>

#include "value/PropertyListBinary.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

void check(std::span<const std::uint8_t> bytes) {
  vanto::PropertyListError error;
  const vanto::Ref<PlistValue> value = vanto::createPropertyList(bytes, &error);
  if (!value) {
    require(error.line == 0 && error.column >= 1 && error.column <= bytes.size() + 1);
    require(!error.message.empty());
    return;
  }
  const vanto::Ref<PlistData> written = vanto::createPropertyListBinary(*value);
  require(written && std::ranges::equal(written->bytes(), bytes));
  const vanto::Ref<PlistValue> again = vanto::createPropertyList(written->bytes());
  require(again && again->isEqual(value.get()) && value->isEqual(again.get()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace vanto::binary;
  if (size != 0 && data[0] == magic[0]) {
    check({data, size});
    return 0;
  }
  std::vector<std::uint8_t> bytes(std::begin(magic), std::end(magic));
  bytes.push_back(version);
  bytes.insert(bytes.end(), data, data + size);
  check(bytes);
  return 0;
}
