// SPDX-License-Identifier: Apache-2.0

// The C interface to what is known of code. What callers pass is tested here.

#include <cerrno>

#include <fcntl.h>

#include <VantoService/vanto_code.h>

#include "ipc/Connection.h"
#include "ipc/ErrorObject.h"
#include "ipc/PeerCredentials.h"
#include "signing/CodeDictionary.h"
#include "signing/CodeService.h"
#include "signing/RequirementCache.h"

namespace {

vanto_error_code_t codeOf(VexStatus status) noexcept {
  switch (status) {
    case vanto::VexStatusGone:
      return VANTO_ERROR_CLOSED;
    case vanto::VexStatusUnknown:
    case vanto::VexStatusHidden:
    case vanto::VexStatusTraced:
      return VANTO_ERROR_REFUSED;
    case vanto::VexStatusTimedOut:
      return VANTO_ERROR_TIMED_OUT;
    case vanto::VexStatusBusy:
      return VANTO_ERROR_FULL;
    default:
      return VANTO_ERROR_NO_SERVICE;
  }
}

/// Why there is no descriptor of a process.
vanto_object_t createFailure(int error) {
  switch (error) {
    case EMFILE:
    case ENFILE:
      return vanto_error_create(VANTO_ERROR_FULL, "no descriptors are left");
    case ENOMEM:
      return vanto_error_create(VANTO_ERROR_SYSTEM, "no memory is left");
    default:
      return vanto_error_create(VANTO_ERROR_CLOSED, "the process is gone");
  }
}

vanto_object_t copyCode(const vanto::Fd& process, std::uint64_t timeout) {
  const vanto::CodeReply reply = vanto::askCodeService(process, timeout);
  if (reply.status == 0) return vanto::createCodeDictionary(reply.facts);
  return vanto_error_create(codeOf(reply.status), reply.reason.empty() ? nullptr : reply.reason.c_str());
}

}  // namespace

vanto_object_t vanto_copy_peer_code(vanto_object_t connection, uint64_t timeout) {
  auto* const peer = vanto::ofKind<vanto::Connection>(connection);
  if (peer == nullptr) return vanto_error_create(VANTO_ERROR_INVALID, nullptr);
  const vanto::Fd process = peer->openPeer();
  if (!process) return createFailure(errno);
  if (!vanto::isRunning(process)) return createFailure(ESRCH);
  return copyCode(process, timeout);
}

vanto_object_t vanto_copy_process_code(int process, uint64_t timeout) {
  const vanto::Fd copy(fcntl(process, F_DUPFD_CLOEXEC, 3));
  if (copy) return copyCode(copy, timeout);
  return errno == EMFILE ? createFailure(errno) : vanto_error_create(VANTO_ERROR_INVALID, nullptr);
}

vanto_object_t vanto_code_check_requirement(vanto_object_t code, const char* requirement) {
  if (requirement == nullptr) return vanto_error_create(VANTO_ERROR_INVALID, nullptr);
  vanto::RequirementError error;
  const auto compiled = vanto::RequirementCache::shared().requirementFor(requirement, &error);
  if (!compiled) return vanto_error_create(VANTO_ERROR_INVALID, error.text().c_str());
  if (code == nullptr) return vanto_dictionary_create(nullptr, nullptr, 0);
  const vanto::CodeReply reply = vanto::decodeCodeReply(code);
  if (reply.status != 0) return vanto_error_create(VANTO_ERROR_INVALID, nullptr);
  return vanto::createFindings(*compiled, reply.facts);
}
