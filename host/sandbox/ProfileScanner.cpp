// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ProfileScanner.h"

#include <string>
#include <utility>

#include "value/HiddenCharacter.h"
#include "value/Utf8.h"
#include "value/limits.h"

namespace vanto {
namespace {

bool isBlank(char character) noexcept {
  return character == ' ' || character == '\t';
}

bool isNameCharacter(char character) noexcept {
  return (character >= 'a' && character <= 'z') || (character >= 'A' && character <= 'Z') ||
         (character >= '0' && character <= '9') || character == '_';
}

int hexadecimalDigit(char character) noexcept {
  if (character >= '0' && character <= '9') return character - '0';
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  if (character >= 'A' && character <= 'F') return character - 'A' + 10;
  return -1;
}

/// How long the character at the beginning of `text` is, or 0 when it is no UTF-8.
std::size_t characterLength(std::string_view text) noexcept {
  for (std::size_t length = 1; length <= 4 && length <= text.size(); ++length) {
    if (isValidUtf8(text.substr(0, length))) return length;
  }
  return 0;
}

/// One line on its way into words. Each step that fails has added the line's one error.
class Line {
 public:
  Line(std::string_view text, std::size_t number, ProfileErrors& errors) noexcept
      : text_(text), errors_(errors), position_{number, 1} {}

  [[nodiscard]] bool isText();
  [[nodiscard]] bool cut(std::vector<ProfileWord>& words);
  /// For a line that nothing ends. The file may have been cut, and a path that is cut is one that may hold far more.
  void refuseItsEnd();

 private:
  [[nodiscard]] bool atEnd() const noexcept { return at_ == text_.size(); }
  [[nodiscard]] char current() const noexcept { return text_[at_]; }
  [[nodiscard]] bool fail(ProfilePosition position, std::string problem);
  [[nodiscard]] bool fail(std::string problem) { return fail(position_, std::move(problem)); }

  void advance() noexcept;
  void skipBlanks() noexcept;
  [[nodiscard]] bool bareWord(ProfileWord& word);
  [[nodiscard]] bool quotedWord(ProfileWord& word);
  [[nodiscard]] bool escape(ProfileWord& word);
  [[nodiscard]] bool escapedByte(ProfileWord& word, ProfilePosition start);
  [[nodiscard]] bool parameter(ProfileWord& word);
  void addByte(ProfileWord& word, char byte);

