// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/PlistValue.h>

/// An absolute time.
class VANTO_EXPORT PlistDate : public PlistValue {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// The time that many seconds after 1970-01-01T00:00:00Z, leap seconds not counted.
  [[nodiscard]] static vanto::Ref<PlistDate> create(double secondsSince1970);

  [[nodiscard]] double secondsSince1970() const noexcept { return seconds_; }

 private:
  friend struct vanto::ValueStorage;
  constexpr PlistDate(const vanto::Class& runtimeClass, Storage storage, std::uint32_t count, double seconds) noexcept
      : PlistValue(runtimeClass, storage, count), seconds_(seconds) {}

  double seconds_;
};
