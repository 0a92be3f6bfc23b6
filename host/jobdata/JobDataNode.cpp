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

template <typename T>
tolven_data::tolven_data(tolven_data_kind_t kind, std::in_place_type_t<T> type) noexcept
    : Object(classDescriptor()), kind_(kind), content_(type) {}

template <typename T>
tolven_data::Owned tolven_data::createWith(tolven_data_kind_t kind) noexcept {
  return Owned::adopt(new (allocate(sizeof(tolven_data))) tolven_data(kind, std::in_place_type<T>));
}

tolven_data::Owned tolven_data::create(tolven_data_kind_t kind) noexcept {
  switch (kind) {
    case TOLVEN_DATA_DICTIONARY:
      return createWith<Entries>(kind);
    case TOLVEN_DATA_ARRAY:
      return createWith<Elements>(kind);
    case TOLVEN_DATA_INTEGER:
      return createWith<std::int64_t>(kind);
    case TOLVEN_DATA_REAL:
      return createWith<double>(kind);
    case TOLVEN_DATA_BOOL:
      return createWith<bool>(kind);
    case TOLVEN_DATA_STRING:
      return createWith<std::string>(kind);
    case TOLVEN_DATA_OPAQUE:
      return createWith<std::monostate>(kind);
    default:
      return nullptr;
  }
}

void tolven_data::destroy(Object& self) noexcept {
  auto& node = static_cast<tolven_data&>(self);
  // Only what holds other nodes ends others.
  if (node.kind_ > TOLVEN_DATA_ARRAY) return node.free();
  if (vanto::EndingObjects::postponed(self)) return;
  const vanto::EndingObjects ending;
  node.free();
}

void tolven_data::free() noexcept {
  this->~tolven_data();
  deallocate(this);
}

void tolven_data::setBytes(std::span<const std::uint8_t> bytes) {
  if (kind_ != TOLVEN_DATA_ARRAY && kind_ != TOLVEN_DATA_OPAQUE) return;
  // First a copy: the bytes may be those that are there.
  Bytes copy{{bytes.begin(), bytes.end()}};
  content_ = std::move(copy);
}

void tolven_data::setElement(Elements& elements, std::size_t index, Owned element) {
  if (element) take(*element);
  if (index == elements.size()) {
    elements.push_back(std::move(element));
  } else {
    if (index > elements.size()) elements.resize(index + 1);
    elements[index] = std::move(element);
  }
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
