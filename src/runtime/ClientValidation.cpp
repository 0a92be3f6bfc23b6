// SPDX-License-Identifier: Apache-2.0
// Which clients may connect. The requirement texts are set once at start-up, before any listener exists, and never
// change afterwards, so evaluators on several threads read them without a lock.
#include "runtime/ClientValidation.h"

#include <array>
#include <cstddef>
#include <span>
#include <string>

#include <syslog.h>

#include <VantoService/PlistNumber.h>
#include <VantoService/VantoServiceConstants.h>
#include <VantoService/VantoServiceMain.h>

#include "runtime/LogText.h"
#include "value/platform/ipc.h"
#include "value/platform/signing.h"

namespace {

using vanto::as;
using vanto::LogText;
using vanto::Object;
using vanto::Ref;

/// The requirement texts, with a reference that is never dropped. Null when the service lists none.
constinit PlistArray* allowedClientsList = nullptr;

/// What checking one requirement says of the client.
enum class Verdict { Satisfied, NotSatisfied, Malformed };

/// The walk over the list takes so many elements at a time.
using Batch = std::array<Object*, 16>;

std::span<Object* const> nextBatch(PlistArray::Cursor& cursor, Batch& batch) noexcept {
  std::size_t count = 0;
  while (count < batch.size() && cursor.next(batch[count])) ++count;
  return {batch.data(), count};
}

pid_t processOf(audit_token_t token) noexcept {
  pid_t pid = 0;
  audit_token_to_au32(token, nullptr, nullptr, nullptr, nullptr, nullptr, &pid, nullptr, nullptr);
  return pid;
}

/// The running code of a process, or null with one line in the log. The facility takes it back by itself.
VexCode* copyCode(pid_t pid) {
  const std::int32_t value = pid;
  PlistNumber* number = PlistNumber::create(KorNumberSInt32Type, &value).asTemporary();
  const PlistDictionary::Entry entry{kVexGuestAttributePid, number};
  PlistDictionary* attributes = PlistDictionary::create({&entry, 1}).asTemporary();
  VexCode* code = nullptr;
  const VexStatus status = VexCodeCopyGuestWithAttributes(nullptr, attributes, 0, &code);
  if (status == 0) return code;
  syslog(LOG_ERR, "Could not get dynamic code reference for client: %d; status: %d", pid, status);
  return nullptr;
}

Verdict malformed(pid_t pid, const PlistString* requirement, const LogText& reason) noexcept {
  syslog(LOG_ERR, "Could not create requirement (%s) for client: %d, :%s", LogText(requirement).utf8(), pid,
         reason.utf8());
  return Verdict::Malformed;
}

/// An element that is no requirement text at all.
Verdict malformed(pid_t pid, const Object* element) noexcept {
  if (element == nullptr) return malformed(pid, nullptr, LogText("nothing, not a string"));
  return malformed(pid, element->description(),
                   LogText(std::string("a ") + element->runtimeClass().name + ", not a string"));
}

Verdict check(VexCode* code, pid_t pid, Object* element) {
  auto* text = as<PlistString>(element);
  if (text == nullptr) return malformed(pid, element);
  VexErrors* errors = nullptr;
  VexRequirement* requirement = nullptr;
  if (VexRequirementCreateWithStringAndErrors(text, 0, &errors, &requirement) != 0) {
    return malformed(pid, text, LogText(VexErrorsLocalizedDescription(errors)));
  }
  const bool satisfied = VexCodeCheckValidityWithErrors(code, 0, requirement, &errors) == 0;
  return satisfied ? Verdict::Satisfied : Verdict::NotSatisfied;
}

/// True when the code satisfies one of the requirements and none before that one is malformed.
bool satisfiesOne(VexCode* code, pid_t pid, const PlistArray& requirements) {
  PlistArray::Cursor cursor(requirements);
  Batch batch{};
  for (auto elements = nextBatch(cursor, batch); !elements.empty(); elements = nextBatch(cursor, batch)) {
    for (Object* element : elements) {
      const Verdict verdict = check(code, pid, element);
      if (verdict != Verdict::NotSatisfied) return verdict == Verdict::Satisfied;
    }
  }
  return false;
}

}  // namespace

void vanto::setupConnectionValidatorIfNeeded(VantoServiceBundle& service) {
  PlistArray* listed = service.arrayForServiceDictionaryKey(VantoServiceDictionaryAllowedClientsKey);
  allowedClientsList = Ref<PlistArray>::share(listed).leak();
  if (allowedClientsList != nullptr && allowedClientsList->count() != 0) {
    vanto_handle_service(nullptr, nullptr, connectionEvaluator);
  }
}

bool connectionEvaluator(audit_token_t token) {
  if (!VantoServiceBundle::useRestrictiveRoleAccountSecurityPolicy()) {
    syslog(LOG_NOTICE, "Relaxed security policy: allowing connection for all clients.");
    return true;
  }
  const pid_t pid = processOf(token);
  VexCode* code = copyCode(pid);
  return code != nullptr && allowedClientsList != nullptr && satisfiesOne(code, pid, *allowedClientsList);
}
