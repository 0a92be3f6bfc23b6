// SPDX-License-Identifier: Apache-2.0
#include "ipc/ServiceSocket.h"

#include <algorithm>
#include <cerrno>
#include <string>
#include <thread>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>

#include "dispatch/Workers.h"
#include "host/ipc/IPCFixture.h"
#include "host/ipc/ManagerEnd.h"
#include "host/ipc/Peer.h"
#include "ipc/Domain.h"
#include "ipc/PeerCredentials.h"

namespace vanto::test {
namespace {

constexpr const char* name = "org.example.socket";

Fd connectOnce(const std::string& file) {
  return connectToSocket(openDomain(Domain::User).get(), file.c_str(), VANTO_WAIT_FOREVER);
}

TEST(ServiceSocket, ListensUnderItsName) {
  const RuntimeDirectory directory;
  ServiceSocket socket;
  ASSERT_EQ(socket.open(name), VANTO_ERROR_NONE);
  EXPECT_TRUE(connectOnce(name));
  struct stat facts;
  ASSERT_EQ(lstat(directory.socketPath(name).c_str(), &facts), 0);
  EXPECT_TRUE(S_ISSOCK(facts.st_mode));
  EXPECT_EQ(facts.st_mode & 07777, static_cast<mode_t>(S_ISVTX | 0600));
  socket.close();
  EXPECT_NE(lstat(directory.socketPath(name).c_str(), &facts), 0);
  EXPECT_FALSE(connectOnce(name));
  EXPECT_EQ(errno, ENOENT);
}

TEST(ServiceSocket, ItsNameMayBeAsLongAsAFileName) {
  const RuntimeDirectory directory;
  const std::string longest(255, 'n');
  ServiceSocket socket;
  ASSERT_EQ(socket.open(longest), VANTO_ERROR_NONE);
  EXPECT_TRUE(connectOnce(longest));
  socket.close();
  EXPECT_EQ(socket.open(longest + "n"), VANTO_ERROR_NAME);
  EXPECT_EQ(socket.open(""), VANTO_ERROR_NAME);
}

TEST(ServiceSocket, ItsDirectoryMayLieDeep) {
  const TemporaryDirectory base;
  std::string path = base.path();
  for (int i = 0; i < 10; i++) {
    path += "/" + std::string(50, 'd');
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
  }
  setenv("XDG_RUNTIME_DIR", path.c_str(), 1);
  ServiceSocket socket;
  ASSERT_EQ(socket.open(name), VANTO_ERROR_NONE);
  EXPECT_TRUE(connectOnce(name));
  socket.close();
  unsetenv("XDG_RUNTIME_DIR");
}

TEST(ServiceSocket, DoesNotTakeANameThatIsServed) {
  const RuntimeDirectory directory;
  ServiceSocket first;
  ServiceSocket second;
  ASSERT_EQ(first.open(name), VANTO_ERROR_NONE);
  EXPECT_EQ(second.open(name), VANTO_ERROR_IN_USE);
  second.close();
  EXPECT_TRUE(connectOnce(name));
  first.close();
}

TEST(ServiceSocket, ANameWhoseQueueIsFullIsServedToo) {
  const RuntimeDirectory directory;
  ServiceSocket first;
  ServiceSocket second;
  ASSERT_EQ(first.open(name), VANTO_ERROR_NONE);
  ASSERT_EQ(listen(first.descriptor(), 0), 0);
  const Fd waiting = connectOnce(name);
  EXPECT_TRUE(waiting);
  EXPECT_EQ(second.open(name), VANTO_ERROR_IN_USE);
  first.close();
}

TEST(ServiceSocket, TakesThePlaceOfASocketThatNobodyServes) {
  const RuntimeDirectory directory;
  {
    // Left behind by a process that had no time to tidy up.
    ServiceSocket left;
    ASSERT_EQ(left.open(name), VANTO_ERROR_NONE);
    ASSERT_EQ(link(directory.socketPath(name).c_str(), directory.socketPath("kept").c_str()), 0);
    left.close();
    ASSERT_EQ(rename(directory.socketPath("kept").c_str(), directory.socketPath(name).c_str()), 0);
  }
  EXPECT_FALSE(connectOnce(name));
  EXPECT_EQ(errno, ECONNREFUSED);
  ServiceSocket socket;
  ASSERT_EQ(socket.open(name), VANTO_ERROR_NONE);
  EXPECT_TRUE(connectOnce(name));
  socket.close();
}

TEST(ServiceSocket, LeavesTheNameToItsNextOwner) {
  const RuntimeDirectory directory;
  ServiceSocket first;
  ServiceSocket second;
  ASSERT_EQ(first.open(name), VANTO_ERROR_NONE);
  ASSERT_EQ(unlink(directory.socketPath(name).c_str()), 0);
  ASSERT_EQ(second.open(name), VANTO_ERROR_NONE);
  first.close();
  EXPECT_TRUE(connectOnce(name));
  second.close();
}

TEST(ServiceSocket, OneOfManyThatWantANameGetsIt) {
  const RuntimeDirectory directory;
  for (int round = 0; round < 20; round++) {
    ServiceSocket sockets[4];
    vanto_error_code_t codes[4];
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++) threads.emplace_back([&, i] { codes[i] = sockets[i].open(name); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(std::count(codes, codes + 4, VANTO_ERROR_NONE), 1);
    EXPECT_EQ(std::count(codes, codes + 4, VANTO_ERROR_IN_USE), 3);
    for (ServiceSocket& socket : sockets) socket.close();
  }
}

TEST(ServiceSocket, AcceptedSocketsTellWhoSends) {
  const RuntimeDirectory directory;
  ServiceSocket socket;
  ASSERT_EQ(socket.open(name), VANTO_ERROR_NONE);
  const Fd client = connectOnce(name);
  const Fd accepted(accept4(socket.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
  ASSERT_TRUE(accepted);
  // The kernel hands this on from the listener, so not even a first packet is without.
  int passes = 0;
  socklen_t size = sizeof passes;
  ASSERT_EQ(getsockopt(accepted.get(), SOL_SOCKET, SO_PASSCRED, &passes, &size), 0);
  EXPECT_EQ(passes, 1);
  EXPECT_TRUE(socket.passesCredentialsOn());
  socket.close();
}

TEST(ServiceSocket, ConnectingTakesSocketsOnly) {
  const RuntimeDirectory directory;
  const Fd domain = openOrCreateUserDomain();
  ASSERT_TRUE(domain);
  const Fd file(openat(domain.get(), "file", O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
  EXPECT_FALSE(connectToSocket(domain.get(), "file", VANTO_WAIT_FOREVER));
  EXPECT_EQ(errno, ENOTSOCK);
  ServiceSocket socket;
  ASSERT_EQ(socket.open(name), VANTO_ERROR_NONE);
  ASSERT_EQ(symlinkat(name, domain.get(), "link"), 0);
  EXPECT_FALSE(connectToSocket(domain.get(), "link", VANTO_WAIT_FOREVER));
  socket.close();
}

TEST(ServiceSocket, ConnectingToAFullQueueEndsAtItsTimeout) {
  const RuntimeDirectory directory;
  ServiceSocket socket;
  ASSERT_EQ(socket.open(name), VANTO_ERROR_NONE);
  ASSERT_EQ(listen(socket.descriptor(), 0), 0);
  const Fd waiting = connectOnce(name);
  for (const std::uint64_t deadline : {std::uint64_t{0}, deadlineAfter(5'000'000)}) {
    EXPECT_FALSE(connectToSocket(openDomain(Domain::User).get(), name, deadline));
    EXPECT_EQ(errno, EAGAIN);
    EXPECT_EQ(remainingUntil(deadline), 0U);
  }
  socket.close();
}

std::string openInChild(const std::vector<int>& sockets, const char* names) {
  const Process child({"open-socket", name}, {}, handOver(sockets, names));
  const std::string line = child.line();
  return line == "connection" ? line + " " + child.line() : line;
}

TEST(ServiceSocket, KnowsWhereItComesFrom) {
  const RuntimeDirectory directory;
  EXPECT_EQ(openInChild({}, nullptr), "own");
  const Fd listener = createListener(directory, "other");
  EXPECT_EQ(openInChild({listener.get()}, name), "inherited");
}

TEST(ServiceSocket, AConnectionHandedOverIsAsIfJustAccepted) {
  const RuntimeDirectory directory;
  const SocketPair pair(SOCK_SEQPACKET | SOCK_NONBLOCK);
  const timeval timeout{5, 0};
  ASSERT_EQ(setsockopt(pair.near.get(), SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout), 0);
  EXPECT_EQ(openInChild({pair.near.get()}, name), "connection as accepted");
  EXPECT_NE(access(directory.socketPath(name).c_str(), F_OK), 0);
}

}  // namespace
}  // namespace vanto::test
