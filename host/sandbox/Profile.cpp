// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Profile.h"

#include "sandbox/PolicyBuilder.h"
#include "sandbox/ProfileParser.h"
#include "value/limits.h"

namespace vanto {

ProfileResult compileProfile(std::string_view text, const ProfileParameters& parameters) {
  ProfileResult result;
  if (text.size() > limits::profileBytes) {
    result.errors.add({}, "the profile is larger than " + std::to_string(limits::profileBytes) +
                              " bytes; name directories in place of what is in them");
    return result;
  }
  PolicyBuilder policy;
  ProfileParser(parameters, policy, result.errors).parse(text);
  if (result.errors.count() == 0) result.policy = policy.take();
  return result;
}

}  // namespace vanto
