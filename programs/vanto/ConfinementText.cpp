// SPDX-License-Identifier: Apache-2.0
#include "vanto/ConfinementText.h"

#include <cstddef>
#include <sstream>
#include <string_view>
#include <utility>

#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// With the level they make ten.
constexpr std::size_t mostReceiptLines = 9;

/// Takes `line` into `last` where both are rights that are missing for the same reason, as all are on some kernels.
bool isTakenInto(std::string& last, const std::string& line) {
  constexpr std::string_view word = "missing ";
  const std::size_t colon = line.find(':');
  const std::size_t place = last.find(':');
  if (!line.starts_with(word) || !last.starts_with(word) || colon == line.npos || place == last.npos) return false;
  if (line.substr(colon) != last.substr(place)) return false;
  last.insert(place, line.substr(word.size() - 1, colon - (word.size() - 1)));
  return true;
}

/// The lines of a receipt that say something: neither the level, which has been told, nor a word without anything
/// behind it.
std::vector<std::string> tellingLinesOf(const std::string& receipt) {
  std::vector<std::string> telling;
  std::istringstream lines(receipt);
  for (std::string line; std::getline(lines, line);) {
    const std::size_t blank = line.find(' ');
    if (line.starts_with("level ") || blank == line.npos || blank + 1 == line.size()) continue;
    line = visible(line);
    if (telling.empty() || !isTakenInto(telling.back(), line)) telling.push_back(std::move(line));
  }
  return telling;
}

}  // namespace

std::vector<std::string> confinementLinesOf(const JobState& job) {
  const JobState::Instance* const instance = job.weakestInstance();
  if (instance == nullptr) return {};
  std::vector<std::string> lines{"  confined " + visible(*instance->confinement) + ": process " +
                                 std::to_string(instance->pid)};
  std::vector<std::string> telling = tellingLinesOf(instance->receipt);
  if (telling.empty()) telling.emplace_back("none: it has no profile, or its library has told of none");
  if (telling.size() > mostReceiptLines) {
    const std::size_t left = telling.size() - (mostReceiptLines - 1);
    telling.resize(mostReceiptLines - 1);
    telling.push_back("and " + std::to_string(left) + " lines more: vanto status --json " + visible(job.label));
  }
  for (const std::string& line : telling) lines.push_back("  receipt  " + line);
  return lines;
}

}  // namespace vanto::tool
