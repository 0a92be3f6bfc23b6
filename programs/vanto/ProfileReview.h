// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "sandbox/ProfileErrors.h"
#include "vanto/Finding.h"
#include "vanto/ProfileDocument.h"
#include "vanto/ProfileValues.h"

namespace vanto::tool {

/// One thing that is wrong with a profile, or worth knowing. The texts are visible ones.
struct ProfileFinding {
  Severity severity = Severity::Error;
  ProfilePosition position;
  std::string problem;
  std::string remedy;

  /// As a finding in the profile that is called `name`.
  [[nodiscard]] Finding inFile(const std::string& name) const;
};

/// All that is to be said of a profile whose parameters have `values`, in the order of its lines: its errors, or else
/// what it says in vain or beyond what its writer may want. Looks at the files that it names.
[[nodiscard]] std::vector<ProfileFinding> reviewOf(const ProfileDocument& document, const ProfileValues& values);

}  // namespace vanto::tool
