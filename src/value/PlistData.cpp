// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistData.h>

#include <algorithm>
#include <new>

#include <VantoService/PlistString.h>

#include "value/NumberText.h"
#include "value/ValueStorage.h"

namespace vanto {

namespace {

/// Bytes that a description prints; an ellipsis stands for the rest.
constexpr std::size_t printedBytes = 64;

/// `4 bytes 00010203`.
Ref<PlistString> describeData(const Object& self) {
  constexpr std::string_view digits = "0123456789abcdef";
  const std::span<const std::uint8_t> bytes = static_cast<const PlistData&>(self).bytes();
  Ref<PlistMutableString> text = PlistMutableString::create();
  text->append(NumberText(bytes.size()).text());
  text->append(bytes.size() == 1 ? " byte" : " bytes");
  if (!bytes.empty()) text->append(" ");
  for (std::uint8_t byte : bytes.first(std::min(bytes.size(), printedBytes))) {
    text->append(digits.substr(byte >> 4, 1));
    text->append(digits.substr(byte & 15, 1));
  }
  if (bytes.size() > printedBytes) text->append("…");
  return text;
}

bool areDataEqual(const Object& self, const Object& other) noexcept {
  if (!other.isKindOf(plistDataClass)) return false;
  const std::span<const std::uint8_t> left = static_cast<const PlistData&>(self).bytes();
  const std::span<const std::uint8_t> right = static_cast<const PlistData&>(other).bytes();
  return std::equal(left.begin(), left.end(), right.begin(), right.end());
}

constinit PlistData emptyConstant = ValueStorage::emptyData();

}  // namespace

constinit const Class plistDataClass{"PlistData",   &plistValueClass, DataKind, &ValueStorage::destroyPlain,
                                     &describeData, &areDataEqual};

}  // namespace vanto

using vanto::Ref;

const vanto::Class& PlistData::classDescriptor() noexcept {
  return vanto::plistDataClass;
}

Ref<PlistData> PlistData::create(std::span<const std::uint8_t> bytes) {
  if (bytes.empty()) return Ref<PlistData>::share(&vanto::emptyConstant);
  void* memory = allocate(sizeof(PlistData), bytes.size());
  auto* copy = static_cast<std::uint8_t*>(memory) + sizeof(PlistData);
  std::copy(bytes.begin(), bytes.end(), copy);
  return Ref<PlistData>::adopt(::new (memory)
                                   PlistData(vanto::plistDataClass, Storage::Counted, 1, copy, bytes.size()));
}

Ref<PlistData> PlistData::createWithoutCopying(std::span<const std::uint8_t> bytes) {
  return Ref<PlistData>::adopt(::new (allocate(sizeof(PlistData)))
                                   PlistData(vanto::plistDataClass, Storage::Counted, 1, bytes.data(), bytes.size()));
}
