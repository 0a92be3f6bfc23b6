// SPDX-License-Identifier: Apache-2.0
#include "process/AuditToken.h"

#include <gtest/gtest.h>

namespace {

constexpr vanto::ProcessFacts facts{.pid = 4711,
                                    .effectiveUser = 1,
                                    .effectiveGroup = 2,
                                    .realUser = 3,
                                    .realGroup = 0xFFFF'FFFE,
                                    .startTime = 0x1234'5678'9ABC'DEF0};

TEST(AuditToken, HoldsTheFactsInAFixedOrder) {
  const audit_token_t token = vanto::makeAuditToken(facts);
  const std::uint32_t expected[8] = {4711, 1, 2, 3, 0xFFFF'FFFE, 0x9ABC'DEF0, 0x1234'5678, 0};
  for (int i = 0; i < 8; ++i) EXPECT_EQ(token.val[i], expected[i]) << "word " << i;
}

TEST(AuditToken, GivesTheStartTimeBack) {
  EXPECT_EQ(vanto::startTimeOfAuditToken(vanto::makeAuditToken(facts)), facts.startTime);
}

TEST(AuditToken, IsDecodedIntoEachOutput) {
  uid_t auditUser = 9;
  uid_t effectiveUser = 9;
  gid_t effectiveGroup = 9;
  uid_t realUser = 9;
  gid_t realGroup = 9;
  pid_t pid = 9;
  std::uint32_t session = 9;
  std::uint32_t terminal = 9;
  audit_token_to_au32(vanto::makeAuditToken(facts), &auditUser, &effectiveUser, &effectiveGroup, &realUser, &realGroup,
                      &pid, &session, &terminal);
  EXPECT_EQ(pid, 4711);
  EXPECT_EQ(effectiveUser, 1U);
  EXPECT_EQ(effectiveGroup, 2U);
  EXPECT_EQ(realUser, 3U);
  EXPECT_EQ(realGroup, 0xFFFF'FFFEU);
  EXPECT_EQ(auditUser, 0U);
  EXPECT_EQ(session, 0U);
  EXPECT_EQ(terminal, 0U);
}

TEST(AuditToken, IsDecodedWithoutOutputs) {
  audit_token_to_au32(vanto::makeAuditToken(facts), nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr,
                      nullptr);
  pid_t pid = 0;
  audit_token_to_au32(vanto::makeAuditToken(facts), nullptr, nullptr, nullptr, nullptr, nullptr, &pid, nullptr,
                      nullptr);
  EXPECT_EQ(pid, 4711);
}

}  // namespace
