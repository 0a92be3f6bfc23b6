// SPDX-License-Identifier: Apache-2.0
#include "ipc/Activity.h"

#include "host/ipc/IPCFixture.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.activity";

TEST(Activity, CountsRequestsUntilTheyAreAnswered) {
  const RuntimeDirectory directory;
  Awaited<Held> requests;
  Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) requests.add(Held::share(event));
  });
  const Held connection = connectTo(name);
  const std::size_t before = Activity::inHand();
  Awaited<int> replies;
  vanto_call_async(connection, text("x"), generous, [&](vanto_object_t) { replies.add(1); });
  vanto_object_t request = requests.await().at(0);
  EXPECT_EQ(Activity::inHand(), before + 1);
  vanto_reply(request, text("y"));
  EXPECT_EQ(Activity::inHand(), before);
  static_cast<void>(replies.await());
}

TEST(Activity, CountsOpenConnections) {
  const RuntimeDirectory directory;
  Awaited<int> ends;
  Service service(name, [&](vanto_object_t connection, vanto_object_t event) {
    Service::echo(connection, event);
    if (vanto_kind(event) == VANTO_KIND_ERROR) ends.add(1);
  });
  const std::size_t before = Activity::openConnections();
  {
    const Held connection = connectTo(name);
    callWith(connection, text("x"));
    EXPECT_EQ(Activity::openConnections(), before + 1);
  }
  static_cast<void>(ends.await());
  EXPECT_EQ(Activity::openConnections(), before);
}

}  // namespace
}  // namespace vanto::test
