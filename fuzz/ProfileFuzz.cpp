// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "sandbox/Plan.h"
#include "sandbox/PolicyDifference.h"
#include "sandbox/PolicyText.h"
#include "sandbox/Profile.h"
#include "value/limits.h"

namespace {

using vanto::Policy;
using vanto::ProfileParameters;
using vanto::ProfileResult;

/// A harmless value of a parameter and a hostile one, of the same length, so that limits are met alike.
struct Values {
  const char* name;
  std::string_view harmless;
  std::string_view hostile;
};

constexpr Values values[]{{"VantoService_identifier", "org.example.aaa", "a\" /b\n# ${A}\\\t."},
                          {"VantoService_path", "/opt/example/a.vanto", "/ \"/$a\n \"\r\x01/\xff\xc3 b c$}"},
                          {"VantoService_home", "/home/someone", "/ \n /allow \" "}};
static_assert(std::ranges::all_of(values, [](const Values& one) { return one.harmless.size() == one.hostile.size(); }));

ProfileParameters parameters(std::string_view Values::*kind) {
  ProfileParameters parameters;
  for (const Values& one : values) parameters.emplace(one.name, one.*kind);
  return parameters;
}

void require(bool condition) {
  if (!condition) std::abort();
}

std::size_t grantsOf(const Policy& policy) {
  std::size_t count = policy.others.size();
  for (const auto& rule : policy.paths) count += rule.grants.size();
  for (const auto& rule : policy.ports) count += rule.grants.size();
  return count;
}

void checkErrors(const ProfileResult& result, std::size_t size) {
  require(result.policy.has_value() == (result.errors.count() == 0));
  require(result.errors.kept().size() <= vanto::limits::profileErrors);
  require(result.errors.kept().size() <= result.errors.count());
  for (const auto& error : result.errors.kept()) {
    require(error.position.line >= 1 && error.position.line <= size + 1);
    require(error.position.column >= 1 && error.position.column <= size + 1);
    require(error.text.find('\n') == std::string::npos && error.text.size() < 1024);
  }
}

void checkPolicy(const Policy& policy) {
  require(grantsOf(policy) <= vanto::limits::profileGrants);
  require(vanto::differenceOf(policy, policy).empty());
  const std::string text = vanto::textOf(policy);
  if (text.size() <= vanto::limits::profileBytes) {
    const ProfileResult again = vanto::compileProfile(text, {});
    require(again.policy.has_value() && vanto::textOf(*again.policy) == text);
  }
  for (int generation = 0; generation <= 9; ++generation) {
    const vanto::Plan plan = vanto::planOf(policy, vanto::kernelRightsOf(generation), vanto::Machine::X86_64);
    // Without Landlock nothing is enforced.
    require(plan.isEmpty() == (generation == 0) && plan.filter.empty() == plan.isEmpty());
    require(plan.unmet.size() <= plan.missing.size());
    for (const auto& rule : plan.paths)
      require((rule.bits != 0 || rule.isOfProfile) && (rule.bits & ~plan.fileBits) == 0);
    for (const auto& rule : plan.ports) require(rule.bits != 0 && (rule.bits & ~plan.networkBits) == 0);
  }
}

}  // namespace

/// A profile is a policy or errors; what its parameters hold changes no number of grants; and a policy's text compiles
/// to that policy.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  const std::string_view text(reinterpret_cast<const char*>(bytes), size);
  static const ProfileParameters harmless = parameters(&Values::harmless);
  static const ProfileParameters hostile = parameters(&Values::hostile);
  const ProfileResult first = vanto::compileProfile(text, harmless);
  const ProfileResult second = vanto::compileProfile(text, hostile);
  checkErrors(first, size);
  checkErrors(second, size);
  require(first.errors.count() == second.errors.count());
  if (!first.policy) return 0;
  require(grantsOf(*first.policy) == grantsOf(*second.policy));
  checkPolicy(*first.policy);
  checkPolicy(*second.policy);
  return 0;
}
