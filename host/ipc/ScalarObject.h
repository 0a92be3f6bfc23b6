// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>

#include "ipc/IPCObject.h"

namespace vanto {

/// A truth value: one of two objects that live as long as the process.
class BoolObject final : public vanto_object {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_BOOL;

  [[nodiscard]] static Ref<BoolObject> create(bool value) noexcept;

  [[nodiscard]] bool value() const noexcept { return value_; }

 private:
  friend struct BoolConstants;

  constexpr explicit BoolObject(bool value) noexcept
      : vanto_object(boolObjectClass, objectKind, Storage::Immortal), value_(value) {}

  const bool value_;
};

/// A signed integer. Immutable.
class Int64Object final : public vanto_object {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_INT64;

  [[nodiscard]] static Ref<Int64Object> create(std::int64_t value) noexcept;

  [[nodiscard]] std::int64_t value() const noexcept { return value_; }

 private:
  explicit Int64Object(std::int64_t value) noexcept : vanto_object(int64ObjectClass, objectKind), value_(value) {}

  const std::int64_t value_;
};

/// A double with every bit as given, also of a NaN. Immutable.
class DoubleObject final : public vanto_object {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_DOUBLE;

  [[nodiscard]] static Ref<DoubleObject> create(double value) noexcept;

  [[nodiscard]] double value() const noexcept { return value_; }

 private:
  explicit DoubleObject(double value) noexcept : vanto_object(doubleObjectClass, objectKind), value_(value) {}

  const double value_;
};

}  // namespace vanto
