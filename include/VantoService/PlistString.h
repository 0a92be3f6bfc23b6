// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>

#include <VantoService/PlistValue.h>

/// Unicode text, held as valid UTF-8 and always followed by a NUL byte. Text may itself contain NUL. Bytes are checked
/// once, when a string is created from them.
class VANTO_EXPORT PlistString : public PlistValue {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  /// A string with a copy of `utf8`; null when that is not valid UTF-8.
  [[nodiscard]] static vanto::Ref<PlistString> create(std::string_view utf8);

  /// The text; it lives as long as the string, for a mutable one until its next change.
  [[nodiscard]] std::string_view text() const noexcept { return {text_, length_}; }

  /// The text with a NUL behind it; same lifetime as text(). It ends early where the text itself contains NUL.
  [[nodiscard]] const char* utf8() const noexcept { return text_; }

  /// Length of the text in bytes of UTF-8.
  [[nodiscard]] std::size_t length() const noexcept { return length_; }

  [[nodiscard]] bool isEqualToText(std::string_view other) const noexcept { return text() == other; }

  /// Negative, zero or positive as this string comes before, with or after `other`: case-sensitive, by code point.
  [[nodiscard]] int compare(const PlistString& other) const noexcept;

  [[nodiscard]] bool hasSuffix(std::string_view suffix) const noexcept { return text().ends_with(suffix); }

  /// This text followed by `other`. A temporary.
  [[nodiscard]] PlistString* appending(const PlistString& other) const;

  /// The text behind the last "." of the last path component, empty when there is none. Slashes at the end do not
  /// count. A temporary.
  [[nodiscard]] PlistString* pathExtension() const;

  /// The path with `component` behind it, with exactly one slash between the two; where one of them is empty, the
  /// other. A temporary.
  [[nodiscard]] PlistString* appendingPathComponent(const PlistString& component) const;

  /// The path without its last component: "/a/b" gives "/a", "/a" gives "/", "a" gives "". Slashes at the end do not
  /// count. A temporary.
  [[nodiscard]] PlistString* deletingLastPathComponent() const;

 protected:
  /// A string of parts that are valid UTF-8 when put together.
  [[nodiscard]] static vanto::Ref<PlistString> joined(std::initializer_list<std::string_view> parts);

  /// A string of `length` bytes, which are still to be written to `text`; only the NUL is there.
  [[nodiscard]] static vanto::Ref<PlistString> withRoom(std::size_t length, char*& text);

  constexpr PlistString(const vanto::Class& runtimeClass, Storage storage, std::uint32_t count, const char* text,
                        std::size_t length) noexcept
      : PlistValue(runtimeClass, storage, count), text_(text), length_(length) {}

  friend struct vanto::ValueStorage;

  const char* text_;
  std::size_t length_;
};

namespace vanto {

/// One argument of PlistMutableString::appendFormat().
struct FormatArgument {
  enum class Kind : std::uint8_t { Object, Pointer, Integer };

  FormatArgument(const Object* object) noexcept : kind(Kind::Object), pointer(object) {}
  FormatArgument(const void* address) noexcept : kind(Kind::Pointer), pointer(address) {}
  FormatArgument(std::int32_t number) noexcept : kind(Kind::Integer), integer(number) {}

  Kind kind;
  /// An Object for "%@", any address for "%p".
  const void* pointer = nullptr;
  std::int32_t integer = 0;
};

}  // namespace vanto

/// A string that can grow. Not for sharing between threads while it does.
class VANTO_EXPORT PlistMutableString : public PlistString {
 public:
  [[nodiscard]] static const vanto::Class& classDescriptor() noexcept;

  [[nodiscard]] static vanto::Ref<PlistMutableString> create();
  /// Null when `utf8` is not valid UTF-8.
  [[nodiscard]] static vanto::Ref<PlistMutableString> create(std::string_view utf8);

  void append(const PlistString& other);
  /// The same with UTF-8; bytes that are not valid are a broken invariant.
  void append(std::string_view utf8);

  /// Appends `format` with each placeholder replaced by the next argument: "%@" by an object's plain description, or
  /// "(null)"; "%p" by an address as 0x and lower-case hexadecimal (an object gives its own); "%d" by a signed 32-bit
  /// integer; "%%" by a percent sign. `format` is UTF-8. Another placeholder, an argument of another kind, one too few
  /// or one too many is a broken invariant.
  void appendFormat(std::string_view format, std::initializer_list<vanto::FormatArgument> arguments);

 private:
  friend struct vanto::ValueStorage;

  explicit PlistMutableString(std::string_view text) noexcept;
  void appendBytes(std::string_view bytes);

  /// Size of the buffer behind text_, its NUL included; 0 while text_ is the empty constant.
  std::size_t capacity_;
};
