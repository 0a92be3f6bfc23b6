// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "ipc/IPCObject.h"

namespace vanto {

/// An error: a code, perhaps one that only a newer peer knows, and a text. Immutable.
class ErrorObject final : public vanto_object {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_ERROR;

  /// An error with a copy of `text`; null when the code is outside 1 to VANTO_ERROR_LARGEST or the text is nothing that
  /// a string object could hold.
  [[nodiscard]] static Ref<ErrorObject> create(std::uint32_t code, std::string_view text) noexcept;

  [[nodiscard]] vanto_error_code_t code() const noexcept { return static_cast<vanto_error_code_t>(code_); }
  [[nodiscard]] std::string_view text() const noexcept { return {terminatedText(), length_}; }
  [[nodiscard]] const char* terminatedText() const noexcept { return reinterpret_cast<const char*>(this + 1); }

 private:
  ErrorObject(std::uint32_t code, std::uint32_t length) noexcept
      : vanto_object(errorObjectClass, objectKind), code_(code), length_(length) {}

  const std::uint32_t code_;
  const std::uint32_t length_;
};

/// A short English text for a code; never null.
[[nodiscard]] const char* errorText(vanto_error_code_t code) noexcept;

}  // namespace vanto
