// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <string_view>

#include <VantoService/PlistString.h>

namespace vanto {

/// A text from a file, a peer or the system, made fit to stand in one line of the log: control characters, line breaks
/// of every kind and bytes that are not UTF-8 are escaped, and a text of more than limits::logTextBytes is cut, which
/// three dots show. Everything else stays as it is.
class LogText {
 public:
  explicit LogText(std::string_view text) noexcept;
  /// "(null)" for null.
  explicit LogText(const PlistString* text) noexcept;

  /// Lives as long as this object.
  [[nodiscard]] const char* utf8() const noexcept { return escaped_.c_str(); }

 private:
  std::string escaped_;
};

}  // namespace vanto
