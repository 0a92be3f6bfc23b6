// SPDX-License-Identifier: Apache-2.0
#include <cstdlib>
#include <cstring>
#include <string>

#include "support/fakehost/HostState.h"
#include "value/platform/sandbox.h"

using vanto::test::called;
using vanto::test::HostState;
using vanto::test::textOf;

namespace {

std::string listOf(const char* const parameters[]) {
  std::string result;
  for (std::size_t index = 0; parameters[index] != nullptr; ++index) result += std::string(parameters[index]) + ", ";
  return result + "null";
}

}  // namespace

int sandbox_init_with_parameters(const char* profile, std::uint64_t flags, const char* const parameters[],
                                 char** errorText) {
  const bool shallWork =
      called("sandbox_init_with_parameters", {textOf(profile), std::to_string(flags), listOf(parameters)});
  const auto& error = HostState::shared().answers.sandboxError;
  if (shallWork && !error) return 0;
  // A failure on demand comes without a text.
  if (shallWork && errorText != nullptr) *errorText = strdup(error->c_str());
  return -1;
}

void vanto_sandbox_record_failure(const char* reason) {
  vanto::test::record("vanto_sandbox_record_failure", {textOf(reason)});
}

void sandbox_free_error(char* errorText) {
  vanto::test::record("sandbox_free_error", {textOf(errorText)});
  std::free(errorText);
}
