// SPDX-License-Identifier: Apache-2.0
#include "tolvend/WaitingClients.h"

#include <cstdint>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ipc/PublishedSocket.h"
#include "support/TemporaryDirectory.h"
#include "tolvend/SpareDescriptor.h"

namespace vanto::manager {
namespace {

using Change = WaitingChange;

class WaitingClientsTest : public ::testing::Test {
 protected:
  WaitingClientsTest() { EXPECT_EQ(listener_.open(openDirectory(), "name"), VANTO_ERROR_NONE); }

  [[nodiscard]] Fd openDirectory() const {
    return Fd(open(directory_.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  [[nodiscard]] Fd client() const { return connectToSocket(openDirectory().get(), "name", 0); }
  [[nodiscard]] WaitingClients read() const { return readWaitingClients(listener_.descriptor()); }
  void accept() const { EXPECT_TRUE(acceptClient(listener_.descriptor()).socket); }

  static std::uint32_t numberOf(const Fd& socket) {
    struct stat facts {};
    EXPECT_EQ(fstat(socket.get(), &facts), 0);
    return static_cast<std::uint32_t>(facts.st_ino);
  }

  const test::TemporaryDirectory directory_;
  PublishedSocket listener_;
};

TEST_F(WaitingClientsTest, AreTheSocketsThatTheKernelTellsOfInTheirOrder) {
  EXPECT_EQ(read().count, 0U);
  Fd one = client();
  const Fd two = client();
  const Fd three = client();
  if (read().sockets.empty()) GTEST_SKIP() << "this kernel has no diagnosis of Unix sockets";
  EXPECT_EQ(read().count, 3U);
  EXPECT_EQ(read().sockets, (std::vector{numberOf(one), numberOf(two), numberOf(three)}));
  one.reset();
  EXPECT_EQ(read().sockets, (std::vector{0U, numberOf(two), numberOf(three)}));
  accept();
  accept();
  EXPECT_EQ(read().sockets, std::vector{numberOf(three)});
}

TEST_F(WaitingClientsTest, AreCountedWhereTheyAreTooManyToBeTold) {
  std::vector<Fd> clients;
  for (int i = 0; i < 900; i++) clients.push_back(client());
  const WaitingClients few = read();
  if (few.sockets.empty()) GTEST_SKIP() << "this kernel has no diagnosis of Unix sockets";
  for (int i = 0; i < 1300; i++) clients.push_back(client());
  if (!clients.back()) GTEST_SKIP() << "so many connections are not possible here";
  const WaitingClients many = read();
  EXPECT_EQ(few.count, 900U);
  EXPECT_EQ(many.count, 2200U);
  EXPECT_TRUE(many.sockets.empty());
  EXPECT_EQ(changeOf(few, many), Change::Same);
  accept();
  EXPECT_EQ(changeOf(many, read()), Change::Accepted);
}

TEST_F(WaitingClientsTest, ShowThatOneWasAcceptedThoughOthersHaveCome) {
  const Fd first = client();
  const Fd second = client();
  const WaitingClients before = read();
  if (before.sockets.empty()) GTEST_SKIP() << "this kernel has no diagnosis of Unix sockets";
  const Fd third = client();
  EXPECT_EQ(changeOf(before, read()), Change::Same);
  accept();
  EXPECT_EQ(changeOf(before, read()), Change::Accepted);
  const Fd fourth = client();
  EXPECT_EQ(changeOf(before, read()), Change::Accepted);
}

TEST_F(WaitingClientsTest, AreSeenOrNotWhereTheKernelTellsNoMore) {
  // What is no socket has no diagnosis.
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const Fd reader(ends[0]);
  const Fd writer(ends[1]);
  EXPECT_EQ(readWaitingClients(reader.get()).count, 0U);
  ASSERT_EQ(write(writer.get(), "xyz", 3), 3);
  EXPECT_EQ(readWaitingClients(reader.get()).count, 1U);
  EXPECT_TRUE(readWaitingClients(reader.get()).sockets.empty());
}

TEST(WaitingChange, IsToldByCountAndOrder) {
  const auto change = [](const WaitingClients& before, const WaitingClients& now) {
    return changeOf(before, now);
  };
  EXPECT_EQ(change({}, {}), Change::Nobody);
  EXPECT_EQ(change({}, {2, {4, 5}}), Change::Come);
  EXPECT_EQ(change({1, {4}}, {}), Change::Accepted);
  EXPECT_EQ(change({2, {4, 5}}, {2, {4, 5}}), Change::Same);
  EXPECT_EQ(change({2, {4, 5}}, {2, {5, 6}}), Change::Accepted);
  EXPECT_EQ(change({2, {4, 5}}, {1, {5}}), Change::Accepted);
  // Who has left keeps his place until he is accepted.
  EXPECT_EQ(change({2, {4, 5}}, {3, {0, 5, 6}}), Change::Same);
  EXPECT_EQ(change({2, {0, 0}}, {2, {0, 6}}), Change::Accepted);
  // A look that could not count says no more than whether anybody is there.
  EXPECT_EQ(change({5, {}}, {1, {}, false}), Change::Same);
  EXPECT_EQ(change({5, {}, false}, {1, {}}), Change::Same);
  EXPECT_EQ(change({5, {}}, {0, {}, false}), Change::Accepted);
  // No more than that is known.
  EXPECT_EQ(change({1, {}}, {1, {}}), Change::Same);
  EXPECT_EQ(change({1, {}}, {1, {7}}), Change::Same);
}

}  // namespace
}  // namespace vanto::manager
