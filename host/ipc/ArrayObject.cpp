// SPDX-License-Identifier: Apache-2.0
#include "ipc/ArrayObject.h"

#include <algorithm>
#include <cstring>
#include <new>

#include "value/Assertion.h"
#include "value/EndingObjects.h"
#include "value/Memory.h"
#include "value/ValueStorage.h"

namespace vanto {

/// Named, so that it can be let in to the array.
struct ArrayObjectEnd {
  static void destroy(Object& self) noexcept {
    if (EndingObjects::postponed(self)) return;
    const EndingObjects ending;
    auto& array = static_cast<ArrayObject&>(self);
    for (const vanto_object* element : array.elements()) element->release();
    if (array.isGrown_) Memory::free(array.elements_);
    ArrayObject::deallocate(&array);
  }
};

constinit const Class arrayObjectClass{"ArrayObject", &ipcObjectClass, NoKind, &ArrayObjectEnd::destroy,
                                       nullptr,       nullptr};

Ref<ArrayObject> ArrayObject::create(std::size_t capacity) noexcept {
  VANTO_ASSERT(capacity < UINT32_MAX);
  void* memory = allocate(sizeof(ArrayObject), capacity * sizeof(vanto_object*));
  return Ref<ArrayObject>::adopt(new (memory) ArrayObject(static_cast<std::uint32_t>(capacity)));
}

void ArrayObject::append(Ref<vanto_object> value) noexcept {
  VANTO_ASSERT(value.get() != this && value->isValue());
  if (count_ == capacity_) grow();
  elements_[count_++] = value.leak();
}

void ArrayObject::grow() noexcept {
  // An array that would outgrow the count takes 32 GiB for its pointers alone.
  VANTO_ASSERT(capacity_ < UINT32_MAX / 2);
  const std::uint32_t capacity = std::max<std::uint32_t>(4, capacity_ * 2);
  auto** elements = static_cast<vanto_object**>(Memory::allocate(capacity * sizeof(vanto_object*)));
  std::memcpy(elements, elements_, count_ * sizeof(vanto_object*));
  if (isGrown_) Memory::free(elements_);
  elements_ = elements;
  capacity_ = capacity;
  isGrown_ = true;
}

}  // namespace vanto
