// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <cstring>
#include <string_view>

#include "ipc/StringObject.h"
#include "ipc/TextWords.h"

namespace vanto {

/// Text that is compared with keys, or becomes one. Text of up to 15 bytes, without NUL as all of it is, is two words:
/// the bytes, zeros, and last how many of the 15 are free. Such words are equal exactly when the texts are, and in the
/// same order.
struct KeyText {
  static constexpr std::size_t inlineBytes = 15;

  explicit KeyText(std::string_view keyText) noexcept : text(keyText) {
    const std::size_t size = text.size();
    if (size < 8) {
      first = shortTextWord(text.data(), size);
      second = inlineBytes - size;
    } else if (size <= inlineBytes) {
      first = textWord(text.data());
      second = shortTextWord(text.data() + 8, size - 8) | (inlineBytes - size);
    }
  }

  [[nodiscard]] bool isShort() const noexcept { return text.size() <= inlineBytes; }

  std::string_view text;
  /// Of short text; otherwise zero, and no words of a key.
  std::uint64_t first = 0;
  std::uint64_t second = 0;
};

/// A key of a dictionary in 16 bytes, NUL-terminated: short text lies in the key itself, longer text in a string
/// object. Copied as plain memory; whoever holds the last copy calls release().
class DictionaryKey {
 public:
  /// A key of valid text without NUL.
  explicit DictionaryKey(const KeyText& key) noexcept {
    if (key.isShort()) {
      storeWord(0, key.first);
      storeWord(8, key.second);
    } else {
      const StringObject* string = StringObject::createFromValid(key.text).leak();
      std::memcpy(bytes_, &string, sizeof(string));
      storeWord(8, outside);
    }
  }

  [[nodiscard]] std::string_view text() const noexcept {
    if (isOutside()) return string().text();
    return {bytes_, KeyText::inlineBytes - static_cast<std::size_t>(bytes_[KeyText::inlineBytes])};
  }
  [[nodiscard]] const char* terminatedText() const noexcept { return isOutside() ? string().terminatedText() : bytes_; }

  [[nodiscard]] bool isBefore(const KeyText& other) const noexcept {
    if (isOutside() || !other.isShort()) return text() < other.text;
    const std::uint64_t first = textWord(bytes_);
    return first != other.first ? first < other.first : textWord(bytes_ + 8) < other.second;
  }
  [[nodiscard]] bool isEqual(const KeyText& other) const noexcept {
    if (!other.isShort()) return text() == other.text;
    return isEqualToShort(other);
  }
  /// The same for short text.
  [[nodiscard]] bool isEqualToShort(const KeyText& other) const noexcept {
    return textWord(bytes_) == other.first && textWord(bytes_ + 8) == other.second;
  }

  void release() const noexcept {
    if (isOutside()) string().release();
  }

 private:
  /// Stands where short text has how many bytes are free, and is none of their numbers.
  static constexpr char outside = KeyText::inlineBytes + 1;

  [[nodiscard]] bool isOutside() const noexcept { return bytes_[KeyText::inlineBytes] == outside; }
  [[nodiscard]] const StringObject& string() const noexcept {
    const StringObject* string = nullptr;
    std::memcpy(&string, bytes_, sizeof(string));
    return *string;
  }
  void storeWord(std::size_t place, std::uint64_t word) noexcept {
    if (std::endian::native == std::endian::little) word = __builtin_bswap64(word);
    std::memcpy(bytes_ + place, &word, sizeof(word));
  }

  /// The two words of short text, the most significant byte first, so that the text is there to be read; a text of 15
  /// bytes has its NUL in the last. Or the address of the string.
  alignas(std::uint64_t) char bytes_[KeyText::inlineBytes + 1];
};

}  // namespace vanto
