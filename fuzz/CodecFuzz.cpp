// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "host/ipc/CodecSample.h"
#include "ipc/Codec.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

/// What decodes must encode to the same bytes, list as many descriptors as came, equal a second decoding of them, and
/// have a description.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  using vanto::Ref;
  const vanto::test::CodecSample sample({bytes, size});
  std::vector<vanto::Fd> descriptors = sample.descriptors();
  const Ref<vanto_object> object = vanto::decodeObject(sample.body(), descriptors);
  if (!object) return 0;

  vanto::EncodedObject encoded;
  require(encoded.encode(object.get()) == VANTO_ERROR_NONE);
  require(std::ranges::equal(encoded.bytes(), sample.body()));
  require(encoded.descriptors().size() == descriptors.size());
  if (descriptors.empty()) {
    const Ref<vanto_object> again = vanto::decodeObject(encoded.bytes(), {});
    require(vanto_equal(again.get(), object.get()));
  }
  std::free(vanto_copy_description(object.get()));
  return 0;
}
