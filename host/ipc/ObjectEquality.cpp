// SPDX-License-Identifier: Apache-2.0
#include "ipc/ObjectEquality.h"

#include <bit>
#include <cstring>
#include <utility>
#include <vector>

#include "ipc/ArrayObject.h"
#include "ipc/DataObject.h"
#include "ipc/DictionaryObject.h"
#include "ipc/ErrorObject.h"
#include "ipc/ScalarObject.h"
#include "ipc/StringObject.h"

namespace vanto {
namespace {

/// Containers that look equal from outside and are still to be compared.
using Pairs = std::vector<std::pair<const vanto_object*, const vanto_object*>>;

template <typename T>
const T& known(const vanto_object* object) noexcept {
  return static_cast<const T&>(*object);
}

bool areEqualData(const DataObject& one, const DataObject& other) noexcept {
  if (one.length() != other.length()) return false;
  if (one.length() == 0) return true;
  const std::uint8_t* bytes = one.bytes();
  const std::uint8_t* otherBytes = other.bytes();
  return bytes != nullptr && otherBytes != nullptr && std::memcmp(bytes, otherBytes, one.length()) == 0;
}

bool areEqualErrors(const ErrorObject& one, const ErrorObject& other) noexcept {
  return one.code() == other.code() && one.text() == other.text();
}

/// Compares two objects of one kind; containers only go on the list.
bool areEqualOfKind(const vanto_object* one, const vanto_object* other, Pairs& pending) {
  switch (one->kind()) {
    case VANTO_KIND_STRING:
      return known<StringObject>(one).text() == known<StringObject>(other).text();
    case VANTO_KIND_BOOL:
      return known<BoolObject>(one).value() == known<BoolObject>(other).value();
    case VANTO_KIND_INT64:
      return known<Int64Object>(one).value() == known<Int64Object>(other).value();
    case VANTO_KIND_DOUBLE:
      return std::bit_cast<std::uint64_t>(known<DoubleObject>(one).value()) ==
             std::bit_cast<std::uint64_t>(known<DoubleObject>(other).value());
    case VANTO_KIND_DATA:
      return areEqualData(known<DataObject>(one), known<DataObject>(other));
    case VANTO_KIND_ERROR:
      return areEqualErrors(known<ErrorObject>(one), known<ErrorObject>(other));
    case VANTO_KIND_ARRAY:
    case VANTO_KIND_DICTIONARY:
      pending.emplace_back(one, other);
      return true;
    default:
      return false;
  }
}

bool compare(const vanto_object* one, const vanto_object* other, Pairs& pending) {
  if (one == other) return true;
  if (one == nullptr || other == nullptr || one->kind() != other->kind()) return false;
  return areEqualOfKind(one, other, pending);
}

bool compareArrays(const ArrayObject& one, const ArrayObject& other, Pairs& pending) {
  if (one.count() != other.count()) return false;
  for (std::size_t index = 0; index < one.count(); ++index) {
    if (!compare(one.elements()[index], other.elements()[index], pending)) return false;
  }
  return true;
}

bool compareDictionaries(const DictionaryObject& one, const DictionaryObject& other, Pairs& pending) {
  if (one.count() != other.count()) return false;
  DictionaryObject::Cursor cursor(one);
  DictionaryObject::Cursor otherCursor(other);
  while (const DictionaryObject::Entry* entry = cursor.next()) {
    const DictionaryObject::Entry* otherEntry = otherCursor.next();
    if (entry->key.text() != otherEntry->key.text()) return false;
    if (!compare(entry->value, otherEntry->value, pending)) return false;
  }
  return true;
}

}  // namespace

bool areEqual(const vanto_object* one, const vanto_object* other) noexcept {
  Pairs pending;
  if (!compare(one, other, pending)) return false;
  while (!pending.empty()) {
    const auto [first, second] = pending.back();
    pending.pop_back();
    const bool equal =
        first->kind() == VANTO_KIND_ARRAY
            ? compareArrays(known<ArrayObject>(first), known<ArrayObject>(second), pending)
            : compareDictionaries(known<DictionaryObject>(first), known<DictionaryObject>(second), pending);
    if (!equal) return false;
  }
  return true;
}

}  // namespace vanto
