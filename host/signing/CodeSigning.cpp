// SPDX-License-Identifier: Apache-2.0

// The code-signing facility of a service: what is known of a client's code comes from the code-signing service, which
// is not confined; requirements are compiled and tried here. Every object that is handed out belongs to the peer that
// is judged on this thread, and goes when it has been.
#include "value/platform/signing.h"

#include <memory>
#include <string_view>
#include <utility>

#include <VantoService/PlistNumber.h>

#include "process/PendingPeer.h"
#include "signing/CodeService.h"
#include "signing/RequirementCache.h"
#include "value/ValueStorage.h"

struct VexCode {
  vanto::CodeFacts facts;
};

struct VexRequirement {
  std::shared_ptr<const vanto::Requirement> requirement;
};

struct VexErrors {
  PlistString* description;
};

namespace {

using vanto::PendingPeer;

/// With a description of its own. The constants below have none, so that nothing has to be done for them at the end.
struct DescribedErrors : VexErrors {
  vanto::Ref<PlistString> owned;
};

constinit PlistString pidAttribute = vanto::ValueStorage::constantString("pid");
constinit PlistString noDetails = vanto::ValueStorage::constantString("no details");

// Errors that no peer needs to keep: a list may have thousands of requirements that one client does not satisfy, and
// when a peer can keep nothing more, that is still to be said.
static_assert(vanto::limits::codeObjectsPerPeer == 16'384, "one of them is the code; the text tells of the others");
constinit PlistString tooManyText =
    vanto::ValueStorage::constantString("a client is tried on 16383 requirements at most");
constinit PlistString notRequiredText =
    vanto::ValueStorage::constantString("the code is valid, and not what is required");
constinit PlistString notValidText = vanto::ValueStorage::constantString("the code is not valid");
constinit VexErrors tooMany{&tooManyText};
constinit VexErrors notRequired{&notRequiredText};
constinit VexErrors notValid{&notValidText};

void put(VexErrors** errors, VexErrors& error) noexcept {
  if (errors != nullptr) *errors = &error;
}

/// Puts an error with a description in place, if one is wanted.
void describe(PendingPeer& peer, VexErrors** errors, std::string_view description) {
  if (errors == nullptr) return;
  vanto::Ref<PlistString> text = PlistString::create(description);
  PlistString* const borrowed = text.get();
  VexErrors* const made = peer.make(DescribedErrors{{borrowed}, std::move(text)});
  *errors = made != nullptr ? made : &tooMany;
}

/// Puts an object in place that the peer keeps.
template <typename T>
VexStatus handOut(PendingPeer& peer, T object, T** output, VexErrors** errors = nullptr) {
  T* const made = peer.make(std::move(object));
  if (made == nullptr) {
    put(errors, tooMany);
    return VexStatusUnavailable;
  }
  *output = made;
  return 0;
}

}  // namespace

constinit PlistString* const kVexGuestAttributePid = &pidAttribute;

VexStatus VexCodeCopyGuestWithAttributes(VexCode*, PlistDictionary* attributes, std::uint32_t, VexCode** code) {
  const PlistNumber* number =
      attributes != nullptr ? vanto::as<PlistNumber>(attributes->valueForKey(kVexGuestAttributePid)) : nullptr;
  if (number == nullptr) return vanto::VexStatusUnknown;
  const auto pid = static_cast<pid_t>(number->int64Value());
  PendingPeer::noteCodeAsked(pid);
  PendingPeer* const peer = PendingPeer::ofThisThread();
  if (pid <= 0 || peer == nullptr || peer->pid() != pid || code == nullptr) return vanto::VexStatusUnknown;
  if (!peer->process()) return vanto::VexStatusGone;
  vanto::CodeReply reply = vanto::askCodeService(peer->process());
  if (reply.status != 0) return reply.status;
  peer->noteExecutable(executableOf(reply.facts));
  return handOut(*peer, VexCode{std::move(reply.facts)}, code);
}

VexStatus VexRequirementCreateWithStringAndErrors(PlistString* text, std::uint32_t, VexErrors** errors,
                                                  VexRequirement** requirement) {
  PendingPeer* const peer = PendingPeer::ofThisThread();
  if (peer == nullptr || text == nullptr || requirement == nullptr) return VexStatusUnavailable;
  vanto::RequirementError error;
  auto compiled = vanto::RequirementCache::shared().requirementFor(text->text(), &error);
  if (compiled) return handOut(*peer, VexRequirement{std::move(compiled)}, requirement, errors);
  describe(*peer, errors, error.text());
  return VexStatusMalformed;
}

VexStatus VexCodeCheckValidityWithErrors(VexCode* code, std::uint32_t, VexRequirement* requirement,
                                         VexErrors** errors) {
  if (code == nullptr || requirement == nullptr) return VexStatusUnavailable;
  if (requirement->requirement->isSatisfiedBy(code->facts)) return 0;
  put(errors, code->facts.isValid ? notRequired : notValid);
  return VexStatusUnsatisfied;
}

PlistString* VexErrorsLocalizedDescription(VexErrors* errors) {
  return errors != nullptr && errors->description != nullptr ? errors->description : &noDetails;
}
