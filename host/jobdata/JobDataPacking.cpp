// SPDX-License-Identifier: Apache-2.0
#include "jobdata/JobDataPacking.h"

#include <bit>
#include <string>

#include "ipc/WireWriter.h"
#include "value/limits.h"

namespace vanto {
namespace {

/// A number of elements or bytes. One that takes more than 32 bits is far beyond the limit of the whole, and any value
/// above that limit makes the writer stop.
std::uint32_t asDetail(std::size_t number) noexcept {
  return number > UINT32_MAX ? UINT32_MAX : static_cast<std::uint32_t>(number);
}

/// One walk over a tree, which stops at the first limit that it meets.
class Packer {
 public:
  explicit Packer(ByteBuffer& bytes) noexcept : writer_(bytes, limits::jobDataBytes) {}

  [[nodiscard]] bool addMagic() noexcept { return writer_.addWord(packedJobDataMagic); }
  /// Appends `data`, which lies in `depth` containers; null is a hole.
  [[nodiscard]] bool add(const tolven_data* data, std::size_t depth);

 private:
  [[nodiscard]] bool addElements(const tolven_data::Elements& elements, std::size_t depth);
  [[nodiscard]] bool addEntries(const tolven_data::Entries& entries, std::size_t depth);
  [[nodiscard]] bool addBytes(std::uint32_t kind, const tolven_data::Bytes* bytes) noexcept;

  WireWriter writer_;
};

bool Packer::addElements(const tolven_data::Elements& elements, std::size_t depth) {
  if (depth >= limits::jobDataNesting || !writer_.addHeader(TOLVEN_DATA_ARRAY, asDetail(elements.size()))) return false;
  for (const tolven_data::Owned& element : elements) {
    if (!add(element.get(), depth + 1)) return false;
  }
  return true;
}

bool Packer::addEntries(const tolven_data::Entries& entries, std::size_t depth) {
  if (depth >= limits::jobDataNesting || !writer_.addHeader(TOLVEN_DATA_DICTIONARY, asDetail(entries.size()))) {
    return false;
  }
  for (const auto& [key, value] : entries) {
    if (!writer_.addText(asDetail(key.size()), key) || !add(value.get(), depth + 1)) return false;
  }
  return true;
}

bool Packer::addBytes(std::uint32_t kind, const tolven_data::Bytes* bytes) noexcept {
  // A node of kind 8 on which none were set packs as one with no bytes.
  return bytes == nullptr ? writer_.addHeader(kind, 0)
                          : writer_.addContents(kind, bytes->contents.data(), bytes->contents.size());
}

bool Packer::add(const tolven_data* data, std::size_t depth) {
  if (data == nullptr) return writer_.addHeader(packedHole, 0);
  switch (data->kind()) {
    case TOLVEN_DATA_DICTIONARY:
      return addEntries(*data->content<tolven_data::Entries>(), depth);
    case TOLVEN_DATA_ARRAY: {
      const auto* elements = data->content<tolven_data::Elements>();
      return elements != nullptr ? addElements(*elements, depth)
                                 : addBytes(packedArrayBytes, data->content<tolven_data::Bytes>());
    }
    case TOLVEN_DATA_INTEGER:
      return writer_.addNumber(TOLVEN_DATA_INTEGER, static_cast<std::uint64_t>(*data->content<std::int64_t>()));
    case TOLVEN_DATA_REAL:
      return writer_.addNumber(TOLVEN_DATA_REAL, std::bit_cast<std::uint64_t>(*data->content<double>()));
    case TOLVEN_DATA_BOOL:
      return writer_.addHeader(TOLVEN_DATA_BOOL, *data->content<bool>() ? 1 : 0);
    case TOLVEN_DATA_STRING: {
      const auto* text = data->content<std::string>();
      return writer_.addContents(TOLVEN_DATA_STRING, text->data(), text->size());
    }
    case TOLVEN_DATA_OPAQUE:
      return addBytes(TOLVEN_DATA_OPAQUE, data->content<tolven_data::Bytes>());
    default:
      return false;
  }
}

}  // namespace

bool packJobData(const tolven_data& data, ByteBuffer& packed) {
  Packer packer(packed);
  return packer.addMagic() && packer.add(&data, 0);
}

}  // namespace vanto
