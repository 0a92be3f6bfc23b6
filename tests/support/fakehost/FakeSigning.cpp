// SPDX-License-Identifier: Apache-2.0
#include "support/fakehost/FakeSigning.h"

#include <string>

#include <VantoService/PlistNumber.h>

#include "support/fakehost/HostState.h"
#include "value/ValueStorage.h"
#include "value/platform/ipc.h"

using vanto::test::called;
using vanto::test::HostState;
using vanto::test::nullOr;
using vanto::test::textOf;

namespace {

constinit PlistString guestAttributePid = vanto::ValueStorage::constantString("pid");

/// Makes something that the host hands out and takes back by itself.
template <typename T>
T* keep(std::vector<std::unique_ptr<T>>& owners, T object) {
  const std::lock_guard lock(HostState::shared().mutex);
  owners.push_back(std::make_unique<T>(std::move(object)));
  return owners.back().get();
}

/// The process id that attributes hold, -1 without one.
pid_t pidOf(const PlistDictionary* attributes) noexcept {
  const auto* number = vanto::as<PlistNumber>(attributes->valueForKey(kVexGuestAttributePid));
  return number == nullptr ? -1 : static_cast<pid_t>(number->int64Value());
}

/// The attributes as the journal shows them: a process id with its subtype, and nothing else.
std::string textOfAttributes(const PlistDictionary* attributes) {
  const auto* number = vanto::as<PlistNumber>(attributes->valueForKey(kVexGuestAttributePid));
  if (number == nullptr || attributes->count() != 1) return textOf(attributes->description());
  return "pid " + std::to_string(number->int64Value()) + " of subtype " + std::to_string(number->subtype());
}

}  // namespace

extern "C" constinit PlistString* const kVexGuestAttributePid = &guestAttributePid;

vanto_object_t _vanto_runtime_get_entitlements_data() {
  if (!called("_vanto_runtime_get_entitlements_data")) return nullptr;
  HostState& state = HostState::shared();
  const auto& bytes = state.answers.entitlements;
  if (!bytes) return nullptr;
  auto data = vanto::Ref<vanto_object>::adopt(vanto_data_create(bytes->data(), bytes->size()));
  const std::lock_guard lock(state.mutex);
  return state.entitlements.emplace_back(std::move(data)).get();
}

VexStatus VexCodeCopyGuestWithAttributes(VexCode* host, PlistDictionary* attributes, std::uint32_t flags,
                                         VexCode** code) {
  if (!called("VexCodeCopyGuestWithAttributes",
              {nullOr(host != nullptr, "host"), textOfAttributes(attributes), std::to_string(flags)})) {
    return VexStatusUnavailable;
  }
  HostState& state = HostState::shared();
  const auto status = state.answers.codeStatuses.find(pidOf(attributes));
  if (status != state.answers.codeStatuses.end() && status->second != 0) return status->second;
  *code = keep(state.codes, VexCode{pidOf(attributes)});
  return 0;
}

VexStatus VexRequirementCreateWithStringAndErrors(PlistString* text, std::uint32_t flags, VexErrors** errors,
                                                  VexRequirement** requirement) {
  // Both outputs must come in cleared.
  const bool isCleared = *errors == nullptr && *requirement == nullptr;
  const bool shallWork = called("VexRequirementCreateWithStringAndErrors",
                                {textOf(text), std::to_string(flags), isCleared ? "cleared" : "not cleared"});
  if (!shallWork) return VexStatusUnavailable;
  HostState& state = HostState::shared();
  const auto found = state.answers.requirements.find(textOf(text));
  const vanto::test::FakeRequirement answer =
      found == state.answers.requirements.end() ? vanto::test::FakeRequirement{} : found->second;
  if (answer.compileStatus != 0) {
    if (answer.reason) *errors = keep(state.errors, VexErrors{*answer.reason});
    return answer.compileStatus;
  }
  *requirement = keep(state.requirements, VexRequirement{answer, textOf(text)});
  return 0;
}

VexStatus VexCodeCheckValidityWithErrors(VexCode* code, std::uint32_t flags, VexRequirement* requirement, VexErrors**) {
  const bool shallWork = called("VexCodeCheckValidityWithErrors",
                                {"pid " + std::to_string(code->pid), std::to_string(flags), requirement->text});
  if (!shallWork) return VexStatusUnavailable;
  return requirement->answer.isSatisfied ? 0 : 1;
}

PlistString* VexErrorsLocalizedDescription(VexErrors* errors) {
  vanto::test::record("VexErrorsLocalizedDescription", {errors == nullptr ? "null" : errors->reason});
  return PlistString::create(errors == nullptr ? "no reason given" : errors->reason).asTemporary();
}
