// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include <VantoService/PlistValue.h>

/// A byte string.
class VANTO_EXPORT PlistData : public PlistValue {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// A data value with a copy of `bytes`.
  [[nodiscard]] static vanto::Ref<PlistData> create(std::span<const std::uint8_t> bytes);
  /// A data value over the caller's own bytes, neither copied nor ever freed: they must outlive it.
  [[nodiscard]] static vanto::Ref<PlistData> createWithoutCopying(std::span<const std::uint8_t> bytes);

  [[nodiscard]] std::span<const std::uint8_t> bytes() const noexcept { return {bytes_, length_}; }
  [[nodiscard]] std::size_t length() const noexcept { return length_; }

 private:
  friend struct vanto::ValueStorage;
  constexpr PlistData(const vanto::Class& runtimeClass, Storage storage, std::uint32_t count, const std::uint8_t* bytes,
                      std::size_t length) noexcept
      : PlistValue(runtimeClass, storage, count), bytes_(bytes), length_(length) {}

  const std::uint8_t* bytes_;
  std::size_t length_;
};
