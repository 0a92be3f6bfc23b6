// SPDX-License-Identifier: Apache-2.0
#include "vanto/TreeText.h"

namespace vanto::tool {
namespace {

constexpr std::size_t blanksPerLevel = 2;

}  // namespace

bool TreeText::add(std::size_t level, std::string_view line) {
  if (isFull_) return false;
  const std::size_t needed = level * blanksPerLevel + line.size() + 1;
  if (needed > limit_ - text_.size()) {
    isFull_ = true;
    text_ += "(cut off here: the rest would make this more than " + std::to_string(limit_ >> 20) + " MiB)\n";
    return false;
  }
  text_.append(level * blanksPerLevel, ' ');
  text_ += line;
  text_ += '\n';
  return true;
}

}  // namespace vanto::tool
