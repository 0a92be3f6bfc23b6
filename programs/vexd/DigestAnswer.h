// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace vanto::vexd {

inline constexpr std::size_t digestSize = 32;

/// What is to be believed of code, as texts of limited length.
struct DigestAnswer {
  /// Its bytes; empty when the executable could not be read, and the reason then tells why.
  std::string digest;
  bool isValid = false;
  std::string identifier;
  std::string fingerprint;
  std::vector<std::string> signers;
  /// A property list.
  std::string entitlements;
  std::string reason;

  bool operator==(const DigestAnswer&) const = default;

  [[nodiscard]] std::string bytes() const;
  /// None when the bytes are no answer.
  [[nodiscard]] static std::optional<DigestAnswer> read(std::string_view bytes);
};

}  // namespace vanto::vexd
