// SPDX-License-Identifier: Apache-2.0
#include "value/platform/sandbox.h"

#include <gtest/gtest.h>

namespace {

TEST(Sandbox, RefusesEveryProfileAndSaysWhy) {
  const char* const parameters[] = {"name", "value", nullptr};
  char* errorText = nullptr;
  EXPECT_EQ(sandbox_init_with_parameters("/profile.sb", SandboxProfileIsFile, parameters, &errorText), -1);
  EXPECT_STREQ(errorText, "not available on this host yet");
  sandbox_free_error(errorText);
}

TEST(Sandbox, RefusesAProfileWithoutSayingWhyWhereNobodyAsks) {
  const char* const parameters[] = {nullptr};
  EXPECT_EQ(sandbox_init_with_parameters("/profile.sb", SandboxProfileIsFile, parameters, nullptr), -1);
}

TEST(Sandbox, FreesNothingForNull) {
  sandbox_free_error(nullptr);
}

}  // namespace
