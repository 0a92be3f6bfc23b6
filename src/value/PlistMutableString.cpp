// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <charconv>
#include <cstring>
#include <new>

#include <VantoService/PlistString.h>

#include "value/Assertion.h"
#include "value/Description.h"
#include "value/Memory.h"
#include "value/Utf8.h"
#include "value/ValueStorage.h"

namespace vanto {

constinit const Class plistMutableStringClass{
    "PlistMutableString", &plistStringClass, StringKind, &ValueStorage::destroyMutableString, nullptr, nullptr};

void ValueStorage::destroyMutableString(Object& self) noexcept {
  auto& string = static_cast<PlistMutableString&>(self);
  if (string.capacity_ != 0) Memory::free(const_cast<char*>(string.text_));
  Object::deallocate(&self);
}

namespace {

using Argument = FormatArgument;

constexpr const char* formatting = "PlistMutableString appendFormat";

/// The next argument, of the kind that the placeholder wants.
const Argument& take(const Argument*& next, const Argument* end, Argument::Kind kind) noexcept {
  VANTO_ASSERT_IN(formatting, next != end);
  const bool isObjectForPointer = next->kind == Argument::Kind::Object && kind == Argument::Kind::Pointer;
  VANTO_ASSERT_IN(formatting, next->kind == kind || isObjectForPointer);
  return *next++;
}

void appendObject(PlistMutableString& text, const void* pointer) {
  if (pointer == nullptr) {
    text.append("(null)");
  } else {
    text.append(*Description::create(*static_cast<const Object*>(pointer)));
  }
}

template <typename Integer>
void appendInteger(PlistMutableString& text, Integer value, int base) {
  char digits[24];
  const std::to_chars_result result = std::to_chars(std::begin(digits), std::end(digits), value, base);
  text.append({digits, static_cast<std::size_t>(result.ptr - digits)});
}

/// Appends what stands for the placeholder with the letter `letter`.
void appendPlaceholder(PlistMutableString& text, char letter, const Argument*& next, const Argument* end) {
  switch (letter) {
    case '@':
      return appendObject(text, take(next, end, Argument::Kind::Object).pointer);
    case 'p':
      text.append("0x");
      return appendInteger(text, reinterpret_cast<std::uintptr_t>(take(next, end, Argument::Kind::Pointer).pointer),
                           16);
    case 'd':
      return appendInteger(text, take(next, end, Argument::Kind::Integer).integer, 10);
    default:
      VANTO_ASSERT_IN(formatting, letter == '%');
      text.append("%");
  }
}

}  // namespace

}  // namespace vanto

using vanto::Ref;

const vanto::Class& PlistMutableString::classDescriptor() noexcept {
  return vanto::plistMutableStringClass;
}

PlistMutableString::PlistMutableString(std::string_view text) noexcept
    : PlistString(vanto::plistMutableStringClass, Storage::Counted, 1, "", 0), capacity_(0) {
  appendBytes(text);
}

Ref<PlistMutableString> PlistMutableString::create() {
  return create(std::string_view());
}

Ref<PlistMutableString> PlistMutableString::create(std::string_view utf8) {
  if (!vanto::isValidUtf8(utf8)) return nullptr;
  return Ref<PlistMutableString>::adopt(::new (allocate(sizeof(PlistMutableString))) PlistMutableString(utf8));
}

void PlistMutableString::append(const PlistString& other) {
  appendBytes(other.text());
}

void PlistMutableString::append(std::string_view utf8) {
  VANTO_ASSERT_IN("PlistMutableString append", vanto::isValidUtf8(utf8));
  appendBytes(utf8);
}

void PlistMutableString::appendFormat(std::string_view format, std::initializer_list<vanto::FormatArgument> arguments) {
  const vanto::FormatArgument* next = arguments.begin();
  for (std::size_t percent = format.find('%'); percent != std::string_view::npos; percent = format.find('%')) {
    VANTO_ASSERT_IN(vanto::formatting, percent + 1 < format.size());
    append(format.substr(0, percent));
    vanto::appendPlaceholder(*this, format[percent + 1], next, arguments.end());
    format.remove_prefix(percent + 2);
  }
  append(format);
  VANTO_ASSERT_IN(vanto::formatting, next == arguments.end());
}

void PlistMutableString::appendBytes(std::string_view bytes) {
  if (bytes.empty()) return;
  const std::size_t needed = vanto::Memory::sum(vanto::Memory::sum(length_, bytes.size()), 1);
  // The bytes may be this string's own text, so the old buffer goes only after they are copied.
  const char* retired = nullptr;
  auto* buffer = const_cast<char*>(text_);
  if (needed > capacity_) {
    const std::size_t capacity = std::max({needed, vanto::Memory::product(capacity_, 2), std::size_t{32}});
    buffer = static_cast<char*>(vanto::Memory::allocate(capacity));
    std::memcpy(buffer, text_, length_);
    if (capacity_ != 0) retired = text_;
    capacity_ = capacity;
  }
  std::memmove(buffer + length_, bytes.data(), bytes.size());
  length_ += bytes.size();
  buffer[length_] = '\0';
  text_ = buffer;
  if (retired != nullptr) vanto::Memory::free(const_cast<char*>(retired));
}
