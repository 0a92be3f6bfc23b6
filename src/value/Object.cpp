// SPDX-License-Identifier: Apache-2.0
#include <VantoService/Object.h>

#include <cstdint>

#include "value/Assertion.h"
#include "value/Description.h"
#include "value/LiveObjects.h"
#include "value/Memory.h"
#include "value/ObjectBlock.h"
#include "value/ValueStorage.h"

namespace vanto {

namespace {

bool isSame(const Object& self, const Object& other) noexcept {
  return &self == &other;
}

}  // namespace

constinit const Class objectClass{"Object", nullptr, NoKind, &ValueStorage::destroyPlain, &Description::createOfUnknown,
                                  &isSame};

bool Class::isKindOf(const Class& ancestor) const noexcept {
  for (const Class* candidate = this; candidate != nullptr; candidate = candidate->superclass) {
    if (candidate == &ancestor) return true;
  }
  return false;
}

const Class& Object::classDescriptor() noexcept {
  return objectClass;
}

PlistString* Object::description() const {
  return Description::create(*this).asTemporary();
}

bool Object::isEqual(const Object* other) const noexcept {
  if (this == other) return true;
  if (other == nullptr) return false;
  const Class* candidate = class_;
  while (candidate->isEqual == nullptr) candidate = candidate->superclass;
  return candidate->isEqual(*this, *other);
}

std::uint32_t Object::referenceCount() const noexcept {
  switch (counting_.storage) {
    case Storage::Counted:
      return counting_.count.load(std::memory_order_relaxed);
    case Storage::Immortal:
      return UINT32_MAX;
    case Storage::InBlock:
      break;
  }
  return static_cast<std::uint32_t>(ObjectBlock::of(*this).referenceCount());
}

void Object::retainUncounted() const noexcept {
  if (counting_.storage == Storage::InBlock) ObjectBlock::of(*this).retain();
}

void Object::releaseUncounted() const noexcept {
  if (counting_.storage == Storage::InBlock) ObjectBlock::of(*this).release();
}

void Object::destroyLast() const noexcept {
  // Acquire, so that what every other owner did comes before the end. A load instead of a fence, since the thread
  // sanitizer understands only the load.
  static_cast<void>(counting_.count.load(std::memory_order_acquire));
  end();
}

void Object::end() const noexcept {
  const Class* candidate = class_;
  while (candidate->destroy == nullptr) candidate = candidate->superclass;
  candidate->destroy(const_cast<Object&>(*this));
}

void* Object::allocate(std::size_t size, std::size_t extra) noexcept {
  void* memory = Memory::allocate(Memory::sum(size, extra));
  countLiveObject(1);
  return memory;
}

void Object::deallocate(void* memory) noexcept {
  countLiveObject(-1);
  Memory::free(memory);
}

void ValueStorage::destroyPlain(Object& self) noexcept {
  Object::deallocate(&self);
}

}  // namespace vanto
