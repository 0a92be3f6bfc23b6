// SPDX-License-Identifier: Apache-2.0
#include "jobdata/JobDataNode.h"

#include <new>
#include <utility>

#include "value/Assertion.h"
#include "value/EndingObjects.h"
#include "value/ValueStorage.h"

using vanto::Object;

const vanto::Class& tolven_data::classDescriptor() noexcept {
  static constexpr vanto::Class descriptor{
      "tolven_data", &vanto::objectClass, vanto::NoKind, &destroy, nullptr, nullptr,
  };
  return descriptor;
}

tolven_data::tolven_data(tolven_data_kind_t kind, Content content) noexcept
    : Object(classDescriptor()), kind_(kind), content_(std::move(content)) {}

tolven_data::Owned tolven_data::create(tolven_data_kind_t kind) {
  Content content;
  switch (kind) {
    case TOLVEN_DATA_DICTIONARY:
      content = Entries();
      break;
    case TOLVEN_DATA_ARRAY:
      content = Elements();
      break;
    case TOLVEN_DATA_INTEGER:
      content = std::int64_t{0};
      break;
    case TOLVEN_DATA_REAL:
      content = 0.0;
      break;
    case TOLVEN_DATA_BOOL:
      content = false;
      break;
    case TOLVEN_DATA_STRING:
      content = std::string();
      break;
    case TOLVEN_DATA_OPAQUE:
      break;
    default:
      return nullptr;
  }
  return Owned::adopt(new (allocate(sizeof(tolven_data))) tolven_data(kind, std::move(content)));
}

void tolven_data::destroy(Object& self) noexcept {
  if (vanto::EndingObjects::postponed(self)) return;
  const vanto::EndingObjects ending;
  auto& node = static_cast<tolven_data&>(self);
  node.~tolven_data();
  deallocate(&node);
}

void tolven_data::setBytes(std::span<const std::uint8_t> bytes) {
  if (kind_ != TOLVEN_DATA_ARRAY && kind_ != TOLVEN_DATA_OPAQUE) return;
  // First a copy: the bytes may be those that are there.
  Bytes copy{{bytes.begin(), bytes.end()}};
  content_ = std::move(copy);
}

void tolven_data::setElement(Elements& elements, std::size_t index, Owned element) {
  if (element) take(*element);
  if (index >= elements.size()) elements.resize(index + 1);
  elements[index] = std::move(element);
}

void tolven_data::setEntry(Entries& entries, std::string_view key, Owned value) {
  take(*value);
  // Keys mostly come in ascending order, from dictionaries that keep them so.
  if (entries.empty() || std::string_view(entries.rbegin()->first) < key) {
    entries.emplace_hint(entries.end(), key, std::move(value));
  } else {
    entries.insert_or_assign(std::string(key), std::move(value));
  }
}

void tolven_data::take(tolven_data& node) const noexcept {
  VANTO_ASSERT_IN("tolven_data insertion", &node != this && !node.hasContainer_);
  node.hasContainer_ = true;
}
