// SPDX-License-Identifier: Apache-2.0
#include "tolvend/SpareDescriptor.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include "ipc/PublishedSocket.h"
#include "support/Child.h"
#include "support/TemporaryDirectory.h"

namespace vanto::manager {
namespace {

Fd openPlace(const test::TemporaryDirectory& place) {
  return Fd(open(place.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
}

TEST(SpareDescriptor, IsNotNeededWhereThereAreMore) {
  const test::TemporaryDirectory place;
  PublishedSocket listener;
  ASSERT_EQ(listener.open(openPlace(place), "name"), VANTO_ERROR_NONE);
  EXPECT_EQ(acceptClient(listener.descriptor()).result, Accepted::Result::Nobody);
  const Fd client = connectToSocket(openPlace(place).get(), "name", UINT64_MAX);
  const Accepted accepted = acceptClient(listener.descriptor());
  EXPECT_EQ(accepted.result, Accepted::Result::Client);
  EXPECT_NE(fcntl(accepted.socket.get(), F_GETFD) & FD_CLOEXEC, 0);
}

TEST(SpareDescriptor, NeverWaitsForAClientWhateverOthersDoToTheSocket) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    // For a call that does not come back.
    alarm(20);
    const test::TemporaryDirectory place;
    PublishedSocket listener;
    ASSERT_EQ(listener.open(openPlace(place), "name"), VANTO_ERROR_NONE);
    ASSERT_EQ(fcntl(listener.descriptor(), F_SETFL, 0), 0);
    EXPECT_EQ(acceptClient(listener.descriptor()).result, Accepted::Result::Nobody);
    const Fd client = connectToSocket(openPlace(place).get(), "name", UINT64_MAX);
    EXPECT_EQ(acceptClient(listener.descriptor()).result, Accepted::Result::Client);
    EXPECT_EQ(acceptClient(listener.descriptor()).result, Accepted::Result::Nobody);
    EXPECT_NE(fcntl(listener.descriptor(), F_GETFL) & O_NONBLOCK, 0) << "one whom another process takes first";
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(SpareDescriptor, LetsAClientBeTurnedAway) {
  const testing::ChildOutcome outcome = testing::runInChild([](const testing::ChildReport&) {
    const test::TemporaryDirectory place;
    PublishedSocket listener;
    ASSERT_EQ(listener.open(openPlace(place), "name"), VANTO_ERROR_NONE);
    const Fd directory = openPlace(place);
    const Fd client = connectToSocket(directory.get(), "name", UINT64_MAX);
    SpareDescriptor spare;
    const int next = dup(0);
    close(next);
    const rlimit limit{static_cast<rlim_t>(next), static_cast<rlim_t>(next)};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &limit), 0);
    EXPECT_EQ(acceptClient(listener.descriptor()).result, Accepted::Result::NoDescriptor);
    {
      const Accepted accepted = acceptClient(listener.descriptor(), spare);
      EXPECT_EQ(accepted.result, Accepted::Result::Client);
    }
    spare.restore();
    EXPECT_LT(dup(0), 0) << "the spare descriptor is not held again";
    EXPECT_EQ(acceptClient(listener.descriptor(), spare).result, Accepted::Result::Nobody);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::manager
