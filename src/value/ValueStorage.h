// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <new>

#include <VantoService/KorURL.h>
#include <VantoService/PlistArray.h>
#include <VantoService/PlistData.h>
#include <VantoService/PlistDate.h>
#include <VantoService/PlistDictionary.h>
#include <VantoService/PlistNumber.h>
#include <VantoService/PlistString.h>

namespace vanto {

/// Type identifiers of the kinds; 0 is that of no kind.
enum ValueKind : KorTypeID {
  NoKind = 0,
  StringKind,
  BooleanKind,
  NumberKind,
  DataKind,
  DateKind,
  ArrayKind,
  DictionaryKind
};

// The descriptors of the value classes, for use at compile time.
extern const Class objectClass;
extern const Class plistValueClass;
extern const Class plistStringClass;
extern const Class plistMutableStringClass;
extern const Class plistNumberClass;
extern const Class plistBooleanClass;
extern const Class plistDataClass;
extern const Class plistDateClass;
extern const Class plistArrayClass;
extern const Class plistMutableArrayClass;
extern const Class plistDictionaryClass;
extern const Class plistMutableDictionaryClass;
extern const Class korURLClass;

/// The value model's own way to lay out values where an object does not own its memory: as constants, and inside the
/// block of a parsed document. Nothing else makes values by hand.
struct ValueStorage {
  /// A string constant: `constinit PlistString key = ValueStorage::constantString("text");`. Immortal and never
  /// destroyed; needs no code when the library is loaded.
  template <std::size_t Size>
  [[nodiscard]] static constexpr PlistString constantString(const char (&text)[Size]) noexcept {
    return PlistString(plistStringClass, Object::Storage::Immortal, 1, text, Size - 1);
  }

  [[nodiscard]] static constexpr PlistBoolean constantBoolean(bool value) noexcept {
    return PlistBoolean(plistBooleanClass, value);
  }
  [[nodiscard]] static constexpr PlistData emptyData() noexcept {
    return PlistData(plistDataClass, Object::Storage::Immortal, 1, nullptr, 0);
  }
  [[nodiscard]] static constexpr PlistArray emptyArray() noexcept {
    return PlistArray(plistArrayClass, Object::Storage::Immortal, 1, nullptr, 0);
  }
  [[nodiscard]] static constexpr PlistDictionary emptyDictionary() noexcept {
    return PlistDictionary(plistDictionaryClass, Object::Storage::Immortal, 1, nullptr, 0);
  }

  // Values inside a block. `memory` is room for the object, aligned for it; `distance` the way back to the header of
  // its chunk, in units of 8 bytes. What the object points to (text, elements, entries) lies in the same block too; its
  // children there are not counted one by one. Such an object is never destroyed, only its block is.

  /// `text` is valid UTF-8 with a NUL behind it.
  static PlistString* stringInBlock(void* memory, std::uint32_t distance, const char* text,
                                    std::size_t length) noexcept {
    return ::new (memory) PlistString(plistStringClass, Object::Storage::InBlock, distance, text, length);
  }
  static PlistNumber* numberInBlock(void* memory, std::uint32_t distance, std::int64_t value,
                                    KorNumberType subtype = KorNumberSInt64Type) noexcept {
    return ::new (memory) PlistNumber(plistNumberClass, Object::Storage::InBlock, distance, subtype, value);
  }
  static PlistNumber* numberInBlock(void* memory, std::uint32_t distance, double value,
                                    KorNumberType subtype = KorNumberFloat64Type) noexcept {
    return ::new (memory) PlistNumber(plistNumberClass, Object::Storage::InBlock, distance, subtype, value);
  }
  static PlistData* dataInBlock(void* memory, std::uint32_t distance, const std::uint8_t* bytes,
                                std::size_t length) noexcept {
    return ::new (memory) PlistData(plistDataClass, Object::Storage::InBlock, distance, bytes, length);
  }
  static PlistDate* dateInBlock(void* memory, std::uint32_t distance, double secondsSince1970) noexcept {
    return ::new (memory) PlistDate(plistDateClass, Object::Storage::InBlock, distance, secondsSince1970);
  }
  static PlistArray* arrayInBlock(void* memory, std::uint32_t distance, Object** elements, std::size_t count) noexcept {
    return ::new (memory) PlistArray(plistArrayClass, Object::Storage::InBlock, distance, elements, count);
  }
  /// `entries` are in ascending order of keys, each key once.
  static PlistDictionary* dictionaryInBlock(void* memory, std::uint32_t distance, const PlistDictionary::Entry* entries,
                                            std::size_t count) noexcept {
    return ::new (memory) PlistDictionary(plistDictionaryClass, Object::Storage::InBlock, distance, entries, count);
  }

  // How instances end; named by the descriptors.

  /// Of classes whose instances own nothing but their memory.
  static void destroyPlain(Object& self) noexcept;
  static void destroyMutableString(Object& self) noexcept;
  static void destroyArray(Object& self) noexcept;
  static void destroyMutableArray(Object& self) noexcept;
  static void destroyDictionary(Object& self) noexcept;
  static void destroyMutableDictionary(Object& self) noexcept;
  static void destroyURL(Object& self) noexcept;
};

}  // namespace vanto
