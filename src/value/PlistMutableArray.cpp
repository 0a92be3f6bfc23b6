// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <new>

#include <VantoService/PlistArray.h>

#include "value/Assertion.h"
#include "value/EndingObjects.h"
#include "value/Memory.h"
#include "value/ValueStorage.h"

namespace vanto {

constinit const Class plistMutableArrayClass{
    "PlistMutableArray", &plistArrayClass, ArrayKind, &ValueStorage::destroyMutableArray, nullptr, nullptr};

void ValueStorage::destroyMutableArray(Object& self) noexcept {
  if (EndingObjects::postponed(self)) return;
  const EndingObjects ending;
  auto& array = static_cast<PlistMutableArray&>(self);
  for (Object* element : array.elements()) {
    if (element != nullptr) element->release();
  }
  Memory::free(array.elements_);
  Object::deallocate(&self);
}

}  // namespace vanto

using vanto::Object;
using vanto::Ref;

const vanto::Class& PlistMutableArray::classDescriptor() noexcept {
  return vanto::plistMutableArrayClass;
}

PlistMutableArray::PlistMutableArray() noexcept
    : PlistArray(vanto::plistMutableArrayClass, Storage::Counted, 1, nullptr, 0), capacity_(0), changes_(0) {}

Ref<PlistMutableArray> PlistMutableArray::create() {
  return Ref<PlistMutableArray>::adopt(::new (allocate(sizeof(PlistMutableArray))) PlistMutableArray());
}

Ref<PlistMutableArray> PlistMutableArray::copyOf(const PlistArray& source) {
  Ref<PlistMutableArray> copy = create();
  copy->reserve(source.count());
  std::copy(source.elements().begin(), source.elements().end(), copy->elements_);
  copy->count_ = source.count();
  for (Object* element : copy->elements()) {
    if (element != nullptr) element->retain();
  }
  return copy;
}

void PlistMutableArray::append(Object* element) {
  VANTO_ASSERT_IN("PlistMutableArray append", element != nullptr);
  if (count_ == capacity_) reserve(std::max(vanto::Memory::product(capacity_, 2), std::size_t{4}));
  element->retain();
  elements_[count_++] = element;
  ++changes_;
}

void PlistMutableArray::reserve(std::size_t capacity) noexcept {
  if (capacity <= capacity_) return;
  elements_ =
      static_cast<Object**>(vanto::Memory::resize(elements_, vanto::Memory::product(capacity, sizeof(Object*))));
  capacity_ = capacity;
}
