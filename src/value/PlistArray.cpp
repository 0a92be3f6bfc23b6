// SPDX-License-Identifier: Apache-2.0
#include <VantoService/PlistArray.h>

#include <algorithm>
#include <new>

#include "value/Assertion.h"
#include "value/ContainerEquality.h"
#include "value/Description.h"
#include "value/EndingObjects.h"
#include "value/Memory.h"
#include "value/ValueStorage.h"

namespace vanto {

namespace {

constinit PlistArray emptyConstant = ValueStorage::emptyArray();

}  // namespace

constinit const Class plistArrayClass{"PlistArray",
                                      &plistValueClass,
                                      ArrayKind,
                                      &ValueStorage::destroyArray,
                                      &Description::createOfContainer,
                                      &ContainerEquality::areEqual,
                                      nullptr,
                                      nullptr,
                                      &Description::createIndented};

void ValueStorage::destroyArray(Object& self) noexcept {
  if (EndingObjects::postponed(self)) return;
  const EndingObjects ending;
  for (Object* element : static_cast<PlistArray&>(self).elements()) {
    if (element != nullptr) element->release();
  }
  Object::deallocate(&self);
}

}  // namespace vanto

using vanto::Object;
using vanto::Ref;

const vanto::Class& PlistArray::classDescriptor() noexcept {
  return vanto::plistArrayClass;
}

Ref<PlistArray> PlistArray::create(std::span<Object* const> elements) {
  if (elements.empty()) return Ref<PlistArray>::share(&vanto::emptyConstant);
  void* memory = allocate(sizeof(PlistArray), elements.size_bytes());
  auto* copy = reinterpret_cast<Object**>(static_cast<std::byte*>(memory) + sizeof(PlistArray));
  std::copy(elements.begin(), elements.end(), copy);
  for (Object* element : elements) {
    if (element != nullptr) element->retain();
  }
  return Ref<PlistArray>::adopt(::new (memory)
                                    PlistArray(vanto::plistArrayClass, Storage::Counted, 1, copy, elements.size()));
}

Ref<PlistArray> PlistArray::createOfClass(const vanto::Class& arrayClass, const PlistArray& source) {
  if (&arrayClass == &vanto::plistMutableArrayClass) return PlistMutableArray::copyOf(source);
  VANTO_ASSERT_IN("PlistArray createOfClass", &arrayClass == &vanto::plistArrayClass);
  const bool isImmutable = &source.runtimeClass() == &vanto::plistArrayClass;
  // What cannot change needs no copy.
  return isImmutable ? Ref<PlistArray>::share(const_cast<PlistArray*>(&source)) : create(source.elements());
}

Object* PlistArray::at(std::size_t index) const noexcept {
  VANTO_ASSERT_IN("PlistArray at", index < count_);
  return elements_[index];
}

std::uint64_t PlistArray::changes() const noexcept {
  if (&runtimeClass() != &vanto::plistMutableArrayClass) return 0;
  return static_cast<const PlistMutableArray*>(this)->changes_;
}

PlistArray::Cursor::Cursor(const PlistArray& array) noexcept : array_(array), changes_(array.changes()) {}

bool PlistArray::Cursor::next(Object*& element) noexcept {
  VANTO_ASSERT_IN("PlistMutableArray enumeration", array_.changes() == changes_);
  if (index_ == array_.count_) return false;
  element = array_.elements_[index_++];
  return true;
}
