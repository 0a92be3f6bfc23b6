// SPDX-License-Identifier: Apache-2.0
#include <mutex>

#include <sys/syscall.h>
#include <unistd.h>

#include "signing/CodeDictionary.h"
#include "signing/CodeService.h"
#include "value/platform/ipc.h"

namespace {

constinit std::mutex mutex;
/// Once they are known they are kept, since callers do.
constinit vanto_object_t entitlementsData = nullptr;

vanto_object_t fetch() {
  const vanto::Fd self(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)));
  const vanto::CodeReply reply = vanto::askCodeService(self);
  return reply.status == 0 && reply.facts.isValid ? vanto::createEntitlementsData(reply.facts) : nullptr;
}

}  // namespace

vanto_object_t _vanto_runtime_get_entitlements_data() {
  const std::lock_guard lock(mutex);
  if (entitlementsData == nullptr) entitlementsData = fetch();
  return entitlementsData;
}
