// SPDX-License-Identifier: Apache-2.0
#include "ipc/InheritedSockets.h"

#include <sys/socket.h>

#include "host/ipc/IPCFixture.h"
#include "host/ipc/ManagerEnd.h"
#include "host/ipc/Peer.h"
#include "host/ipc/RawPeer.h"
#include "value/limits.h"

namespace vanto::test {
namespace {

void expectInherited(const std::vector<int>& sockets, const char* names, const char* expected, bool hasRightPid = true,
                     const char* one = "one", const char* other = "two") {
  // The tests' own descriptors are close-on-exec, except those put in their places.
  const Process child({"inherit", one, other}, {}, handOver(sockets, names, hasRightPid));
  EXPECT_EQ(child.line(), expected) << (names != nullptr ? names : "no names");
  EXPECT_EQ(child.line(), "cleared");
  EXPECT_EQ(child.line(), expected[0] == '-' ? "" : "close-on-exec");
  EXPECT_EQ(child.await(), "exit status 0");
}

TEST(InheritedSockets, IsFoundByItsName) {
  const RuntimeDirectory directory;
  const Fd one = createListener(directory, "one");
  const Fd two = createListener(directory, "two");
  expectInherited({one.get(), two.get()}, "one:two", "3 4");
  expectInherited({one.get(), two.get()}, "two:one", "4 3");
  expectInherited({one.get(), two.get()}, "one:three", "3 -1");
  expectInherited({one.get(), two.get()}, "one", "3 -1");
  expectInherited({one.get(), two.get()}, "onex:two", "-1 4");
}

TEST(InheritedSockets, IsFoundByTheFileNameOfItsSocket) {
  const RuntimeDirectory directory;
  const Fd one = createListener(directory, "one");
  expectInherited({one.get()}, "a%3Ab", "3 -1", true, "a:b");
}

TEST(InheritedSockets, TheOnlyOneNeedsNoName) {
  const RuntimeDirectory directory;
  const Fd one = createListener(directory, "one");
  const Fd two = createListener(directory, "two");
  expectInherited({one.get()}, nullptr, "3 -1");
  expectInherited({one.get()}, "", "3 -1");
  expectInherited({one.get()}, "unknown", "3 -1");
  expectInherited({one.get()}, "example.socket", "3 -1");
  expectInherited({one.get()}, "another", "-1 -1");
  expectInherited({one.get(), two.get()}, nullptr, "-1 -1");
}

TEST(InheritedSockets, IsForTheProcessThatIsNamed) {
  const RuntimeDirectory directory;
  const Fd one = createListener(directory, "one");
  expectInherited({one.get()}, "one", "-1 -1", false);
}

TEST(InheritedSockets, MayBeOneOfSoManyAndNotMore) {
  const RuntimeDirectory directory;
  const Fd one = createListener(directory, "one");
  std::vector<int> sockets(limits::ipcInheritedListeners, one.get());
  std::string names(limits::ipcInheritedListeners - 1, ':');
  expectInherited(sockets, (names + "one").c_str(),
                  (std::to_string(3 + limits::ipcInheritedListeners - 1) + " -1").c_str());
  sockets.push_back(one.get());
  names = ":" + names + "one";
  const Process child({"inherit", "one", "two"}, {}, handOver(sockets, names.c_str()));
  EXPECT_EQ(child.line(), "too many");
  EXPECT_EQ(child.line(), "cleared");
  // Programs that it executes get none of them either.
  EXPECT_EQ(child.line(), "close-on-exec");
  EXPECT_EQ(child.await(), "exit status 0");
}

TEST(InheritedSockets, TooManyEndTheListenerAndNoNameIsBound) {
  const RuntimeDirectory directory;
  const Fd one = createListener(directory, "one");
  const std::vector<int> sockets(limits::ipcInheritedListeners + 1, one.get());
  const Process child({"listen", "another"}, {}, handOver(sockets, nullptr));
  EXPECT_EQ(child.line(), std::to_string(VANTO_ERROR_TOO_LARGE) + " too many listening sockets were handed over");
  EXPECT_NE(access(directory.socketPath("another").c_str(), F_OK), 0);
}

TEST(InheritedSockets, MustBeASocketOfTheRightType) {
  const RuntimeDirectory directory;
  const Fd stream = createListener(directory, "one", SOCK_STREAM);
  expectInherited({stream.get()}, "one", "-1 -1");
  const SocketPair pair;
  expectInherited({pair.near.get()}, "one", "-1 -1");
  const Fd unconnected(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  expectInherited({unconnected.get()}, "one", "-1 -1");
  const Fd file(open("/dev/null", O_RDONLY | O_CLOEXEC));
  expectInherited({file.get()}, "one", "-1 -1");
}

std::string inheritOthers(const std::vector<int>& sockets, const char* names, const char* name) {
  const Process child({"inherit-others", name}, {}, handOver(sockets, names));
  return child.line();
}

TEST(InheritedSockets, MayBeConnections) {
  const RuntimeDirectory directory;
  const SocketPair pair;
  const Fd listener = createListener(directory, "one");
  EXPECT_EQ(inheritOthers({pair.near.get()}, "one", "one"), "3 -1");
  EXPECT_EQ(inheritOthers({pair.near.get()}, "a%3Ab", "a:b"), "3 -1");
  EXPECT_EQ(inheritOthers({pair.near.get()}, nullptr, "one"), "3 -1");
  EXPECT_EQ(inheritOthers({pair.near.get()}, "two", "one"), "-1 -1");
  const Fd unconnected(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  EXPECT_EQ(inheritOthers({listener.get(), unconnected.get()}, "one:one", "one"), "-1 -1");
}

TEST(InheritedSockets, OneIsTheLinkToTheManager) {
  const RuntimeDirectory directory;
  const SocketPair pair;
  const Fd listener = createListener(directory, "one");
  EXPECT_EQ(inheritOthers({listener.get(), pair.near.get()}, "one:.manager", "one"), "-1 4");
  EXPECT_EQ(inheritOthers({pair.near.get(), pair.far.get()}, ".manager:one", "one"), "4 3");
  EXPECT_EQ(inheritOthers({listener.get()}, ".manager", "one"), "-1 -1");
  EXPECT_EQ(inheritOthers({pair.near.get()}, "%2Emanager", "one"), "-1 -1");
  // A service of that name has a socket with another one.
  EXPECT_EQ(inheritOthers({pair.near.get(), pair.far.get()}, ".manager:%2Emanager", ".manager"), "4 3");
}

TEST(InheritedSockets, ServesAndLivesOnWithItsManager) {
  const RuntimeDirectory directory;
  const Fd listener = createListener(directory, "one");
  for (int run = 0; run < 2; run++) {
    // The client connects before there is a service, and is served by the one that comes.
    RawPeer early = RawPeer::connectTo("one");
    const Process child({"serve", "one"}, {}, handOver({listener.get()}, "one"));
    ASSERT_EQ(child.line(), "ready");
    EXPECT_TRUE(early.receive());
    EXPECT_EQ(early.header().kind, FrameKind::Greeting);
    EXPECT_EQ(early.sender().pid, child.pid());
    const Held connection = connectTo("one");
    vanto_identity_t identity;
    ASSERT_TRUE(vanto_peer_identity(connection, &identity));
    EXPECT_EQ(identity.pid, child.pid());
    EXPECT_STREQ(vanto_string_get_text(callWith(connection, text("x"))), "x");
    child.signal(SIGTERM);
    EXPECT_EQ(child.await(), "exit status 0");
    EXPECT_EQ(access(directory.socketPath("one").c_str(), F_OK), 0);
  }
}

}  // namespace
}  // namespace vanto::test
