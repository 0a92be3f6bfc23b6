// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobTree.h"

#include <cstddef>
#include <cstring>
#include <utility>

#include "ipc/DescriptionText.h"
#include "value/limits.h"

namespace vanto::manager {

namespace {

/// What refusals show of a text.
constexpr std::size_t quotedBytes = 256;

/// One walk through an object. Its depth is that of the limit at most, so it may use the stack.
class Conversion {
 public:
  [[nodiscard]] JobTree convert(vanto_object_t object);
  [[nodiscard]] std::string& refusal() noexcept { return refusal_; }

 private:
  [[nodiscard]] JobTree convertArray(vanto_object_t array);
  [[nodiscard]] JobTree convertDictionary(vanto_object_t dictionary);
  [[nodiscard]] JobTree convertText(vanto_object_t string);
  [[nodiscard]] JobTree convertBytes(vanto_object_t data);
  [[nodiscard]] JobTree refuseSize();
  /// Counts what a node needs at least. False, with a refusal, when all of it would be too much.
  [[nodiscard]] bool take(std::size_t bytes);

  std::string refusal_;
  std::size_t bytesLeft_ = limits::jobDataBytes;
  std::size_t nesting_ = 0;
};

JobTree made(tolven_data_kind_t kind) {
  return JobTree(tolven_data_alloc(kind));
}

JobTree Conversion::convert(vanto_object_t object) {
  if (!take(8)) return nullptr;
  switch (vanto_kind(object)) {
    case VANTO_KIND_STRING:
      return convertText(object);
    case VANTO_KIND_DATA:
      return convertBytes(object);
    case VANTO_KIND_ARRAY:
      return convertArray(object);
    case VANTO_KIND_DICTIONARY:
      return convertDictionary(object);
    case VANTO_KIND_BOOL: {
      JobTree node = made(TOLVEN_DATA_BOOL);
      tolven_data_set_bool(node.get(), vanto_bool_get_value(object));
      return node;
    }
    case VANTO_KIND_INT64: {
      JobTree node = made(TOLVEN_DATA_INTEGER);
      tolven_data_set_integer(node.get(), vanto_int64_get_value(object));
      return node;
    }
    case VANTO_KIND_DOUBLE: {
      JobTree node = made(TOLVEN_DATA_REAL);
      tolven_data_set_real(node.get(), vanto_double_get_value(object));
      return node;
    }
    default:
      refusal_ = "the job holds something that is no value, such as a descriptor or an error; leave that out";
      return nullptr;
  }
}

JobTree Conversion::convertText(vanto_object_t string) {
  if (!take(vanto_string_get_length(string))) return nullptr;
  JobTree node = made(TOLVEN_DATA_STRING);
  tolven_data_set_string(node.get(), vanto_string_get_text(string));
  return node;
}

JobTree Conversion::convertBytes(vanto_object_t data) {
  const std::size_t length = vanto_data_get_length(data);
  if (!take(length)) return nullptr;
  JobTree node = made(TOLVEN_DATA_OPAQUE);
  tolven_data_set_opaque(node.get(), vanto_data_get_bytes_ptr(data), length);
  return node;
}

JobTree Conversion::convertArray(vanto_object_t array) {
  JobTree node = made(TOLVEN_DATA_ARRAY);
  if (++nesting_ > limits::jobDataNesting) return refuseSize();
  for (std::size_t index = 0; index < vanto_array_get_count(array); ++index) {
    JobTree element = convert(vanto_array_get_value(array, index));
    if (!element) return nullptr;
    tolven_data_array_set_index(node.get(), index, element.release());
  }
  --nesting_;
  return node;
}

JobTree Conversion::convertDictionary(vanto_object_t dictionary) {
  struct Walk {
    Conversion& conversion;
    JobTree node;
  } walk{*this, made(TOLVEN_DATA_DICTIONARY)};
  if (++nesting_ > limits::jobDataNesting) return refuseSize();
  const bool isWhole = vanto_dictionary_apply(
      dictionary,
      [](const char* key, vanto_object_t value, void* context) {
        auto& [conversion, parent] = *static_cast<Walk*>(context);
        if (!conversion.take(8 + std::strlen(key))) return false;
        JobTree converted = conversion.convert(value);
        if (!converted) return false;
        tolven_data_dict_insert(parent.get(), key, converted.release());
        return true;
      },
      &walk);
  --nesting_;
  return isWhole ? std::move(walk.node) : nullptr;
}

JobTree Conversion::refuseSize() {
  refusal_ = "the job is larger than 1 MiB, or more than 128 levels deep; a job needs a few hundred bytes";
  return nullptr;
}

bool Conversion::take(std::size_t bytes) {
  if (bytes > bytesLeft_) return refuseSize() != nullptr;
  bytesLeft_ -= bytes;
  return true;
}

}  // namespace

std::string createJobTree(vanto_object_t object, JobTree& tree) {
  Conversion conversion;
  JobTree converted = conversion.convert(object);
  if (converted) tree = std::move(converted);
  return std::move(conversion.refusal());
}

std::string inQuotes(std::string_view text) {
  DescriptionText description(quotedBytes);
  description.addQuoted(text);
  return description.take();
}

}  // namespace vanto::manager
