// SPDX-License-Identifier: Apache-2.0
#include "process/AuditToken.h"

namespace vanto {

audit_token_t makeAuditToken(const ProcessFacts& facts) noexcept {
  return {{static_cast<std::uint32_t>(facts.pid), facts.effectiveUser, facts.effectiveGroup, facts.realUser,
           facts.realGroup, static_cast<std::uint32_t>(facts.startTime),
           static_cast<std::uint32_t>(facts.startTime >> 32), 0}};
}

std::uint64_t startTimeOfAuditToken(const audit_token_t& token) noexcept {
  return std::uint64_t{token.val[5]} | std::uint64_t{token.val[6]} << 32;
}

}  // namespace vanto

namespace {

template <typename T>
void store(T* output, std::uint32_t word) noexcept {
  if (output != nullptr) *output = static_cast<T>(word);
}

}  // namespace

void audit_token_to_au32(audit_token_t token, uid_t* audit_uid, uid_t* effective_uid, gid_t* effective_gid,
                         uid_t* real_uid, gid_t* real_gid, pid_t* pid, uint32_t* session, uint32_t* terminal) {
  store(pid, token.val[0]);
  store(effective_uid, token.val[1]);
  store(effective_gid, token.val[2]);
  store(real_uid, token.val[3]);
  store(real_gid, token.val[4]);
  // Linux has neither a separate audit user that an unprivileged process may read nor a session or terminal number
  // here.
  store(audit_uid, 0);
  store(session, 0);
  store(terminal, 0);
}
