// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileDocument.h"

#include <string_view>

#include "sandbox/ProfileScanner.h"
#include "value/limits.h"
#include "vanto/InputFile.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr InputLimit profileLimit{limits::profileBytes, "the 1 MiB that a profile may have"};
static_assert(limits::profileBytes == std::size_t{1} << 20);

/// With the line feed at its end.
std::string_view lineOfText(std::string_view text, std::size_t line) {
  for (std::size_t number = 1; number < line; ++number) {
    const std::size_t end = text.find('\n');
    if (end == text.npos) return {};
    text.remove_prefix(end + 1);
  }
  const std::size_t end = text.find('\n');
  return end == text.npos ? text : text.substr(0, end + 1);
}

/// The bytes of `line` in front of a column, which counts characters.
std::size_t bytesBefore(std::string_view line, std::size_t column) {
  std::size_t bytes = 0;
  for (std::size_t character = 1; character < column && bytes < line.size(); ++character) {
    ++bytes;
    while (bytes < line.size() && (static_cast<unsigned char>(line[bytes]) & 0xc0) == 0x80) ++bytes;
  }
  return bytes;
}

}  // namespace

std::optional<ProfileDocument> ProfileDocument::read(const std::string& path, const ProfileValues& values,
                                                     std::string& problem) {
  std::optional<std::string> text = readInput(path, problem, InputKind::RegularFile, profileLimit);
  if (!text) return std::nullopt;
  ProfileDocument document{nameOfInput(path), std::move(*text), {}};
  document.result = compileProfile(document.text, values.parameters);
  return document;
}

std::optional<ProfileDocument> ProfileDocument::readGood(const std::string& path, const ProfileValues& values,
                                                         std::string& problem) {
  std::optional<ProfileDocument> document = read(path, values, problem);
  if (!document || document->result.policy) return document;
  problem = visible(document->result.errors.summary(path));
  return std::nullopt;
}

std::string ProfileDocument::statementAt(std::size_t line) const {
  const std::string_view whole = lineOfText(text, line);
  ProfileErrors ignored;
  const auto words = ProfileScanner(whole, ignored).nextStatement();
  if (!words) return {};
  const std::size_t begin = bytesBefore(whole, words->front().position.column);
  return visible(whole.substr(begin, bytesBefore(whole, words->back().end.column) - begin));
}

std::string ProfileDocument::placeOf(const ProfileLine& line) const {
  return name + ":" + std::to_string(line.line);
}

}  // namespace vanto::tool
