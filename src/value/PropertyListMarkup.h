// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

namespace vanto {

/// The text that is being read, and the first mistake found in it. Each reading function takes the place where it
/// begins and gives the place behind what it read, or null after a mistake.
struct PropertyListSource {
  /// The byte-order mark, if there is one, lies in front of it.
  const char* begin;
  const char* end;
  const char* mistake = nullptr;
  /// What is wrong at `mistake`; a literal.
  const char* message = nullptr;

  /// Notes a mistake at `place`, unless there was one before; gives null.
  const char* fail(const char* place, const char* what) noexcept {
    if (message == nullptr) {
      mistake = place;
      message = what;
    }
    return nullptr;
  }
};

/// The parts of an XML document around its elements: skipped, but only when they are well-formed.
namespace markup {

/// Skips a byte-order mark, the XML declaration, comments, processing instructions and at most one document type
/// declaration without an internal subset: everything in front of the root element.
[[nodiscard]] const char* skipProlog(PropertyListSource& source) noexcept;

/// Skips blanks, comments and processing instructions.
[[nodiscard]] const char* skipMiscellany(PropertyListSource& source, const char* at) noexcept;

/// Skips the comment or processing instruction at `at`, where "<!" or "<?" stands; anything else there is a mistake
/// that `expected` describes.
[[nodiscard]] const char* skipCommentOrInstruction(PropertyListSource& source, const char* at,
                                                   const char* expected) noexcept;

/// Reads `="VALUE"` behind the name of an attribute.
[[nodiscard]] const char* readAttributeValue(PropertyListSource& source, const char* at,
                                             std::string_view& value) noexcept;

/// What is wrong where a character may not stand in a document, or is not well-formed.
inline constexpr const char* characterNotAllowed = "a character that XML does not allow, or invalid UTF-8";

}  // namespace markup
}  // namespace vanto
