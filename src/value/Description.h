// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>

#include <VantoService/Object.h>
#include <VantoService/PlistString.h>

namespace vanto {

/// Plain descriptions of objects: what "%@" prints. Containers print their contents on one line, and what lies deeper
/// in them than a few levels as an ellipsis.
struct Description {
  /// The description that the class of `object` makes.
  [[nodiscard]] static Ref<PlistString> create(const Object& object);

  /// `ClassName 0xaddress`, for classes that have no better one.
  [[nodiscard]] static Ref<PlistString> createOfUnknown(const Object& object);
  /// `[a, b]` of an array and `{key = value, key = value}` of a dictionary.
  [[nodiscard]] static Ref<PlistString> createOfContainer(const Object& container);

  /// The block of lines of a container or a service bundle at an indentation level. As the descriptionWithIndent of a
  /// class it lets all blocks of one text be made by one walk, which uses no stack for what lies inside what.
  [[nodiscard]] static Ref<PlistString> createIndented(const Object& object, std::size_t level);
};

}  // namespace vanto
