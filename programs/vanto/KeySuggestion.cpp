// SPDX-License-Identifier: Apache-2.0
#include "vanto/KeySuggestion.h"

#include <algorithm>
#include <string>
#include <vector>

namespace vanto::tool {
namespace {

/// Further apart, two keys have nothing to do with each other.
constexpr std::size_t nearest = 2;

std::string folded(std::string_view name) {
  name.remove_prefix(std::min(name.find_first_not_of('_'), name.size()));
  std::string result(name);
  for (char& c : result) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return result;
}

std::size_t distance(const std::string& one, const std::string& other) {
  std::vector<std::size_t> row(other.size() + 1);
  for (std::size_t column = 0; column < row.size(); ++column) row[column] = column;
  for (std::size_t line = 0; line < one.size(); ++line) {
    std::size_t diagonal = row[0];
    row[0] = line + 1;
    for (std::size_t column = 0; column < other.size(); ++column) {
      const std::size_t changed = diagonal + (one[line] == other[column] ? 0 : 1);
      diagonal = row[column + 1];
      row[column + 1] = std::min({row[column] + 1, row[column + 1] + 1, changed});
    }
  }
  return row.back();
}

}  // namespace

std::string_view suggestedKey(std::string_view name, std::span<const std::string_view> known) {
  const std::string given = folded(name);
  std::string_view best;
  std::size_t bestDistance = nearest + 1;
  for (const std::string_view candidate : known) {
    // Keys are short; comparing with a long name is work for nothing.
    if (given.size() > candidate.size() + nearest) continue;
    const std::size_t found = distance(given, folded(candidate));
    if (found < bestDistance && found < candidate.size() / 2) {
      best = candidate;
      bestDistance = found;
    }
  }
  return best;
}

}  // namespace vanto::tool
