// SPDX-License-Identifier: Apache-2.0
#include "learning/TraceLine.h"

#include <algorithm>

#include "learning/limits.h"

namespace vanto::learning {
namespace {

constexpr std::size_t npos = std::string_view::npos;

bool isNameCharacter(char character) noexcept {
  return (character >= 'a' && character <= 'z') || (character >= '0' && character <= '9') || character == '_';
}

bool isErrorCharacter(char character) noexcept {
  return (character >= 'A' && character <= 'Z') || (character >= '0' && character <= '9') || character == '_';
}

/// Takes what `isPart` is true of from the beginning of `rest`.
template <typename IsPart>
std::string_view taken(std::string_view& rest, IsPart isPart) {
  const auto end = std::ranges::find_if_not(rest, isPart);
  const std::string_view part = rest.substr(0, static_cast<std::size_t>(end - rest.begin()));
  rest.remove_prefix(part.size());
  return part;
}

bool skip(std::string_view& rest, std::string_view expected) noexcept {
  if (!rest.starts_with(expected)) return false;
  rest.remove_prefix(expected.size());
  return true;
}

bool isEnd(std::string_view text) noexcept {
  return text.starts_with("+++ ") && text.ends_with(" +++");
}

/// "3<...>", "-1 ENOENT (No such file or directory)", "0x55aa (flags ...)"; behind " = ".
bool readResult(std::string_view text, TraceLine& line) {
  const std::size_t number = text.find_first_of(" <");
  std::size_t end = number == npos ? text.size() : number;
  if (end < text.size() && text[end] == '<') {
    end = endOfGroup(text, end);
    if (end == npos) return false;
    if (text.substr(end).starts_with("(deleted)")) end += std::string_view("(deleted)").size();
  }
  line.result = TraceValue(text.substr(0, end));
  if (!line.result.number()) return false;
  std::string_view rest = text.substr(end);
  if (rest.empty()) return true;
  if (!skip(rest, " ")) return false;
  if (text.starts_with("-1 ")) {
    line.error = taken(rest, isErrorCharacter);
    if (line.error.empty() || !skip(rest, " ")) return false;
  }
  return rest.starts_with('(') && endOfGroup(rest, 0) == rest.size();
}

}  // namespace

std::optional<TraceLine> TraceLine::of(std::string_view text) {
  if (text.size() > limits::lineBytes) return std::nullopt;
  TraceLine line;
  const auto process = TraceValue(taken(text, [](char digit) { return digit >= '0' && digit <= '9'; })).number();
  if (!process || *process <= 0 || text.empty()) return std::nullopt;
  line.process = *process;
  // Columns are filled with blanks, of processes as of calls.
  taken(text, [](char character) { return character == ' '; });
  if (isEnd(text)) {
    line.kind = Kind::End;
    return line;
  }
  line.name = taken(text, isNameCharacter);
  const std::size_t end = line.name.empty() || !text.starts_with('(') ? npos : endOfGroup(text, 0);
  if (end == npos) return std::nullopt;
  const auto arguments = elementsOf(text.substr(1, end - 2));
  if (!arguments) return std::nullopt;
  for (const std::string_view argument : *arguments) line.arguments.emplace_back(argument);
  text.remove_prefix(end);
  if (taken(text, [](char character) { return character == ' '; }).empty() || !skip(text, "= ")) return std::nullopt;
  if (!readResult(text, line)) return std::nullopt;
  return line;
}

}  // namespace vanto::learning
