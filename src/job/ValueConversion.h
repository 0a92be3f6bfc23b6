// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>

#include <VantoService/Object.h>
#include <VantoService/PlistString.h>

namespace vanto {

/// The text of a string as the converters see it: NUL-terminated UTF-8 in a buffer of 4,096 bytes. A string that needs
/// more, or that contains NUL, gives empty text.
struct ConvertedText {
  static constexpr std::size_t capacity = 4096;

  explicit ConvertedText(PlistString& string) noexcept;

  char utf8[capacity];
};

/// A form that values are converted to: how each node of the result is made and put into its container. Nodes are
/// handed on untyped, since the walk does nothing with them; null is a value that could not be converted.
struct ConversionForm {
  using Node = void*;

  Node (*makeString)(const char* text);
  Node (*makeBoolean)(bool value);
  Node (*makeArray)();
  Node (*makeDictionary)();
  Node (*makeData)(const std::uint8_t* bytes, std::size_t length);
  Node (*makeInteger)(std::int64_t value);
  Node (*makeReal)(double value);
  /// Puts the element of the source at `index` into an array, and takes over `element`, which may be null. The indices
  /// ascend, and those of holes in the source are left out.
  void (*putElement)(Node array, std::size_t index, Node element);
  /// Puts an entry into a dictionary, and takes over `value`, which may be null.
  void (*putEntry)(Node dictionary, PlistString* key, Node value);
  /// Tell that a number is of a subtype, or a value of a kind, that has no place in the form.
  void (*reportNumber)();
  void (*reportKind)();
};

/// Converts `value`, in the order of a recursive walk, but on a stack of its own: a value may be as deep as it wants,
/// on threads with little stack too. Null for a value that cannot be converted, or null; inside a container the failure
/// of an element leaves the others alone. The value must not be changed meanwhile.
[[nodiscard]] ConversionForm::Node convertValue(Object* value, const ConversionForm& form);

}  // namespace vanto
