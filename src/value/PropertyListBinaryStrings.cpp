// SPDX-License-Identifier: Apache-2.0
#include "value/PropertyListBinaryStrings.h"

#include <cstring>
#include <string_view>

#include "value/Utf8.h"

namespace vanto {

namespace {

using Byte = PropertyListBinaryStrings::Byte;
using Source = PropertyListBinarySource;

// Adds up what `count` texts take by the lengths at `at`, with the NUL behind each. Null when that is more than
// follows.
const Byte* measure(Source& source, const Byte* at, std::uint32_t count, std::size_t& size) noexcept {
  const std::size_t available = source.remaining(at) - count * source.width;
  for (std::uint32_t index = 0; index < count; ++index) {
    const Byte* place = at;
    std::uint32_t length = 0;
    at = source.readCount(at, length);
    size += std::size_t{length} + 1;
    if (size > available) return source.fail(place, "expected a text that ends within the bytes");
  }
  return at;
}

// The first text that is not UTF-8; there is one.
const Byte* findMalformed(const Byte* texts, std::size_t size) noexcept {
  std::string_view rest(reinterpret_cast<const char*>(texts), size);
  while (isValidUtf8(rest.substr(0, rest.find('\0') + 1))) rest.remove_prefix(rest.find('\0') + 1);
  return reinterpret_cast<const Byte*>(rest.data());
}

}  // namespace

const Byte* PropertyListBinaryStrings::read(Source& source, const Byte* at, ObjectBlock& block) noexcept {
  const Byte* const place = at;
  std::uint32_t count = 0;
  at = source.readCount(at, count);
  if (at == nullptr) return nullptr;
  if (count > source.remaining(at) / (source.width + 1)) return source.fail(place, "expected fewer strings than bytes");
  const Byte* const lengths = at;
  std::size_t size = 0;
  at = measure(source, at, count, size);
  if (at == nullptr || count == 0) return at;
  texts_ = at;
  auto* copy = static_cast<char*>(block.allocate(size));
  std::memcpy(copy, at, size);
  // All at once: each text ends with a NUL, which is never part of a longer character.
  const bool isValid = isValidUtf8({copy, size});
  if (makeStrings(source, lengths, count, copy, block) == nullptr) return nullptr;
  return isValid ? at + size : source.fail(findMalformed(at, size), "expected UTF-8");
}

const Byte* PropertyListBinaryStrings::makeStrings(Source& source, const Byte* lengths, std::uint32_t count,
                                                   const char* copy, ObjectBlock& block) noexcept {
  const char* const begin = copy;
  std::string_view previous;
  for (std::uint32_t index = 0; index < count; ++index) {
    std::uint32_t length = 0;
    lengths = source.readCount(lengths, length);
    const std::string_view text(copy, length);
    const Byte* const place = texts_ + (copy - begin);
    if (text.data()[length] != '\0') return source.fail(place + length, "expected a NUL behind the text");
    if (index != 0 && text <= previous) return source.fail(place, "expected a text behind the one before");
    strings_.push({block.makeString(text), false});
    previous = text;
    copy += length + 1;
  }
  return lengths;
}

const Byte* PropertyListBinaryStrings::unused() noexcept {
  const Byte* place = texts_;
  for (std::size_t index = 0; index < strings_.size(); ++index) {
    if (!strings_[index].isUsed) return place;
    place += strings_[index].string->length() + 1;
  }
  return nullptr;
}

}  // namespace vanto
