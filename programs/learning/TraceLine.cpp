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

/// The process at the beginning of `rest`, which is taken off with the blanks behind it.
std::optional<std::int64_t> takenProcess(std::string_view& rest) {
  const auto process = TraceValue(taken(rest, [](char digit) { return digit >= '0' && digit <= '9'; })).number();
  if (!process || *process <= 0) return std::nullopt;
  const bool isFollowed = !taken(rest, [](char character) { return character == ' '; }).empty();
  return isFollowed ? process : std::nullopt;
}

/// "+++ exited with 0 +++" and the like.
bool readEnd(std::string_view text, TraceLine& line) {
  constexpr std::string_view sign = "+++ ";
  constexpr std::string_view end = " +++";
  if (!skip(text, sign) || !text.ends_with(end)) return false;
  text.remove_suffix(end.size());
  line.kind = TraceLine::Kind::End;
  if (text.starts_with("exited with ") || text.starts_with("killed by ")) return true;
  if (!skip(text, "superseded by execve in pid ")) return false;
  line.kind = TraceLine::Kind::Superseded;
  line.successor = TraceValue(text).number().value_or(0);
  return line.successor > 0;
}

/// "3<...>", "-1 ENOENT (No such file or directory)", "0x55aa (flags ...)"; behind " = ".
bool readResult(std::string_view text, TraceLine& line) {
  if (text.starts_with('?')) {
    line.error = "?";
    return true;
  }
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
  if (rest.empty()) return text != "-1";
  if (!skip(rest, " ")) return false;
  if (text.starts_with("-1 ")) {
    line.error = taken(rest, isErrorCharacter);
    if (line.error.empty() || !skip(rest, " ")) return false;
  }
  return rest.starts_with('(') && endOfGroup(rest, 0) == rest.size();
}

/// How much of the end of `text` says that it is cut there.
std::size_t cutLength(std::string_view text) noexcept {
  constexpr std::string_view end = " ...>";
  const std::size_t begin = text.rfind(" <");
  if (begin == npos || !text.ends_with(end)) return 0;
  const std::string_view why =
      text.substr(begin + 2, text.size() - end.size() - std::min(begin + 2, text.size() - end.size()));
  return why == "unfinished" || why.starts_with("pid changed to ") ? text.size() - begin : 0;
}

}  // namespace

std::optional<TraceLine> TraceLine::of(std::string_view text) {
  if (text.size() > limits::lineBytes) return std::nullopt;
  TraceLine line;
  const auto process = takenProcess(text);
  if (!process) return std::nullopt;
  line.process = *process;
  if (readEnd(text, line)) return line;
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

std::optional<TraceLinePart> TraceLinePart::of(std::string_view text) {
  constexpr std::string_view begin = "<... ";
  constexpr std::string_view resumed = " resumed>";
  std::string_view rest = text;
  TraceLinePart part;
  const auto process = takenProcess(rest);
  if (!process || text.size() > limits::lineBytes) return std::nullopt;
  part.process = *process;
  if (const std::size_t cut = cutLength(rest); cut != 0) {
    part.text = text.substr(0, text.size() - cut);
    return part;
  }
  if (!skip(rest, begin)) return std::nullopt;
  part.kind = Kind::Rest;
  part.name = taken(rest, isNameCharacter);
  if (part.name.empty() || !skip(rest, resumed)) return std::nullopt;
  part.text = rest;
  return part;
}

}  // namespace vanto::learning
