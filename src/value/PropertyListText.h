// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

#include "value/GrowingBytes.h"
#include "value/PropertyListMarkup.h"

namespace vanto {

/// The elements of a property list.
enum class PropertyListElement : unsigned char {
  Dictionary,
  Array,
  String,
  Integer,
  Real,
  True,
  False,
  Data,
  Date,
  Key,
  PropertyList
};

namespace propertylist {

[[nodiscard]] std::string_view nameOf(PropertyListElement element) noexcept;

/// Skips the end tag of `element` at `at`.
[[nodiscard]] const char* skipEndTag(PropertyListSource& source, const char* at, PropertyListElement element) noexcept;

/// The text of an element, references, sections and line ends resolved.
struct Text {
  std::string_view content;
  /// True when `content` lies in the source itself, because nothing had to be resolved.
  bool isSource = true;
};

/// Reads the text of `element`, which begins at `at`, and skips the end tag. What has to be resolved goes to `scratch`.
[[nodiscard]] const char* readText(PropertyListSource& source, const char* at, PropertyListElement element,
                                   GrowingBytes& scratch, Text& text) noexcept;

}  // namespace propertylist
}  // namespace vanto
