// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vanto::tool {

/// Where a value stands in a property list, as a visible text: `VantoService._AllowedClients[2]`. The outermost value's
/// is empty. A key that is not made of letters, digits, "_", "-" and "$" stands in quotes.
class KeyPath {
 public:
  KeyPath() = default;
  [[nodiscard]] KeyPath key(std::string_view name) const;
  [[nodiscard]] KeyPath element(std::size_t index) const;

  [[nodiscard]] const std::string& text() const noexcept { return text_; }
  /// The same, with words for the outermost value.
  [[nodiscard]] std::string name() const { return text_.empty() ? "the outermost value" : text_; }

 private:
  explicit KeyPath(std::string text) : text_(std::move(text)) {}

  std::string text_;
};

}  // namespace vanto::tool
