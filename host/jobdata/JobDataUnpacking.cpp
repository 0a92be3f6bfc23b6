// SPDX-License-Identifier: Apache-2.0
#include <bit>
#include <string>
#include <string_view>
#include <utility>

#include "ipc/StringObject.h"
#include "ipc/WireReader.h"
#include "jobdata/JobDataPacking.h"
#include "value/limits.h"

namespace vanto {
namespace {

using Owned = tolven_data::Owned;

/// One pass over bytes from elsewhere; the first thing wrong ends it all.
class Unpacker {
 public:
  explicit Unpacker(std::span<const std::uint8_t> bytes) noexcept : reader_(bytes) {}

  [[nodiscard]] bool takeMagic() noexcept {
    std::uint64_t magic = 0;
    return reader_.takeNumber(0, magic) && magic == packedJobDataMagic;
  }

  /// The next node, which lies in `depth` containers; null when it is malformed.
  [[nodiscard]] Owned next(std::size_t depth) {
    std::uint32_t kind = 0;
    std::uint32_t detail = 0;
    return reader_.takeHeader(kind, detail) ? content(kind, detail, depth) : nullptr;
  }

  [[nodiscard]] bool isAtEnd() const noexcept { return reader_.isAtEnd(); }

 private:
  [[nodiscard]] Owned content(std::uint32_t kind, std::uint32_t detail, std::size_t depth);
  template <typename T>
  [[nodiscard]] static Owned scalar(tolven_data_kind_t kind, T value);
  [[nodiscard]] Owned string(std::uint32_t length);
  [[nodiscard]] Owned bytes(tolven_data_kind_t kind, std::uint32_t length);
  [[nodiscard]] Owned array(std::uint32_t count, std::size_t depth);
  [[nodiscard]] Owned dictionary(std::uint32_t count, std::size_t depth);

  WireReader reader_;
};

template <typename T>
Owned Unpacker::scalar(tolven_data_kind_t kind, T value) {
  Owned node = tolven_data::create(kind);
  *node->content<T>() = value;
  return node;
}

Owned Unpacker::string(std::uint32_t length) {
  const std::uint8_t* place = reader_.takePadded(length);
  if (place == nullptr) return nullptr;
  const std::string_view text(reinterpret_cast<const char*>(place), length);
  if (!StringObject::accepts(text)) return nullptr;
  Owned node = tolven_data::create(TOLVEN_DATA_STRING);
  *node->content<std::string>() = text;
  return node;
}

Owned Unpacker::bytes(tolven_data_kind_t kind, std::uint32_t length) {
  const std::uint8_t* place = reader_.takePadded(length);
  if (place == nullptr) return nullptr;
  Owned node = tolven_data::create(kind);
  node->setBytes({place, length});
  return node;
}

Owned Unpacker::array(std::uint32_t count, std::size_t depth) {
  // An element takes one word at least, its header.
  if (depth >= limits::jobDataNesting || !reader_.claim(count)) return nullptr;
  Owned node = tolven_data::create(TOLVEN_DATA_ARRAY);
  auto& elements = *node->content<tolven_data::Elements>();
  elements.resize(count);
  for (std::uint32_t index = 0; index < count; ++index) {
    std::uint32_t kind = 0;
    std::uint32_t detail = 0;
    if (!reader_.takeHeader(kind, detail)) return nullptr;
    if (kind == packedHole && detail == 0) continue;
    Owned element = content(kind, detail, depth + 1);
    if (!element) return nullptr;
    node->setElement(elements, index, std::move(element));
  }
  return node;
}

Owned Unpacker::dictionary(std::uint32_t count, std::size_t depth) {
  // An entry takes two words at least: the shortest key, and the header of the value.
  if (depth >= limits::jobDataNesting || !reader_.claim(std::size_t{2} * count)) return nullptr;
  Owned node = tolven_data::create(TOLVEN_DATA_DICTIONARY);
  auto& entries = *node->content<tolven_data::Entries>();
  for (std::uint32_t index = 0; index < count; ++index) {
    std::string_view key;
    if (!reader_.takeKey(key) || !StringObject::accepts(key)) return nullptr;
    if (!entries.empty() && std::string_view(entries.rbegin()->first) >= key) return nullptr;
    Owned value = next(depth + 1);
    if (!value) return nullptr;
    node->setEntry(entries, key, std::move(value));
  }
  return node;
}

Owned Unpacker::content(std::uint32_t kind, std::uint32_t detail, std::size_t depth) {
  std::uint64_t number = 0;
  switch (kind) {
    case TOLVEN_DATA_DICTIONARY:
      return dictionary(detail, depth);
    case TOLVEN_DATA_ARRAY:
      return array(detail, depth);
    case TOLVEN_DATA_INTEGER:
      if (!reader_.takeNumber(detail, number)) return nullptr;
      return scalar(TOLVEN_DATA_INTEGER, static_cast<std::int64_t>(number));
    case TOLVEN_DATA_REAL:
      if (!reader_.takeNumber(detail, number)) return nullptr;
      return scalar(TOLVEN_DATA_REAL, std::bit_cast<double>(number));
    case TOLVEN_DATA_BOOL:
      return detail > 1 ? nullptr : scalar(TOLVEN_DATA_BOOL, detail == 1);
    case TOLVEN_DATA_STRING:
      return string(detail);
    case TOLVEN_DATA_OPAQUE:
      return bytes(TOLVEN_DATA_OPAQUE, detail);
    case packedArrayBytes:
      return bytes(TOLVEN_DATA_ARRAY, detail);
    default:
      return nullptr;
  }
}

}  // namespace

Owned unpackJobData(std::span<const std::uint8_t> packed) {
  if (packed.size() > limits::jobDataBytes || packed.size() % wireAlignment != 0) return nullptr;
  Unpacker unpacker(packed);
  if (!unpacker.takeMagic()) return nullptr;
  Owned data = unpacker.next(0);
  return data && unpacker.isAtEnd() ? data : nullptr;
}

}  // namespace vanto
