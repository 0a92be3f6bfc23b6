// SPDX-License-Identifier: Apache-2.0
#include "ipc/DataObject.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>

#include <cstring>
#include <new>

#include "value/ValueStorage.h"
#include "value/limits.h"

namespace vanto {
namespace {

constexpr int neededSeals = F_SEAL_SEAL | F_SEAL_SHRINK | F_SEAL_GROW | F_SEAL_WRITE;

// Without the seal against shrinking, the peer could make us fault while we read; without the one against writing, it
// could change what was tested already.
bool holdsForGood(const Fd& memory, std::size_t length) noexcept {
  const int seals = fcntl(memory.get(), F_GET_SEALS);
  if (seals < 0 || (seals & neededSeals) != neededSeals) return false;
  struct stat status {};
  return fstat(memory.get(), &status) == 0 && status.st_size >= 0 &&
         static_cast<std::uint64_t>(status.st_size) >= length;
}

}  // namespace

/// Named, so that the private destructor can let it in.
struct SealedDataEnd {
  static void destroy(Object& self) noexcept {
    auto& data = static_cast<SealedDataObject&>(self);
    data.~SealedDataObject();
    SealedDataObject::deallocate(&data);
  }
};

constinit const Class dataObjectClass{"DataObject", &ipcObjectClass, NoKind, &ValueStorage::destroyPlain,
                                      nullptr,      nullptr};

constinit const Class sealedDataObjectClass{"SealedDataObject",      &dataObjectClass, NoKind,
                                            &SealedDataEnd::destroy, nullptr,          nullptr};

Ref<DataObject> DataObject::create(std::span<const std::uint8_t> bytes) noexcept {
  void* memory = allocate(sizeof(DataObject), bytes.size());
  auto* data = new (memory) DataObject(dataObjectClass, Form::Copied, bytes.size());
  if (!bytes.empty()) std::memcpy(static_cast<void*>(data + 1), bytes.data(), bytes.size());
  return Ref<DataObject>::adopt(data);
}

const std::uint8_t* DataObject::sealedBytes() const noexcept {
  if (length_ == 0) return nullptr;
  const auto& data = static_cast<const SealedDataObject&>(*this);
  // Acquire and release go with the pages: whoever sees the address must see the mapping.
  void* known = data.mapping_.load(std::memory_order_acquire);
  if (known != nullptr) return static_cast<const std::uint8_t*>(known);
  void* fresh = mmap(nullptr, length_, PROT_READ, MAP_SHARED, data.memory_.get(), 0);
  if (fresh == MAP_FAILED) return nullptr;
  if (data.mapping_.compare_exchange_strong(known, fresh, std::memory_order_acq_rel, std::memory_order_acquire)) {
    return static_cast<const std::uint8_t*>(fresh);
  }
  munmap(fresh, length_);
  return static_cast<const std::uint8_t*>(known);
}

Ref<SealedDataObject> SealedDataObject::create(Fd memory, std::size_t length) noexcept {
  if (!memory || length > limits::ipcSealedDataBytes || !holdsForGood(memory, length)) return nullptr;
  return Ref<SealedDataObject>::adopt(new (allocate(sizeof(SealedDataObject)))
                                          SealedDataObject(std::move(memory), length));
}

SealedDataObject::~SealedDataObject() {
  void* mapping = mapping_.load(std::memory_order_relaxed);
  if (mapping != nullptr) munmap(mapping, length());
}

}  // namespace vanto
