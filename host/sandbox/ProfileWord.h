// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/ProfileErrors.h"

namespace vanto {

/// A word of a profile: text and parameters in turn. Parameters stay what they are here, so that no value of one can
/// become a word, a quote or a comment.
struct ProfileWord {
  struct Piece {
    enum class Kind { Text, Parameter };
    Kind kind = Kind::Text;
    /// The text, or the name of the parameter.
    std::string text;
    ProfilePosition position;
  };

  ProfilePosition position;
  /// Behind the last character.
  ProfilePosition end;
  /// No two texts follow each other; the empty word has none.
  std::vector<Piece> pieces;

  [[nodiscard]] bool hasParameters() const noexcept;
  /// The word when it has no parameters.
  [[nodiscard]] std::optional<std::string_view> plainText() const noexcept;
  /// The word for a message, as shownWord() shows text.
  [[nodiscard]] std::string shown() const;
};

/// `text` as a word of a profile: in quotes where it needs them.
[[nodiscard]] std::string writtenWord(std::string_view text);

/// `text` in quotes on one line, for a message; cut when it is long.
[[nodiscard]] std::string shownWord(std::string_view text);

}  // namespace vanto
