// SPDX-License-Identifier: Apache-2.0
#include <gtest/gtest.h>

#include <VantoService/VantoServiceRuntime.h>

#include "host/signing/CodeServiceStub.h"
#include "support/LeftObjects.h"
#include "support/Values.h"
#include "value/platform/ipc.h"

namespace vanto::testing {
namespace {

class Entitlements : public test::CodeServiceStub {};

TEST_F(Entitlements, AreTriedAgainUntilTheyAreThereAndThenKept) {
  answer(test::replyOf(test::invalidFacts()));
  EXPECT_EQ(_vanto_runtime_get_entitlements_data(), nullptr);
  EXPECT_EQ(VantoServiceRuntime::init()->entitlementForKey(string("yes")), nullptr);
  answer(test::failureReply(VexStatusTraced));
  EXPECT_EQ(_vanto_runtime_get_entitlements_data(), nullptr);
  answer(test::replyOf(test::bareFacts()));
  EXPECT_EQ(_vanto_runtime_get_entitlements_data(), nullptr);
  answer(test::replyOfValidCode());
  const vanto_object_t data = _vanto_runtime_get_entitlements_data();
  ASSERT_NE(data, nullptr);
  // That one.
  leaveObjects(1);
  const int requests = this->requests();
  EXPECT_EQ(_vanto_runtime_get_entitlements_data(), data);
  EXPECT_EQ(this->requests(), requests);
  const Ref<VantoServiceRuntime> runtime = VantoServiceRuntime::init();
  EXPECT_TRUE(runtime->entitlementForKey(string("three"))->isEqual(PlistNumber::create(3).get()));
  EXPECT_EQ(runtime->entitlementForKey(string("four")), nullptr);
}

}  // namespace
}  // namespace vanto::testing
