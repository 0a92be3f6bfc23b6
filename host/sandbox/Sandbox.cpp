// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Sandbox.h"

#include <cstring>
#include <ctime>
#include <string>
#include <vector>

#include "ipc/InheritedSockets.h"
#include "sandbox/Confinement.h"
#include "sandbox/OwnNeeds.h"
#include "sandbox/Profile.h"
#include "sandbox/ProfileFile.h"
#include "value/Memory.h"
#include "value/platform/sandbox.h"

namespace vanto {
namespace {

constexpr const char* identifierParameter = "VantoService_identifier";

/// Never freed: a thread may look at it while the process ends.
constinit std::string_view keptReceipt;

char* copyOf(std::string_view text) noexcept {
  auto* const copy = static_cast<char*>(Memory::allocate(text.size() + 1));
  std::memcpy(copy, text.data(), text.size());
  copy[text.size()] = '\0';
  return copy;
}

ProfileParameters parametersOf(const char* const pairs[]) {
  ProfileParameters parameters;
  if (pairs == nullptr) return parameters;
  for (; pairs[0] != nullptr && pairs[1] != nullptr; pairs += 2) parameters.insert_or_assign(pairs[0], pairs[1]);
  return parameters;
}

Receipt refused(std::string error) {
  Receipt receipt;
  receipt.error = std::move(error);
  return receipt;
}

void keep(const Receipt& receipt) {
  const std::string text = textOf(receipt);
  keptReceipt = {copyOf(text), text.size()};
}

Receipt enter(const char* path, std::uint64_t flags, const ProfileParameters& parameters) {
  if (path == nullptr) return refused("no profile is named");
  if (flags != SandboxProfileIsFile) return refused("unknown flags " + std::to_string(flags) + "; 3 names a file");
  const ProfileFile file = readProfileFile(path);
  if (!file.error.empty()) return refused(file.error);
  const ProfileResult result = compileProfile(file.text, parameters);
  if (!result.policy) return refused(result.errors.summary(path));
  const auto found = parameters.find(identifierParameter);
  const std::string_view identifier = found != parameters.end() ? found->second : std::string_view();
  const bool isHandedOver = hasInheritedSocket(identifier);
  // The log tells times, and the file that says how is out of reach when the profile does not name it.
  tzset();
  const std::vector<PlannedPath> own =
      ownNeedsOf(identifier, isHandedOver ? ListeningSocket::HandedOver : ListeningSocket::Made);
  return Confinement().enter(*result.policy, own);
}

}  // namespace

std::string_view sandboxReceipt() noexcept {
  return keptReceipt;
}

}  // namespace vanto

int sandbox_init_with_parameters(const char* profile, std::uint64_t flags, const char* const parameters[],
                                 char** errorText) {
  const vanto::Receipt receipt = vanto::enter(profile, flags, vanto::parametersOf(parameters));
  vanto::keep(receipt);
  if (receipt.error.empty()) return 0;
  if (errorText != nullptr) *errorText = vanto::copyOf(receipt.error);
  return -1;
}

void vanto_sandbox_record_failure(const char* reason) {
  vanto::keep(vanto::refused(reason));
}

void sandbox_free_error(char* errorText) {
  vanto::Memory::free(errorText);
}
