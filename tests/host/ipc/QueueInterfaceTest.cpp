// SPDX-License-Identifier: Apache-2.0
#include <VantoService/dispatch.h>

#include "dispatch/Queue.h"
#include "host/ipc/IPCFixture.h"

namespace vanto::test {
namespace {

TEST(QueueInterface, MakesTheQueuesOfDispatch) {
  const vanto_queue_t queue = vanto_queue_create("in C");
  ASSERT_NE(queue, nullptr);
  EXPECT_STREQ(dispatch_queue_label(queue), "in C");
  bool hasRun = false;
  dispatch_queue_submit_and_wait(queue, &hasRun, [](void* context) { *static_cast<bool*>(context) = true; });
  EXPECT_TRUE(hasRun);
  vanto_queue_release(queue);
}

TEST(QueueInterface, CountsReferences) {
  const vanto_queue_t queue = vanto_queue_create("counted");
  EXPECT_EQ(vanto_queue_retain(queue), queue);
  EXPECT_EQ(queue->referenceCount(), 2U);
  vanto_queue_release(queue);
  EXPECT_EQ(queue->referenceCount(), 1U);
  vanto_queue_release(queue);
}

TEST(QueueInterface, TakesNullForNothing) {
  EXPECT_EQ(vanto_queue_create(nullptr), nullptr);
  EXPECT_EQ(vanto_queue_retain(nullptr), nullptr);
  vanto_queue_release(nullptr);
}

}  // namespace
}  // namespace vanto::test
