// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace vanto::testing {

/// Puts binary property lists together by hand, right and wrong ones. Counts take one byte unless another width is
/// given.
class BinaryDocument {
 public:
  /// The header and the table of `texts`, as they are.
  explicit BinaryDocument(const std::vector<std::string>& texts = {}, unsigned width = 1)
      : BinaryDocument(withoutTable(width)) {
    count(texts.size());
    for (const std::string& text : texts) count(text.size());
    for (const std::string& text : texts) bytes_ += text + '\0';
  }

  /// The header alone.
  [[nodiscard]] static BinaryDocument withoutTable(unsigned width = 1) { return BinaryDocument(width); }

  BinaryDocument& byte(unsigned value) {
    bytes_ += static_cast<char>(value);
    return *this;
  }
  BinaryDocument& count(std::uint64_t value) { return word(value, width_); }
  /// The lowest bytes of `value`.
  BinaryDocument& word(std::uint64_t value, unsigned bytes) {
    for (unsigned index = 0; index < bytes; ++index) byte(value >> (8 * index) & 0xFF);
    return *this;
  }
  BinaryDocument& text(std::string_view text) {
    bytes_ += text;
    return *this;
  }

  // Values.
  BinaryDocument& boolean(bool value) { return byte(value ? 2 : 1); }
  BinaryDocument& string(std::size_t index) { return byte(3).count(index); }
  BinaryDocument& data(std::string_view bytes) { return byte(4).count(bytes.size()).text(bytes); }
  BinaryDocument& date(std::uint64_t bits) { return byte(5).word(bits, 8); }
  BinaryDocument& array(std::size_t members) { return byte(6).count(members); }
  BinaryDocument& dictionary(std::size_t members) { return byte(7).count(members); }
  BinaryDocument& number(unsigned subtype, unsigned bytes, std::uint64_t bits) {
    return byte(bytes << 4 | (subtype - 1)).word(bits, bytes);
  }

  [[nodiscard]] const std::string& bytes() const noexcept { return bytes_; }

 private:
  explicit BinaryDocument(unsigned width) : width_(width), bytes_("\xF5values\x01") { byte(width); }

  unsigned width_;
  std::string bytes_;
};

}  // namespace vanto::testing
