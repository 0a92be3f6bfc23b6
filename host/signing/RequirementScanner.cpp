// SPDX-License-Identifier: Apache-2.0
#include "signing/RequirementScanner.h"

#include <algorithm>
#include <utility>

#include "value/PropertyListScan.h"

namespace vanto {

namespace {

using Kind = RequirementToken::Kind;

struct Word {
  std::string_view text;
  Kind kind;
};

constexpr Word words[] = {
    {"and", Kind::And},       {"digest", Kind::Digest}, {"entitlement", Kind::Entitlement},
    {"exists", Kind::Exists}, {"false", Kind::False},   {"identifier", Kind::Identifier},
    {"not", Kind::Not},       {"or", Kind::Or},         {"signer", Kind::Signer},
    {"true", Kind::True},     {"valid", Kind::Valid},
};

/// What an error shows of a word of others.
constexpr std::size_t shownBytes = 40;

constexpr bool isLower(char byte) noexcept {
  return byte >= 'a' && byte <= 'z';
}
constexpr bool isUpper(char byte) noexcept {
  return byte >= 'A' && byte <= 'Z';
}
constexpr bool isDigit(char byte) noexcept {
  return byte >= '0' && byte <= '9';
}
constexpr bool isOfWord(char byte) noexcept {
  return isLower(byte) || isUpper(byte) || isDigit(byte) || byte == '_';
}
constexpr bool isOfNumber(char byte) noexcept {
  return isOfWord(byte) || byte == '.' || byte == '-' || byte == '+';
}
constexpr bool isControl(char byte) noexcept {
  return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7f;
}

const Word* find(std::string_view text) noexcept {
  const auto* found = std::find_if(std::begin(words), std::end(words), [text](Word word) { return word.text == text; });
  return found == std::end(words) ? nullptr : found;
}

std::string lowered(std::string_view text) {
  std::string result(text);
  for (char& byte : result) byte = isUpper(byte) ? static_cast<char>(byte - 'A' + 'a') : byte;
  return result;
}

/// The bytes from `at` on that are of a kind.
std::string_view run(std::string_view source, std::size_t at, bool (*isOfKind)(char) noexcept) noexcept {
  std::size_t end = at;
  while (end != source.size() && isOfKind(source[end])) ++end;
  return source.substr(at, end - at);
}

std::string quoted(std::string_view text) {
  const bool isCut = text.size() > shownBytes;
  return "'" + std::string(text.substr(0, shownBytes)) + (isCut ? "...'" : "'");
}

}  // namespace

RequirementToken RequirementScanner::next() {
  if (error_ || !skipBlanksAndComments()) return {Kind::Mistake, at_, {}};
  if (at_ == source_.size()) return {Kind::End, at_, {}};
  const char first = source_[at_];
  if (first == '(') return sign(Kind::Open);
  if (first == ')') return sign(Kind::Close);
  if (first == '=') return sign(Kind::Equals);
  if (first == '"') return string();
  if (isDigit(first) || first == '-') return number();
  if (isOfWord(first)) return word();
  return mistake(at_, "nothing can begin with this character",
                 "use words, \"texts\", numbers, '=' and parentheses, and put comments behind // or into /* */");
}

bool RequirementScanner::skipBlanksAndComments() {
  while (at_ != source_.size()) {
    if (scan::isBlank(source_[at_])) {
      ++at_;
    } else if (!startsWith("//") && !startsWith("/*")) {
      return true;
    } else if (!skipComment()) {
      return false;
    }
  }
  return true;
}

bool RequirementScanner::skipComment() {
  const bool isLine = startsWith("//");
  const std::size_t end = source_.find(isLine ? "\n" : "*/", at_ + 2);
  if (end != std::string_view::npos) {
    at_ = end + (isLine ? 1 : 2);
  } else if (isLine) {
    at_ = source_.size();
  } else {
    fail(at_, "this comment never ends", "close it with */");
    return false;
  }
  return true;
}

RequirementToken RequirementScanner::sign(Kind kind) {
  const std::size_t offset = at_++;
  return {kind, offset, std::string(source_.substr(offset, 1))};
}

RequirementToken RequirementScanner::word() {
  const std::size_t offset = at_;
  const std::string_view text = run(source_, at_, isOfWord);
  if (const Word* known = find(text)) {
    at_ += text.size();
    return {known->kind, offset, std::string(text)};
  }
  if (const Word* meant = find(lowered(text))) {
    return mistake(offset, "words are written in lower case", "write '" + std::string(meant->text) + "'");
  }
  return mistake(offset, "there is no word " + quoted(text),
                 "use identifier, signer, digest, entitlement or valid, and join them with and, or and not");
}

RequirementToken RequirementScanner::number() {
  const std::size_t offset = at_;
  const std::string_view text = run(source_, at_, isOfNumber);
  const std::size_t sign = text.starts_with('-') ? 1 : 0;
  const std::string_view whole = run(text, sign, isDigit);
  std::size_t length = sign + whole.size();
  if (!whole.empty() && text.substr(length).starts_with('.')) {
    const std::string_view fraction = run(text, length + 1, isDigit);
    if (!fraction.empty()) length += 1 + fraction.size();
  }
  if (whole.empty() || length != text.size()) {
    return mistake(offset, quoted(text) + " is no number", "write digits such as 12, -3 or 0.5");
  }
  at_ += length;
  return {Kind::Number, offset, std::string(text)};
}

RequirementToken RequirementScanner::string() {
  const std::size_t offset = at_++;
  std::string text;
  while (at_ != source_.size() && source_[at_] != '"') {
    if (!takeCharacter(text)) return {Kind::Mistake, at_, {}};
  }
  if (at_ == source_.size()) return mistake(offset, "this text never ends", "close it with a double quote");
  ++at_;
  return {Kind::String, offset, std::move(text)};
}

bool RequirementScanner::takeCharacter(std::string& text) {
  if (isControl(source_[at_])) {
    fail(at_, "a text cannot hold line breaks and other control characters",
         "close it with a double quote before this place");
    return false;
  }
  if (source_[at_] == '\\') {
    if (!startsWith("\\\"") && !startsWith("\\\\")) {
      fail(at_, "there is no such escape in a text", "write \\\\ for a backslash and \\\" for a double quote");
      return false;
    }
    ++at_;
  }
  text += source_[at_++];
  return true;
}

void RequirementScanner::fail(std::size_t offset, std::string problem, std::string remedy) {
  error_ = RequirementError::at(source_, offset, std::move(problem), std::move(remedy));
}

RequirementToken RequirementScanner::mistake(std::size_t offset, std::string problem, std::string remedy) {
  fail(offset, std::move(problem), std::move(remedy));
  return {Kind::Mistake, offset, {}};
}

}  // namespace vanto
