// SPDX-License-Identifier: Apache-2.0
#include "value/ContainerEquality.h"

#include <optional>
#include <vector>

#include <VantoService/PlistArray.h>
#include <VantoService/PlistDictionary.h>

namespace vanto {

namespace {

/// Two containers of one kind and one size, and how far they are compared.
class Pair {
 public:
  /// A pair of children still to be compared.
  struct Children {
    Object* left;
    Object* right;
  };

  Pair(const PlistArray& left, const PlistArray& right) noexcept
      : leftElements_(std::in_place, left), rightElements_(std::in_place, right) {}
  Pair(const PlistDictionary& left, const PlistDictionary& right) noexcept
      : leftEntries_(std::in_place, left), rightEntries_(std::in_place, right) {}

  /// Moves to the next children; false at the end.
  [[nodiscard]] bool next(Children& children) noexcept {
    if (leftElements_) return leftElements_->next(children.left) && rightElements_->next(children.right);
    PlistDictionary::Entry left{};
    PlistDictionary::Entry right{};
    if (!leftEntries_->next(left) || !rightEntries_->next(right)) return false;
    // Both walk in ascending order of keys, so with equal keys they stay in step.
    children = left.key->text() == right.key->text() ? Children{left.value, right.value} : Children{left.key, nullptr};
    return true;
  }

 private:
  std::optional<PlistArray::Cursor> leftElements_;
  std::optional<PlistArray::Cursor> rightElements_;
  std::optional<PlistDictionary::Cursor> leftEntries_;
  std::optional<PlistDictionary::Cursor> rightEntries_;
};

enum class Verdict { Equal, Different, DependsOnChildren };

/// Compares everything but the children of containers; those it puts on the list.
Verdict compare(Object* left, Object* right, std::vector<Pair>& open) {
  if (left == right) return Verdict::Equal;
  if (left == nullptr || right == nullptr) return Verdict::Different;
  if (const auto* array = as<PlistArray>(left)) {
    const auto* other = as<PlistArray>(right);
    if (other == nullptr || array->count() != other->count()) return Verdict::Different;
    open.emplace_back(*array, *other);
    return Verdict::DependsOnChildren;
  }
  if (const auto* dictionary = as<PlistDictionary>(left)) {
    const auto* other = as<PlistDictionary>(right);
    if (other == nullptr || dictionary->count() != other->count()) return Verdict::Different;
    open.emplace_back(*dictionary, *other);
    return Verdict::DependsOnChildren;
  }
  return left->isEqual(right) ? Verdict::Equal : Verdict::Different;
}

}  // namespace

bool ContainerEquality::areEqual(const Object& self, const Object& other) noexcept {
  std::vector<Pair> open;
  if (compare(const_cast<Object*>(&self), const_cast<Object*>(&other), open) == Verdict::Different) return false;
  while (!open.empty()) {
    Pair::Children children{};
    if (!open.back().next(children)) {
      open.pop_back();
    } else if (compare(children.left, children.right, open) == Verdict::Different) {
      return false;
    }
  }
  return true;
}

}  // namespace vanto
