// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>

#include "ipc/IPCObject.h"
#include "value/Fd.h"

namespace vanto {

/// Bytes: in one allocation with the object, or in a sealed memfd. Immutable.
class DataObject : public vanto_object {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_DATA;

  /// A copy of `bytes`.
  [[nodiscard]] static Ref<DataObject> create(std::span<const std::uint8_t> bytes) noexcept;

  [[nodiscard]] std::size_t length() const noexcept { return length_; }

  /// The bytes, aligned for anything; null when there are none, or when those of a sealed memfd cannot be mapped.
  [[nodiscard]] const std::uint8_t* bytes() const noexcept {
    if (form_ == Form::Sealed) return sealedBytes();
    return length_ == 0 ? nullptr : reinterpret_cast<const std::uint8_t*>(this + 1);
  }

 protected:
  enum class Form : std::uint32_t { Copied, Sealed };

  DataObject(const Class& runtimeClass, Form form, std::size_t length) noexcept
      : vanto_object(runtimeClass, objectKind), form_(form), length_(length) {}

 private:
  [[nodiscard]] const std::uint8_t* sealedBytes() const noexcept;

  const Form form_;
  const std::size_t length_;
};

/// Bytes from the start of a memfd that nobody can change any more. They travel as the descriptor and are mapped when
/// first read.
class SealedDataObject final : public DataObject {
 public:
  /// Takes over `memory`; null, with `memory` closed, when it is no memfd sealed against writing, growing, shrinking
  /// and further seals, when it holds fewer than `length` bytes, or when `length` is beyond the limit.
  [[nodiscard]] static Ref<SealedDataObject> create(Fd memory, std::size_t length) noexcept;

  /// `object` as sealed data, or null.
  [[nodiscard]] static const SealedDataObject* from(const vanto_object& object) noexcept {
    return &object.runtimeClass() == &sealedDataObjectClass ? static_cast<const SealedDataObject*>(&object) : nullptr;
  }

  [[nodiscard]] int descriptor() const noexcept { return memory_.get(); }

 private:
  friend class DataObject;
  friend struct SealedDataEnd;

  SealedDataObject(Fd memory, std::size_t length) noexcept
      : DataObject(sealedDataObjectClass, Form::Sealed, length), memory_(std::move(memory)) {}
  ~SealedDataObject();

  const Fd memory_;
  /// The bytes once they are mapped. Threads that map them at the same time agree on one mapping.
  mutable std::atomic<void*> mapping_{nullptr};
};

}  // namespace vanto
