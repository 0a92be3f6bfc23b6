// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "signing/RequirementError.h"

namespace vanto {

/// One piece of a requirement text.
struct RequirementToken {
  enum class Kind : std::uint8_t {
    End,
    And,
    Or,
    Not,
    Open,
    Close,
    Identifier,
    Signer,
    Digest,
    Entitlement,
    Exists,
    Valid,
    True,
    False,
    Equals,
    String,
    Number,
    /// What is no token; the scanner then has an error.
    Mistake
  };

  Kind kind = Kind::End;
  /// Where it begins in the text, in bytes.
  std::size_t offset = 0;
  /// Of a string, its text without quotes and escapes; of everything else, as it was written.
  std::string text;
};

/// Cuts a requirement text into tokens, leaving out blanks and comments. Strict: what belongs to no token is a mistake,
/// behind which nothing more comes.
class RequirementScanner {
 public:
  /// `source` must outlive the scanner.
  explicit RequirementScanner(std::string_view source) noexcept : source_(source) {}

  /// The next token; at the end, and after a mistake, the same again at each call.
  [[nodiscard]] RequirementToken next();

  /// What the mistake is; none as long as there was none.
  [[nodiscard]] const std::optional<RequirementError>& error() const noexcept { return error_; }

 private:
  using Kind = RequirementToken::Kind;

  [[nodiscard]] bool startsWith(std::string_view text) const noexcept { return source_.substr(at_).starts_with(text); }
  /// False when a comment has no end.
  [[nodiscard]] bool skipBlanksAndComments();
  [[nodiscard]] bool skipComment();
  [[nodiscard]] RequirementToken sign(Kind kind);
  [[nodiscard]] RequirementToken word();
  [[nodiscard]] RequirementToken number();
  [[nodiscard]] RequirementToken string();
  /// Takes one character of a string, or an escape, into `text`.
  [[nodiscard]] bool takeCharacter(std::string& text);
  void fail(std::size_t offset, std::string problem, std::string remedy);
  [[nodiscard]] RequirementToken mistake(std::size_t offset, std::string problem, std::string remedy);

  const std::string_view source_;
  std::size_t at_ = 0;
  std::optional<RequirementError> error_;
};

}  // namespace vanto
