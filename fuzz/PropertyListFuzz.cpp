// SPDX-License-Identifier: Apache-2.0
// The XML form: whatever is read can be written unless that would be too long, reads back equal and is then written
// alike; whatever is refused is refused with a place inside the bytes and a reason.

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <span>

#include <VantoService/PropertyList.h>

#include "value/PropertyListReader.h"

namespace {

void require(bool condition) {
  if (!condition) std::abort();
}

std::size_t countLines(std::span<const std::uint8_t> bytes) {
  std::size_t lines = 1;
  for (const std::uint8_t byte : bytes) lines += byte == '\n' || byte == '\r' ? 1 : 0;
  return lines;
}

bool areSame(const PlistData& left, const PlistData& right) {
  return left.length() == right.length() && std::memcmp(left.bytes().data(), right.bytes().data(), left.length()) == 0;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::span<const std::uint8_t> bytes(data, size);
  vanto::PropertyListError error;
  const vanto::Ref<PlistValue> value = vanto::createPropertyListFromXML(bytes, &error);
  if (!value) {
    require(error.line >= 1 && error.line <= countLines(bytes));
    require(error.column >= 1 && error.column <= size + 1);
    require(!error.message.empty());
    return 0;
  }
  const vanto::Ref<PlistData> first = vanto::createPropertyListXML(*value);
  if (!first) {
    // Only the tabs before deep values can make a document longer than readers accept, and only of many values.
    require(size > (std::size_t{64} << 10));
    return 0;
  }
  const vanto::Ref<PlistValue> again = vanto::createPropertyList(first->bytes());
  require(again && again->isEqual(value.get()) && value->isEqual(again.get()));
  const vanto::Ref<PlistData> second = vanto::createPropertyListXML(*again);
  require(second && areSame(*first, *second));
  return 0;
}
