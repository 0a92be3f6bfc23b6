// SPDX-License-Identifier: Apache-2.0

// TODO(port): code identity is not there yet. Until it is, nothing has an identity, no requirement compiles and nothing
// is valid, so that a service which asks for one refuses everybody. Every object here is a constant, so that never
// releasing what these functions hand out costs nothing.
#include "value/platform/signing.h"

#include <VantoService/PlistNumber.h>

#include "process/PendingPeer.h"
#include "value/ValueStorage.h"

struct VexErrors {
  PlistString* description;
};

namespace {

constinit PlistString pidAttribute = vanto::ValueStorage::constantString("pid");
constinit PlistString notAvailable = vanto::ValueStorage::constantString("not available on this host yet");
constinit PlistString noDetails = vanto::ValueStorage::constantString("no details");

constinit VexErrors notAvailableErrors{&notAvailable};

VexStatus refuse(VexErrors** errors) noexcept {
  if (errors != nullptr) *errors = &notAvailableErrors;
  return VexStatusUnavailable;
}

}  // namespace

constinit PlistString* const kVexGuestAttributePid = &pidAttribute;

VexStatus VexCodeCopyGuestWithAttributes(VexCode*, PlistDictionary* attributes, std::uint32_t, VexCode**) {
  const PlistNumber* pid =
      attributes != nullptr ? vanto::as<PlistNumber>(attributes->valueForKey(kVexGuestAttributePid)) : nullptr;
  if (pid != nullptr) vanto::PendingPeer::noteCodeAsked(static_cast<pid_t>(pid->int64Value()));
  return VexStatusUnavailable;
}

VexStatus VexRequirementCreateWithStringAndErrors(PlistString*, std::uint32_t, VexErrors** errors, VexRequirement**) {
  return refuse(errors);
}

VexStatus VexCodeCheckValidityWithErrors(VexCode*, std::uint32_t, VexRequirement*, VexErrors** errors) {
  return refuse(errors);
}

PlistString* VexErrorsLocalizedDescription(VexErrors* errors) {
  return errors != nullptr ? errors->description : &noDetails;
}
