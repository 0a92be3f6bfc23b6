// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "sandbox/ProfileErrors.h"
#include "sandbox/ProfileWord.h"

namespace vanto {

/// The values of parameters by their names.
using ProfileParameters = std::map<std::string, std::string, std::less<>>;

/// The path that `word` stands for: absolute, without "." and "..", without repeated or trailing slashes. Empty when it
/// is none; then the reason has been added to `errors`.
///
/// A parameter cannot make a word mean more than it looks like: its value is neither empty nor only slashes behind
/// other text, and a word with parameters never means the root directory.
[[nodiscard]] std::string pathOf(const ProfileWord& word, const ProfileParameters& parameters, ProfileErrors& errors);

}  // namespace vanto
