// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "ipc/IPCObject.h"
#include "value/Fd.h"

namespace vanto {

/// Carries a descriptor. Immutable.
class FdObject final : public vanto_object {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_FD;

  /// Takes over `descriptor`; null when it is none.
  [[nodiscard]] static Ref<FdObject> create(Fd descriptor) noexcept;

  [[nodiscard]] int descriptor() const noexcept { return descriptor_.get(); }

  /// A new close-on-exec duplicate of `descriptor`, none with errno on failure. Never one of the standard streams.
  [[nodiscard]] static Fd duplicate(int descriptor) noexcept;

 private:
  friend struct FdObjectEnd;

  explicit FdObject(Fd descriptor) noexcept
      : vanto_object(fdObjectClass, objectKind), descriptor_(std::move(descriptor)) {}
  ~FdObject() = default;

  const Fd descriptor_;
};

}  // namespace vanto
