// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <optional>
#include <string_view>

#include "sandbox/Policy.h"
#include "sandbox/ProfileErrors.h"
#include "sandbox/ProfilePath.h"

namespace vanto {

/// What became of a profile: a policy and no error, or errors and no policy.
struct ProfileResult {
  std::optional<Policy> policy;
  ProfileErrors errors;
};

/// Compiles the text of a profile. It reads nothing but its arguments, and needs no memory beyond a small multiple of
/// the limits of a profile, whatever they hold. From any thread.
[[nodiscard]] ProfileResult compileProfile(std::string_view text, const ProfileParameters& parameters);

}  // namespace vanto
