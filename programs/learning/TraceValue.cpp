// SPDX-License-Identifier: Apache-2.0

// All that a traced process can choose, paths and names, is written in hexadecimal and stands between quotes or angles,
// so it cannot look like a bracket or a comma. What is between is the tracer's own and printable.
#include "learning/TraceValue.h"

#include <charconv>
#include <utility>

#include "learning/limits.h"

namespace vanto::learning {
namespace {

constexpr std::size_t npos = std::string_view::npos;
constexpr std::string_view comment = "/*";

int hexadecimalDigit(char character) noexcept {
  if (character >= '0' && character <= '9') return character - '0';
  if (character >= 'a' && character <= 'f') return character - 'a' + 10;
  return -1;
}

/// The bytes that "\x2f\x61" stands for.
std::optional<std::string> decoded(std::string_view text) {
  constexpr std::size_t written = 4;
  if (text.size() % written != 0) return std::nullopt;
  std::string bytes;
  for (; !text.empty(); text.remove_prefix(written)) {
    const int high = hexadecimalDigit(text[2]);
    const int low = hexadecimalDigit(text[3]);
    if (!text.starts_with("\\x") || high < 0 || low < 0) return std::nullopt;
    bytes += static_cast<char>(high * 16 + low);
  }
  return bytes;
}

char closerOf(char opener) noexcept {
  switch (opener) {
    case '(':
      return ')';
    case '[':
      return ']';
    case '{':
      return '}';
    case '<':
      return '>';
    default:
      return '\0';
  }
}

bool isPrintable(char character) noexcept {
  return character >= ' ' && character <= '~';
}

std::size_t endOfQuote(std::string_view text, std::size_t at) noexcept {
  const std::size_t end = text.find('"', at + 1);
  return end == npos ? npos : end + 1;
}

std::size_t endOfComment(std::string_view text, std::size_t at) noexcept {
  const std::size_t end = text.find("*/", at + comment.size());
  return end == npos ? npos : end + comment.size();
}

/// Brackets that are open.
class OpenBrackets {
 public:
  /// False for a character that cannot stand here.
  [[nodiscard]] bool take(char character) {
    if (!isPrintable(character)) return false;
    if (const char closer = closerOf(character); closer != '\0') {
      closers_ += closer;
      return closers_.size() <= limits::nesting;
    }
    if (!closers_.empty() && character == closers_.back()) {
      closers_.pop_back();
      return true;
    }
    return character != ')' && character != ']' && character != '}';
  }
  [[nodiscard]] bool isEmpty() const noexcept { return closers_.empty(); }

 private:
  std::string closers_;
};

/// Goes on by one character, quote or comment; npos when it cannot.
std::size_t next(std::string_view text, std::size_t at, OpenBrackets& open) {
  if (text[at] == '"') return endOfQuote(text, at);
  if (text.substr(at).starts_with(comment)) return endOfComment(text, at);
  return open.take(text[at]) ? at + 1 : npos;
}

std::string_view withoutComment(std::string_view text) {
  const std::size_t at = text.find(" /*");
  return at == npos ? text : text.substr(0, at);
}

std::optional<std::int64_t> oneNumber(std::string_view text) {
  const bool isNegative = text.starts_with('-');
  if (isNegative) text.remove_prefix(1);
  int base = 10;
  if (text.starts_with("0x")) {
    base = 16;
    text.remove_prefix(2);
  } else if (text.size() > 1 && text.front() == '0') {
    base = 8;
  }
  std::uint64_t value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, base);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  const auto number = static_cast<std::int64_t>(value);
  return isNegative ? std::int64_t(0 - value) : number;
}

bool isPathStart(std::string_view text) noexcept {
  return text.starts_with("\\x");
}

}  // namespace

std::size_t endOfGroup(std::string_view text, std::size_t at) {
  OpenBrackets open;
  do {
    if (at >= text.size()) return npos;
    at = next(text, at, open);
    if (at == npos) return npos;
  } while (!open.isEmpty());
  return at;
}

std::optional<std::vector<std::string_view>> elementsOf(std::string_view text) {
  std::vector<std::string_view> elements;
  if (text.empty()) return elements;
  OpenBrackets open;
  std::size_t begin = 0;
  for (std::size_t at = 0; at < text.size();) {
    if (open.isEmpty() && text.substr(at).starts_with(", ")) {
      elements.push_back(text.substr(begin, at - begin));
      at = begin = at + 2;
      continue;
    }
    at = next(text, at, open);
    if (at == npos) return std::nullopt;
  }
  if (!open.isEmpty()) return std::nullopt;
  elements.push_back(text.substr(begin));
  return elements;
}

std::optional<std::int64_t> TraceValue::number() const {
  std::string_view rest = withoutComment(text_);
  rest = rest.substr(0, rest.find('<'));
  std::int64_t sum = 0;
  for (;;) {
    const std::string_view part = rest.substr(0, rest.find('|'));
    const auto value = oneNumber(part);
    if (!value) return std::nullopt;
    sum |= *value;
    if (part.size() == rest.size()) return sum;
    rest.remove_prefix(part.size() + 1);
  }
}

std::optional<std::string> TraceValue::bytes() const {
  if (text_.size() < 2 || text_.front() != '"' || text_.back() != '"') return std::nullopt;
  return decoded(text_.substr(1, text_.size() - 2));
}

std::optional<std::string> TraceValue::abstractBytes() const {
  return text_.starts_with('@') ? TraceValue(text_.substr(1)).bytes() : std::nullopt;
}

std::optional<TracePlace> TraceValue::place() const {
  const std::size_t begin = text_.find('<');
  if (begin == npos) return std::nullopt;
  const std::size_t end = endOfGroup(text_, begin);
  if (end == npos) return std::nullopt;
  const std::string_view inside = text_.substr(begin + 1, end - begin - 2);
  TracePlace place;
  place.isDeleted = text_.substr(end) == "(deleted)";
  if (!place.isDeleted && end != text_.size()) return std::nullopt;
  const std::size_t device = isPathStart(inside) ? inside.find('<') : 0;
  if (device == 0) {
    place.kind = inside;
    return place;
  }
  auto path = decoded(inside.substr(0, device));
  if (!path) return std::nullopt;
  // What has no path, such as a pipe, has a name in its place.
  (path->starts_with('/') ? place.path : place.kind) = std::move(*path);
  if (device != npos) place.kind = inside.substr(device + 1, inside.size() - device - 2);
  return place;
}

std::optional<TraceValue> TraceValue::field(std::string_view name) const {
  if (text_.size() > name.size() && text_.starts_with(name) && text_[name.size()] == '=') {
    return TraceValue(text_.substr(name.size() + 1));
  }
  if (!text_.starts_with('{')) return std::nullopt;
  const std::size_t end = endOfGroup(text_, 0);
  if (end == npos) return std::nullopt;
  const auto elements = elementsOf(text_.substr(1, end - 2));
  if (!elements) return std::nullopt;
  for (const std::string_view element : *elements) {
    if (element.starts_with('{')) continue;
    if (const auto value = TraceValue(element).field(name)) return value;
  }
  return std::nullopt;
}

std::vector<TraceValue> TraceValue::elements() const {
  std::vector<TraceValue> values;
  if (!text_.starts_with('[') || endOfGroup(text_, 0) != text_.size()) return values;
  const auto elements = elementsOf(text_.substr(1, text_.size() - 2));
  if (!elements) return values;
  for (const std::string_view element : *elements) values.emplace_back(element);
  return values;
}

}  // namespace vanto::learning
