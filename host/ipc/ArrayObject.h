// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "ipc/IPCObject.h"

namespace vanto {

/// A sequence of values that can grow. Not for several threads while it does.
class ArrayObject final : public vanto_object {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_ARRAY;

  /// An empty array with room for `capacity` elements in its own allocation.
  [[nodiscard]] static Ref<ArrayObject> create(std::size_t capacity) noexcept;

  [[nodiscard]] std::size_t count() const noexcept { return count_; }
  [[nodiscard]] std::span<vanto_object* const> elements() const noexcept { return {elements_, count_}; }

  /// Appends `value`, which may be neither this array nor, like a connection, no value.
  void append(Ref<vanto_object> value) noexcept;

 private:
  friend struct ArrayObjectEnd;

  explicit ArrayObject(std::uint32_t capacity) noexcept
      : vanto_object(arrayObjectClass, objectKind), elements_(ownElements()), capacity_(capacity) {}

  [[nodiscard]] vanto_object** ownElements() noexcept { return reinterpret_cast<vanto_object**>(this + 1); }
  void grow() noexcept;

  std::uint32_t count_ = 0;
  /// Behind the object itself, until they outgrow that place.
  vanto_object** elements_;
  std::uint32_t capacity_;
  bool isGrown_ = false;
};

}  // namespace vanto
