// SPDX-License-Identifier: Apache-2.0
#include "host/ipc/IPCFixture.h"

namespace vanto::test {
namespace {

/// The first listener of a process has it await its end, which takes an object that is never given up. Made before the
/// tests, it is not counted as one that some test left.
class FirstListener : public testing::Environment {
 private:
  void SetUp() override {
    const RuntimeDirectory directory;
    const Service service("org.example.first");
    EXPECT_STREQ(vanto_string_get_text(callWith(connectTo("org.example.first"), text("x"))), "x");
  }
};

const testing::Environment* const first = testing::AddGlobalTestEnvironment(new FirstListener);

}  // namespace
}  // namespace vanto::test
