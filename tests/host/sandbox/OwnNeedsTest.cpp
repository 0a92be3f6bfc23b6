// SPDX-License-Identifier: Apache-2.0
#include "sandbox/OwnNeeds.h"

#include <algorithm>
#include <cstdlib>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "host/ipc/ManagerEnd.h"
#include "host/sandbox/Compiled.h"
#include "ipc/ServiceSocket.h"
#include "process/ProcessInformation.h"
#include "sandbox/Confinement.h"
#include "sandbox/Landlock.h"
#include "support/Child.h"
#include "support/HiddenCalls.h"

namespace vanto::test {
namespace {

using vanto::testing::ChildOutcome;
using vanto::testing::ChildReport;
using vanto::testing::compiled;
using vanto::testing::runInChild;

constexpr const char* name = "org.example.needs";

std::uint64_t bitsAt(const std::vector<PlannedPath>& needs, const std::string& path) {
  const auto found = std::ranges::find(needs, path, &PlannedPath::path);
  return found != needs.end() ? found->bits : 0;
}

std::vector<PlannedPath> needsOfAListener() {
  std::vector<PlannedPath> needs = ownNeedsOf(name, ListeningSocket::Made);
  for (const PlannedPath& need : needs) EXPECT_FALSE(need.isOfProfile);
  return needs;
}

TEST(OwnNeeds, AreTheLogThePolicyAndTheCodeSigningService) {
  const RuntimeDirectory directory;
  EXPECT_TRUE(openOrCreateUserDomain());
  const std::vector<PlannedPath> needs = needsOfAListener();
  EXPECT_EQ(bitsAt(needs, "/dev/log"), landlock::resolveUnix);
  EXPECT_EQ(bitsAt(needs, "/Library/Preferences/org.vanto.security.vanto.plist"), landlock::readFile);
  EXPECT_EQ(bitsAt(needs, directory.socketPath("org.vanto.vexd")), landlock::resolveUnix);
}

TEST(OwnNeeds, AreToListenWhereNobodyHandsOverASocket) {
  const RuntimeDirectory directory;
  const std::vector<PlannedPath> needs = needsOfAListener();
  const std::string domain = directory.directory() / "vanto/user";
  EXPECT_EQ(bitsAt(needs, domain), landlock::readDirectory | landlock::makeSocket | landlock::removeFile);
  EXPECT_EQ(bitsAt(needs, directory.socketPath(name)), landlock::resolveUnix);
  struct stat facts;
  EXPECT_EQ(stat(domain.c_str(), &facts), 0);
}

TEST(OwnNeeds, AreNotToListenWhereASocketIsHandedOver) {
  const RuntimeDirectory directory;
  EXPECT_EQ(bitsAt(ownNeedsOf(name, ListeningSocket::HandedOver), directory.directory() / "vanto/user"), 0U);
}

TEST(OwnNeeds, AreToReadAboutProcessesOnlyWhereTheKernelDoesNotTell) {
  const RuntimeDirectory directory;
  EXPECT_EQ(bitsAt(needsOfAListener(), "/proc"), hasProcessInformation() ? 0U : landlock::readFile);
  const ChildOutcome outcome = runInChild([](const ChildReport&) {
    testing::hideProcessInformation();
    EXPECT_FALSE(hasProcessInformation());
    EXPECT_EQ(bitsAt(needsOfAListener(), "/proc"), landlock::readFile);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(OwnNeeds, MakeNoDirectoryForNoService) {
  const RuntimeDirectory directory;
  EXPECT_EQ(bitsAt(ownNeedsOf("", ListeningSocket::Made), "/dev/log"), landlock::resolveUnix);
  struct stat facts;
  EXPECT_NE(stat((directory.directory() / "vanto").c_str(), &facts), 0);
}

TEST(OwnNeeds, LetAConfinedProcessListenAndBeFound) {
  const RuntimeDirectory directory;
  for (int time = 0; time < 2; ++time) {
    // The second one takes the place of the name that the first has left.
    const ChildOutcome outcome = runInChild([&](const ChildReport&) {
      EXPECT_EQ(Confinement().enter(compiled("network none"), ownNeedsOf(name, ListeningSocket::Made)).error, "");
      // Never closed, as in a process that was killed.
      static ServiceSocket socket;
      EXPECT_EQ(socket.open(name), VANTO_ERROR_NONE) << errno;
      ServiceSocket again;
      EXPECT_EQ(again.open(name), VANTO_ERROR_IN_USE);
    });
    EXPECT_EQ(outcome.end, "exit status 0");
    struct stat facts;
    EXPECT_EQ(lstat(directory.socketPath(name).c_str(), &facts), 0);
  }
}

TEST(OwnNeeds, LetAConfinedProcessTouchNothingElseInTheDomain) {
  const RuntimeDirectory directory;
  EXPECT_TRUE(openOrCreateUserDomain());
  const std::string managers = directory.socketPath(".tolvend");
  ASSERT_EQ(mkdir(managers.c_str(), 0700), 0);
  const ChildOutcome outcome = runInChild([&](const ChildReport&) {
    EXPECT_EQ(Confinement().enter(compiled("network none"), ownNeedsOf(name, ListeningSocket::Made)).error, "");
    EXPECT_FALSE(Fd(open((managers + "/job").c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600)));
    EXPECT_NE(symlink("/tmp", (managers + "/job").c_str()), 0);
    EXPECT_NE(mkdir((managers + "/job").c_str(), 0700), 0);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

}  // namespace
}  // namespace vanto::test