  std::string_view text_;
  ProfileErrors& errors_;
  std::size_t at_ = 0;
  /// Of the character at at_.
  ProfilePosition position_;
};

bool Line::fail(ProfilePosition position, std::string problem) {
  errors_.add(position, std::move(problem));
  return false;
}

/// Goes on by one byte; only the first byte of a character counts as a column.
void Line::advance() noexcept {
  ++at_;
  if (atEnd() || (static_cast<unsigned char>(current()) & 0xc0) != 0x80) ++position_.column;
}

void Line::skipBlanks() noexcept {
  while (!atEnd() && isBlank(current())) advance();
}

/// Control characters could make the file look other than it is.
bool Line::isText() {
  if (text_.size() > limits::profileLineBytes) {
    return fail("the line is longer than " + std::to_string(limits::profileLineBytes) +
                " bytes; write several statements");
  }
  ProfilePosition position = position_;
  for (std::size_t at = 0; at < text_.size(); ++position.column) {
    const std::size_t length = characterLength(text_.substr(at));
    if (length == 0) return fail(position, "this is no UTF-8; save the profile as UTF-8");
    const auto byte = static_cast<unsigned char>(text_[at]);
    if (text_[at] == '\r') return fail(position, "a carriage return; end lines with a line feed alone");
    if ((byte < 0x20 && text_[at] != '\t') || byte == 0x7f) {
      return fail(position, "a control character; write it in quotes, as \\x and two digits");
    }
    if (isMisleadingCharacter(characterIn(text_.substr(at, length)))) {
      return fail(position,
                  "a character that makes the line look other than it is; write its bytes in quotes, each as \\x and "
                  "two digits");
    }
    at += length;
  }
  return text_.starts_with("\xef\xbb\xbf") ? fail("a byte-order mark; save the profile without one") : true;
}

bool Line::cut(std::vector<ProfileWord>& words) {
  for (skipBlanks(); !atEnd() && current() != '#'; skipBlanks()) {
    ProfileWord word;
    word.position = position_;
    if (current() == '"' ? !quotedWord(word) : !bareWord(word)) return false;
    word.end = position_;
    words.push_back(std::move(word));
  }
  return true;
}

void Line::refuseItsEnd() {
  while (!atEnd()) advance();
  errors_.add(position_, "the last line does not end, as if the profile were cut off; write the rest, and a line feed");
}

bool Line::bareWord(ProfileWord& word) {
  while (!atEnd() && !isBlank(current())) {
    if (current() == '"') return fail("a quote inside a word; put the whole word in quotes, and write \\\" in it");
    if (current() == '\\') return fail("a backslash outside quotes; put the word in quotes, and write \\\\ in it");
    if (current() == '$') {
      if (!parameter(word)) return false;
      continue;
    }
    addByte(word, current());
    advance();
  }
  return true;
}

bool Line::quotedWord(ProfileWord& word) {
  const ProfilePosition start = position_;
  advance();
  while (!atEnd() && current() != '"') {
    if (current() == '\\') {
      if (!escape(word)) return false;
    } else if (current() == '$') {
      if (!parameter(word)) return false;
    } else {
      addByte(word, current());
      advance();
    }
  }
  if (atEnd()) return fail(start, "the quote is not closed; write \" at the end of the word, on the same line");
  advance();
  if (!atEnd() && !isBlank(current()))
    return fail("a quoted word goes on behind its quote; write a blank between words");
  return true;
}

bool Line::escape(ProfileWord& word) {
  constexpr std::string_view written = "\"\\$nt";
  constexpr std::string_view meant = "\"\\$\n\t";
  const ProfilePosition start = position_;
  advance();
  if (!atEnd() && current() == 'x') return escapedByte(word, start);
  const std::size_t which = atEnd() ? std::string_view::npos : written.find(current());
  if (which == std::string_view::npos) {
    return fail(start, "unknown escape; write one of \\\" \\\\ \\$ \\n \\t and \\x with two digits");
  }
  addByte(word, meant[which]);
  advance();
  return true;
}

bool Line::escapedByte(ProfileWord& word, ProfilePosition start) {
  int value = 0;
  for (int digits = 0; digits < 2; ++digits) {
    advance();
    const int digit = atEnd() ? -1 : hexadecimalDigit(current());
    if (digit < 0) return fail(start, "\\x without two hexadecimal digits; write \\x0a and the like");
    value = value * 16 + digit;
  }
  advance();
  addByte(word, static_cast<char>(value));
  return true;
}

bool Line::parameter(ProfileWord& word) {
  const ProfilePosition start = position_;
  advance();
  if (atEnd() || current() != '{') return fail(start, "$ without {; write ${NAME}, or \\$ in quotes for the character");
  advance();
  std::string name;
  for (; !atEnd() && isNameCharacter(current()); advance()) name += current();
  if (atEnd() || current() != '}') {
    return fail(start, "the parameter is not closed; write ${NAME} with letters, digits and _ in the name");
  }
  advance();
  if (name.empty()) return fail(start, "the parameter has no name; write ${NAME}");
  word.pieces.push_back({ProfileWord::Piece::Kind::Parameter, std::move(name), start});
  return true;
}

void Line::addByte(ProfileWord& word, char byte) {
  if (word.pieces.empty() || word.pieces.back().kind != ProfileWord::Piece::Kind::Text) {
    word.pieces.push_back({ProfileWord::Piece::Kind::Text, {}, position_});
  }
  word.pieces.back().text += byte;
}

}  // namespace

std::optional<std::vector<ProfileWord>> ProfileScanner::nextStatement() {
  while (!rest_.empty()) {
    const std::size_t end = rest_.find('\n');
    const std::string_view text = rest_.substr(0, end);
    rest_.remove_prefix(std::min(text.size() + 1, rest_.size()));
    Line line(text, ++line_, errors_);
    std::vector<ProfileWord> words;
    if (!line.isText() || !line.cut(words)) continue;
    if (end == std::string_view::npos) {
      line.refuseItsEnd();
    } else if (!words.empty()) {
      return words;
    }
  }
  return std::nullopt;
}

}  // namespace vanto
