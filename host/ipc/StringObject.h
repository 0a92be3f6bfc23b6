// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string_view>

#include "ipc/IPCObject.h"

namespace vanto {

/// Text in UTF-8 without NUL inside, in one allocation. Immutable.
class StringObject final : public vanto_object {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_STRING;

  /// A copy of `text`, null when that is not valid UTF-8, holds a NUL, or is 4 GiB long or longer.
  [[nodiscard]] static Ref<StringObject> create(std::string_view text) noexcept;
  /// The same for text that was tested already.
  [[nodiscard]] static Ref<StringObject> createFromValid(std::string_view text) noexcept;
  /// Whether create() would take `text`.
  [[nodiscard]] static bool accepts(std::string_view text) noexcept;

  [[nodiscard]] std::string_view text() const noexcept { return {terminatedText(), length_}; }
  [[nodiscard]] const char* terminatedText() const noexcept { return reinterpret_cast<const char*>(this + 1); }

 private:
  explicit StringObject(std::uint32_t length) noexcept : vanto_object(stringObjectClass, objectKind), length_(length) {}

  const std::uint32_t length_;
};

}  // namespace vanto
