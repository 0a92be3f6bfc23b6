// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <VantoService/VantoServiceRuntime.h>

#include "support/Values.h"
#include "value/platform/ipc.h"

namespace vanto::testing {
namespace {

TEST(Entitlements, AProcessHasNone) {
  EXPECT_EQ(_vanto_runtime_get_entitlements_data(), nullptr);
}

TEST(Entitlements, ARuntimeWithoutThemAnswersNone) {
  const Ref<VantoServiceRuntime> runtime = VantoServiceRuntime::init();
  ASSERT_TRUE(runtime);
  EXPECT_EQ(runtime->entitlementForKey(string("org.vanto.camera")), nullptr);
}

}  // namespace
}  // namespace vanto::testing
