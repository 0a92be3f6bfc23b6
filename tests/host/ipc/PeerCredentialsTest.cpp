// SPDX-License-Identifier: Apache-2.0
#include "ipc/PeerCredentials.h"

#include <cerrno>
#include <csignal>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include "host/ipc/DescriptorLimit.h"
#include "host/ipc/SocketPair.h"
#include "ipc/FrameSocket.h"

namespace vanto::test {
namespace {

TEST(PeerCredentials, NameTheProcessAtTheOtherEnd) {
  const SocketPair pair;
  ProcessFacts facts;
  ASSERT_TRUE(readPeerCredentials(pair.near.get(), facts));
  EXPECT_EQ(facts.pid, getpid());
  EXPECT_EQ(facts.effectiveUser, geteuid());
  EXPECT_EQ(facts.effectiveGroup, getegid());
  EXPECT_EQ(facts.startTime, 0U);
  ASSERT_TRUE(readProcessFacts(facts));
  EXPECT_EQ(facts.realUser, getuid());
  EXPECT_EQ(facts.realGroup, getgid());
  EXPECT_EQ(facts.startTime, readStartTime(getpid()));
  EXPECT_NE(facts.startTime, 0U);
}

TEST(PeerCredentials, ComeWithADescriptorToo) {
  const SocketPair pair;
  ProcessFacts facts;
  ASSERT_TRUE(readPeerCredentials(pair.near.get(), facts));
  const Fd own = openPeerProcess(pair.near.get(), facts);
  facts.realUser = ~uid_t{0};
  facts.realGroup = ~gid_t{0};
  ASSERT_TRUE(readProcessFacts(facts, own));
  EXPECT_EQ(facts.realUser, getuid());
  EXPECT_EQ(facts.realGroup, getgid());
  EXPECT_EQ(facts.startTime, readStartTime(getpid()));
  // A descriptor of another process than the one that is meant tells nothing of it.
  facts.pid = getppid();
  ASSERT_TRUE(readProcessFacts(facts, own));
  EXPECT_EQ(facts.startTime, readStartTime(getppid()));
}

TEST(PeerCredentials, AreNotToBeHadOfOtherDescriptors) {
  ProcessFacts facts{};
  EXPECT_FALSE(readPeerCredentials(0, facts));
  EXPECT_FALSE(readPeerCredentials(-1, facts));
  EXPECT_FALSE(openPeerProcess(-1, facts));
  EXPECT_FALSE(enableSenderCredentials(-1));
}

TEST(PeerCredentials, AProcessRunsUntilItEnds) {
  const SocketPair pair;
  const Fd own = openPeerProcess(pair.near.get(), {});
  ASSERT_TRUE(own);
  EXPECT_EQ(fcntl(own.get(), F_GETFD), FD_CLOEXEC);
  EXPECT_TRUE(isRunning(own));
  EXPECT_FALSE(isRunning(Fd()));
}

TEST(PeerCredentials, AProcessIsOpenedByItsIdAndStartTime) {
  ProcessFacts facts{};
  facts.pid = getpid();
  EXPECT_FALSE(openProcess(facts));
  ASSERT_TRUE(readProcessFacts(facts));
  const Fd own = openProcess(facts);
  EXPECT_TRUE(isRunning(own));
  EXPECT_EQ(fcntl(own.get(), F_GETFD), FD_CLOEXEC);
  // Another process that got the same id.
  facts.startTime++;
  EXPECT_FALSE(openProcess(facts));
  EXPECT_EQ(errno, ESRCH);
  facts.pid = 0;
  EXPECT_FALSE(openProcess(facts));
}

TEST(PeerCredentials, AProcessExecutesAFile) {
  struct stat file;
  ASSERT_EQ(stat("/proc/self/exe", &file), 0);
  EXPECT_EQ(readExecutable(getpid()), (ExecutableFile{file.st_dev, file.st_ino}));
  EXPECT_EQ(readExecutable(0), ExecutableFile{});
}

TEST(PeerCredentials, TellsThatThereAreNoDescriptors) {
  ProcessFacts facts{};
  facts.pid = getpid();
  facts.startTime = readStartTime(getpid());
  const SocketPair pair;
  const DescriptorLimit none(0);
  EXPECT_FALSE(openProcess(facts));
  EXPECT_EQ(errno, EMFILE);
  EXPECT_FALSE(openPeerProcess(pair.near.get(), facts));
  EXPECT_EQ(errno, EMFILE);
  EXPECT_FALSE(readProcessFacts(facts));
  EXPECT_EQ(errno, EMFILE);
}

TEST(PeerCredentials, AProcessRunsHoweverManySignalsCome) {
  const SocketPair pair;
  const Fd own = openPeerProcess(pair.near.get(), {});
  struct sigaction before {};
  struct sigaction interrupting {};
  interrupting.sa_handler = [](int) {
  };
  ASSERT_EQ(sigaction(SIGALRM, &interrupting, &before), 0);
  const itimerval often{{0, 20}, {0, 20}};
  ASSERT_EQ(setitimer(ITIMER_REAL, &often, nullptr), 0);
  int count = 0;
  while (count < 200'000 && isRunning(own)) count++;
  const itimerval never{};
  ASSERT_EQ(setitimer(ITIMER_REAL, &never, nullptr), 0);
  ASSERT_EQ(sigaction(SIGALRM, &before, nullptr), 0);
  EXPECT_EQ(count, 200'000);
}

TEST(PeerCredentials, AProcessThatIsGoneHasNoFacts) {
  const pid_t child = fork();
  if (child == 0) _exit(0);
  ASSERT_EQ(waitpid(child, nullptr, 0), child);
  ProcessFacts facts{};
  facts.pid = child;
  EXPECT_FALSE(readProcessFacts(facts));
  EXPECT_NE(errno, EMFILE);
  EXPECT_EQ(readStartTime(child), 0U);
  facts.pid = 0;
  EXPECT_FALSE(readProcessFacts(facts));
  EXPECT_EQ(readStartTime(0), 0U);
  EXPECT_EQ(readStartTime(-1), 0U);
}

TEST(PeerCredentials, AreAskedForOrNot) {
  const SocketPair pair;
  EXPECT_FALSE(passesSenderCredentials(pair.near.get()));
  ASSERT_TRUE(enableSenderCredentials(pair.near.get()));
  EXPECT_TRUE(passesSenderCredentials(pair.near.get()));
  EXPECT_FALSE(passesSenderCredentials(pair.far.get()));
  EXPECT_FALSE(passesSenderCredentials(-1));
}

TEST(PeerCredentials, ComeWithEachPacket) {
  const SocketPair pair;
  ASSERT_TRUE(enableSenderCredentials(pair.near.get()));
  sendCode(pair.far.get(), FrameKind::Goodbye, 1);
  FrameBuffer buffer;
  ReceivedFrame frame;
  ASSERT_EQ(receiveFrame(pair.near.get(), Waiting::Never, buffer, nullptr, frame), ReceiveResult::Frame);
  EXPECT_EQ(frame.sender.pid, getpid());
  EXPECT_EQ(frame.sender.uid, getuid());
  EXPECT_EQ(frame.sender.gid, getgid());
}

}  // namespace
}  // namespace vanto::test
