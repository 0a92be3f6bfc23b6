// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ProfileErrors.h"

#include <utility>

#include "value/limits.h"

namespace vanto {

void ProfileErrors::add(ProfilePosition position, std::string text) {
  ++count_;
  if (kept_.size() < limits::profileErrors) kept_.push_back({position, std::move(text)});
}

std::string ProfileErrors::summary(std::string_view name) const {
  if (kept_.empty()) return {};
  std::string text = lineOf(name, kept_.front());
  if (count_ > 1) text += " (and " + std::to_string(count_ - 1) + " more)";
  return text;
}

std::string lineOf(std::string_view name, const ProfileError& error) {
  return std::string(name) + ":" + std::to_string(error.position.line) + ":" + std::to_string(error.position.column) +
         ": " + error.text;
}

}  // namespace vanto
