// SPDX-License-Identifier: Apache-2.0
#include "ipc/Activity.h"

#include <thread>

#include "dispatch/Workers.h"
#include "host/ipc/IPCFixture.h"
#include "support/Signal.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.activity";

/// Waits until so much is in hand. Handlers are counted as long as they run, a little longer than a test can tell; that
/// of the listener may only begin when the client is connected already.
void awaitInHand(std::size_t count) {
  const std::uint64_t end = deadlineAfter(generous);
  while (Activity::inHand() != count && monotonicNow() < end) std::this_thread::yield();
  EXPECT_EQ(Activity::inHand(), count);
}

TEST(Activity, CountsRequestsUntilTheyAreAnswered) {
  const RuntimeDirectory directory;
  Awaited<Held> requests;
  Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) requests.add(Held::share(event));
  });
  const Held connection = connectTo(name);
  awaitInHand(0);
  Awaited<int> replies;
  vanto_call_async(connection, text("x"), generous, [&](vanto_object_t) { replies.add(1); });
  vanto_object_t request = requests.await().at(0);
  awaitInHand(1);
  vanto_reply(request, text("y"));
  static_cast<void>(replies.await());
  awaitInHand(0);
}

TEST(Activity, CountsHandlersAsLongAsTheyRun) {
  const RuntimeDirectory directory;
  Awaited<Held> requests;
  testing::Signal leave;
  Service service(name, [&](vanto_object_t connection, vanto_object_t event) {
    if (vanto_kind(event) != VANTO_KIND_MESSAGE) return;
    Service::echo(connection, event);
    requests.add(Held::share(event));
    leave.wait();
  });
  const Held connection = connectTo(name);
  // Answered, and kept or not.
  for (const bool isKept : {true, false}) {
    EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "x");
    Held request = requests.take();
    if (!isKept) request.reset();
    awaitInHand(1);
    leave.raise();
    awaitInHand(0);
  }
  // A message that expects no answer is in hand no longer than its handler runs, though it is kept.
  EXPECT_EQ(vanto_send(connection, text("x"), 0), VANTO_ERROR_NONE);
  const Held message = requests.take();
  awaitInHand(1);
  leave.raise();
  awaitInHand(0);
}

TEST(Activity, CountsFunctionsOfCallsAsLongAsTheyRun) {
  const RuntimeDirectory directory;
  const Service service(name);
  const Held connection = connectTo(name);
  Awaited<std::size_t> counts;
  testing::Signal leave;
  vanto_call_async(connection, text("x"), generous, [&](vanto_object_t) {
    counts.add(0);
    leave.wait();
  });
  static_cast<void>(counts.await());
  awaitInHand(1);
  leave.raise();
  awaitInHand(0);
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

/// Waits until the process is idle, since when is told.
std::uint64_t awaitIdle() {
  const std::uint64_t end = deadlineAfter(generous);
  while (Activity::idleSince() == UINT64_MAX && monotonicNow() < end) std::this_thread::yield();
  return Activity::idleSince();
}

TEST(Activity, TellsSinceWhenThereIsNone) {
  const RuntimeDirectory directory;
  Awaited<Held> requests;
  Service service(name, [&](vanto_object_t, vanto_object_t event) {
    if (vanto_kind(event) == VANTO_KIND_MESSAGE) requests.add(Held::share(event));
  });
  Activity::track();
  const std::uint64_t start = awaitIdle();
  EXPECT_LE(start, monotonicNow());
  Held connection = connectTo(name);
  EXPECT_EQ(Activity::idleSince(), UINT64_MAX);
  EXPECT_EQ(vanto_send(connection, text("x"), 0), VANTO_ERROR_NONE);
  Held request = requests.take();
  connection.reset();
  request.reset();
  const std::uint64_t between = monotonicNow();
  EXPECT_GT(awaitIdle(), start);
  // In hand without a connection counts too.
  Activity::began();
  EXPECT_EQ(Activity::idleSince(), UINT64_MAX);
  Activity::ended();
  EXPECT_GE(awaitIdle(), between);
  const std::uint64_t last = Activity::idleSince();
  Activity::track();
  EXPECT_EQ(Activity::idleSince(), last);
}

}  // namespace
}  // namespace vanto::test
