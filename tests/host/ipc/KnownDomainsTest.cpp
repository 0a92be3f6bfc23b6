// SPDX-License-Identifier: Apache-2.0
#include "ipc/KnownDomains.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ipc/PublishedSocket.h"
#include "support/TemporaryDirectory.h"

namespace vanto::test {
namespace {

/// A run-time directory in the environment, in which the user's domain has the socket "service".
class KnownDomainsTest : public testing::Test {
 protected:
  static constexpr std::uint64_t now = 5'000'000'000;

  KnownDomainsTest() {
    setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1);
    unsetenv("XDG_SESSION_ID");
    EXPECT_EQ(socket_.open(openOrCreateUserDomain(), "service"), VANTO_ERROR_NONE);
  }
  ~KnownDomainsTest() override {
    unsetenv("XDG_RUNTIME_DIR");
    unsetenv("XDG_SESSION_ID");
  }

  [[nodiscard]] std::string path(const std::string& name) const { return directory_ / name; }
  static void keep(Domain domain) {
    const Fd directory = openDomain(domain);
    KnownDomains::keep(domain, directory, now);
  }
  /// The path that is known; empty for none.
  [[nodiscard]] static std::string find(const std::string& file, std::uint64_t time = now) {
    char found[KnownDomains::pathBytes];
    return KnownDomains::find(file, time, found) ? found : "";
  }

  const TemporaryDirectory directory_;
  PublishedSocket socket_;
};

TEST_F(KnownDomainsTest, LeadToTheSocketsOfADomainThatWasOpened) {
  EXPECT_EQ(find("service"), "");
  keep(Domain::User);
  EXPECT_EQ(find("service"), path("vanto/user/service"));
  EXPECT_TRUE(connectToPath(find("service").c_str(), UINT64_MAX));
  EXPECT_EQ(find("other"), "");
}

TEST_F(KnownDomainsTest, AreBelievedForASecond) {
  keep(Domain::User);
  EXPECT_NE(find("service", now + KnownDomains::lifetime - 1), "");
  EXPECT_EQ(find("service", now + KnownDomains::lifetime), "");
}

TEST_F(KnownDomainsTest, HoldForOneEnvironment) {
  keep(Domain::User);
  const TemporaryDirectory other;
  setenv("XDG_RUNTIME_DIR", other.path().c_str(), 1);
  EXPECT_EQ(find("service"), "");
  setenv("XDG_RUNTIME_DIR", directory_.path().c_str(), 1);
  EXPECT_NE(find("service"), "");
  setenv("XDG_SESSION_ID", "c2", 1);
  EXPECT_EQ(find("service"), "");
  setenv("XDG_SESSION_ID", std::string(200, 'c').c_str(), 1);
  keep(Domain::User);
  EXPECT_EQ(find("service"), "");
}

TEST_F(KnownDomainsTest, HoldForOneUser) {
  // Nobody else can change the user.
  if (geteuid() != 0) return;
  keep(Domain::User);
  ASSERT_EQ(seteuid(12345), 0);
  const std::string found = find("service");
  ASSERT_EQ(seteuid(0), 0);
  EXPECT_EQ(found, "");
  EXPECT_NE(find("service"), "");
}

TEST_F(KnownDomainsTest, TheSessionsServiceIsSeenBeforeTheUsers) {
  setenv("XDG_SESSION_ID", "c2", 1);
  keep(Domain::Session);
  keep(Domain::User);
  EXPECT_EQ(find("service"), path("vanto/user/service"));
  // One that was not there needs to be opened first.
  ASSERT_EQ(mkdir(path("vanto/session-c2").c_str(), 0700), 0);
  EXPECT_EQ(find("service"), path("vanto/user/service"));
  PublishedSocket ofSession;
  ASSERT_EQ(ofSession.open(openDomain(Domain::Session), "service"), VANTO_ERROR_NONE);
  EXPECT_EQ(find("service"), "");
  keep(Domain::Session);
  EXPECT_EQ(find("service"), path("vanto/session-c2/service"));
  ofSession.close();
  EXPECT_EQ(find("service"), path("vanto/user/service"));
}

TEST_F(KnownDomainsTest, TakeNothingButSocketsOfTheOwner) {
  keep(Domain::User);
  const Fd file(open(path("vanto/user/file").c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
  ASSERT_EQ(symlink("service", path("vanto/user/link").c_str()), 0);
  EXPECT_EQ(find("file"), "");
  EXPECT_EQ(find("link"), "");
  // Only root can give one away.
  if (geteuid() != 0) return;
  ASSERT_EQ(chown(path("vanto/user/service").c_str(), 12345, 12345), 0);
  EXPECT_EQ(find("service"), "");
}

TEST_F(KnownDomainsTest, AreForgottenWhenTheyAreRefused) {
  keep(Domain::User);
  ASSERT_EQ(chmod(path("vanto/user").c_str(), 0777), 0);
  keep(Domain::User);
  EXPECT_EQ(find("service"), "");
}

TEST_F(KnownDomainsTest, AreNotKeptWhereOthersCanHaveThePathLeadElsewhere) {
  const TemporaryDirectory open;
  const std::string inner = open / "inner";
  ASSERT_EQ(mkdir(inner.c_str(), 0700), 0);
  setenv("XDG_RUNTIME_DIR", inner.c_str(), 1);
  PublishedSocket socket;
  ASSERT_EQ(socket.open(openOrCreateUserDomain(), "service"), VANTO_ERROR_NONE);
  for (const mode_t mode : {0777, 0720, 0702}) {
    ASSERT_EQ(chmod(open.path().c_str(), mode), 0);
    keep(Domain::User);
    EXPECT_EQ(find("service"), "") << std::oct << mode;
  }
  // After a while it is looked at again: nobody can rename what is not theirs where the sticky bit is.
  ASSERT_EQ(chmod(open.path().c_str(), 01777), 0);
  const std::uint64_t later = now + KnownDomains::lifetime;
  const Fd directory = openDomain(Domain::User);
  KnownDomains::keep(Domain::User, directory, later);
  EXPECT_EQ(find("service", later), inner + "/vanto/user/service");
}

TEST_F(KnownDomainsTest, AreNotKeptWhereThePathIsTooLong) {
  keep(Domain::User);
  const std::size_t room = KnownDomains::pathBytes - path("vanto/user/").size();
  PublishedSocket longest;
  const std::string name(room - 1, 'n');
  ASSERT_EQ(longest.open(openDomain(Domain::User), name), VANTO_ERROR_NONE);
  PublishedSocket tooLong;
  ASSERT_EQ(tooLong.open(openDomain(Domain::User), name + 'n'), VANTO_ERROR_NONE);
  EXPECT_EQ(find(name), path("vanto/user/" + name));
  EXPECT_TRUE(connectToPath(find(name).c_str(), UINT64_MAX));
  EXPECT_EQ(find(name + 'n'), "");
}

TEST_F(KnownDomainsTest, KeepThePathWithoutSymbolicLinks) {
  const TemporaryDirectory other;
  const std::string link = other / "link";
  ASSERT_EQ(symlink(directory_.path().c_str(), link.c_str()), 0);
  setenv("XDG_RUNTIME_DIR", link.c_str(), 1);
  keep(Domain::User);
  EXPECT_EQ(find("service"), path("vanto/user/service"));
}

}  // namespace
}  // namespace vanto::test
