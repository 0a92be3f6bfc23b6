// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <vector>

#include <VantoService/tolven_data.h>

namespace vanto::testing {

struct JobDataEnd {
  void operator()(tolven_data_t data) const { tolven_data_free(data); }
};
/// A tree that ends with its owner.
using OwnedJobData = std::unique_ptr<struct tolven_data, JobDataEnd>;

/// The description as C++ text.
inline std::string describe(const OwnedJobData& data) {
  const std::unique_ptr<char, void (*)(void*)> text(tolven_data_copy_description(data.get()), &std::free);
  return text.get();
}

/// The bytes, empty when there are none.
inline std::vector<std::uint8_t> pack(const OwnedJobData& data) {
  std::size_t length = 0;
  const std::unique_ptr<void, void (*)(void*)> packed(tolven_data_pack(data.get(), &length), &std::free);
  const auto* bytes = static_cast<const std::uint8_t*>(packed.get());
  return {bytes, bytes + length};
}

inline OwnedJobData unpack(const std::vector<std::uint8_t>& bytes) {
  return OwnedJobData(tolven_data_unpack(bytes.data(), bytes.size()));
}

// Short ways to make nodes. Results are owned by the caller or by what they are put into.

inline tolven_data_t stringData(const char* text) {
  tolven_data_t data = tolven_data_alloc(TOLVEN_DATA_STRING);
  tolven_data_set_string(data, text);
  return data;
}

inline tolven_data_t integerData(std::int64_t value) {
  tolven_data_t data = tolven_data_alloc(TOLVEN_DATA_INTEGER);
  tolven_data_set_integer(data, value);
  return data;
}

inline tolven_data_t arrayData(const std::vector<tolven_data_t>& elements) {
  tolven_data_t data = tolven_data_alloc(TOLVEN_DATA_ARRAY);
  for (std::size_t index = 0; index < elements.size(); ++index) {
    tolven_data_array_set_index(data, index, elements[index]);
  }
  return data;
}

/// An array in an array, `levels` of them.
inline tolven_data_t nestedArrayData(std::size_t levels) {
  tolven_data_t outermost = arrayData({});
  for (std::size_t level = 1; level < levels; ++level) outermost = arrayData({outermost});
  return outermost;
}

}  // namespace vanto::testing
