// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string_view>

/// The only keys of the JSON objects that stand for values which JSON has no kind for.
namespace vanto::tool::jsonword {

inline constexpr const char* data = "$data";
inline constexpr const char* date = "$date";
inline constexpr const char* real = "$real";
inline constexpr const char* number = "$number";
/// Around a dictionary that has one of these among its keys.
inline constexpr const char* dictionary = "$dictionary";

// Keys of the object under "$number".
inline constexpr const char* subtype = "subtype";
inline constexpr const char* value = "value";

[[nodiscard]] inline bool isWord(std::string_view key) noexcept {
  return key == data || key == date || key == real || key == number || key == dictionary;
}

}  // namespace vanto::tool::jsonword
