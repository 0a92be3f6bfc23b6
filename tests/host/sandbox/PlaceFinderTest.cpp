// SPDX-License-Identifier: Apache-2.0
#include "sandbox/PlaceFinder.h"

#include <cerrno>
#include <fstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "sandbox/Landlock.h"
#include "support/Child.h"
#include "support/TemporaryDirectory.h"

namespace vanto::testing {
namespace {

/// "linkable" is where the plan lets links be made, "outside" is not.
class PlaceFinderTest : public ::testing::Test {
 protected:
  PlaceFinderTest() {
    for (const char* name : {"linkable", "linkable/directory", "outside", "secret"}) {
      EXPECT_EQ(mkdir((directory_ / name).c_str(), 0700), 0);
    }
    std::ofstream(directory_ / "secret/file") << "contents";
  }

  void link(const std::string& target, const std::string& name) const {
    ASSERT_EQ(symlink(target.c_str(), (directory_ / name).c_str()), 0);
  }

  [[nodiscard]] static PlaceFinder finderFor(const std::string& path, std::uint64_t bits) {
    Plan plan;
    plan.paths = {{path, bits, true}};
    return PlaceFinder(plan);
  }
  [[nodiscard]] PlaceFinder finder(std::uint64_t bits = landlock::makeSymbolicLink) const {
    return finderFor(directory_ / "linkable", bits);
  }

  /// Whether `path` leads to where `expected` is.
  template <typename Finder>
  static void expectSame(Finder&& finder, const std::string& path, const std::string& expected) {
    const FoundPlace found = finder.find(path);
    struct stat facts {};
    struct stat wanted {};
    EXPECT_EQ(found.reason(), "") << path;
    EXPECT_EQ(fstat(found.place.get(), &facts), 0) << path;
    EXPECT_EQ(stat(expected.c_str(), &wanted), 0) << expected;
    EXPECT_TRUE(facts.st_ino == wanted.st_ino && facts.st_dev == wanted.st_dev) << path;
  }
  template <typename Finder>
  void expectRefused(Finder&& finder, const std::string& path, const std::string& link) const {
    const FoundPlace found = finder.find(path);
    EXPECT_FALSE(found.place) << path;
    EXPECT_EQ(found.link, directory_ / link) << path;
    EXPECT_EQ(found.reason(),
              "the profile lets links be made where " + (directory_ / link) + " is, so that it is not followed");
  }

  const test::TemporaryDirectory directory_;
};

TEST_F(PlaceFinderTest, FollowsNoLinkThatCanHaveBeenMadeThere) {
  link(directory_ / "secret", "linkable/absolute");
  link("../secret", "linkable/relative");
  link(directory_ / "secret", "linkable/directory/deep");
  link("directory", "linkable/inward");
  PlaceFinder finder = this->finder();
  for (const char* name : {"absolute", "relative", "directory/deep", "inward"}) {
    const std::string linked = std::string("linkable/") + name;
    expectRefused(finder, directory_ / linked, linked);
    expectRefused(finder, directory_ / (linked + "/file"), linked);
  }
  expectSame(finder, directory_ / "linkable/directory", directory_ / "linkable/directory");
}

TEST_F(PlaceFinderTest, FollowsNoneThatAnotherOneLeadsTo) {
  link(directory_ / "linkable", "outside/in");
  link("../secret", "linkable/out");
  link("linkable/out/file", "through");
  expectRefused(finder(), directory_ / "outside/in/out/file", "linkable/out");
  expectRefused(finder(), directory_ / "through", "linkable/out");
}

TEST_F(PlaceFinderTest, KnowsTheDirectoryByItsRealPath) {
  link("linkable", "alias");
  link("../secret", "linkable/out");
  PlaceFinder finder = finderFor(directory_ / "alias", landlock::makeSymbolicLink);
  expectRefused(finder, directory_ / "linkable/out", "linkable/out");
  expectRefused(finder, directory_ / "alias/out/file", "linkable/out");
  expectSame(finder, directory_ / "alias", directory_ / "linkable");
}

TEST_F(PlaceFinderTest, TakesADirectoryBeneathForWhatItIs) {
  link("/", "linkable/directory/root");
  Plan plan;
  plan.paths = {{directory_ / "linkable", landlock::makeSymbolicLink, true},
                {directory_ / "linkable/directory/root", landlock::makeSymbolicLink, true}};
  PlaceFinder finder(plan);
  expectRefused(finder, directory_ / "linkable/directory/root", "linkable/directory/root");
  // With the root in its set it would follow none.
  link("secret", "outside-link");
  expectSame(finder, directory_ / "outside-link/file", directory_ / "secret/file");
}

TEST_F(PlaceFinderTest, FollowsTheLinksOfOthers) {
  link("../secret/file", "outside/relative");
  link(directory_ / "secret/../secret//./", "outside/absolute");
  link("relative", "outside/second");
  PlaceFinder finder = this->finder();
  for (const char* name : {"outside/relative", "outside/absolute/file", "outside/second"}) {
    expectSame(finder, directory_ / name, directory_ / "secret/file");
  }
  expectSame(finder, "/", "/");
  EXPECT_EQ(finder.find(directory_ / "outside/relative/x").error, ENOTDIR);
  EXPECT_EQ(finder.find(directory_ / "outside/absolute/absent").error, ENOENT);
}

TEST_F(PlaceFinderTest, FollowsTheLinksOfTheKernelEvenWithTheRootInItsSet) {
  PlaceFinder finder = finderFor("/", landlock::makeSymbolicLink);
  const Fd file(open((directory_ / "secret/file").c_str(), O_RDONLY | O_CLOEXEC));
  expectSame(finder, "/proc/self/fd/" + std::to_string(file.get()), directory_ / "secret/file");
  expectSame(finder, "/proc/self/root/etc/passwd", "/etc/passwd");
  expectSame(finder, "/proc/self/status", "/proc/" + std::to_string(getpid()) + "/status");
  link("secret", "link");
  expectRefused(finder, directory_ / "link", "link");
}

TEST_F(PlaceFinderTest, EndsWhereLinksDoNot) {
  link("loop", "outside/loop");
  link("a/b", "outside/a");
  PlaceFinder finder = this->finder();
  for (const char* name : {"outside/loop", "outside/a"}) {
    EXPECT_EQ(finder.find(directory_ / name).error, ELOOP);
    EXPECT_EQ(finder.find(directory_ / name).link, "");
  }
}

TEST_F(PlaceFinderTest, ReadsLinksOfEachLength) {
  for (const std::size_t size : {127U, 128U, 129U, 511U, 512U, 2048U, 4095U}) {
    const std::string target = directory_ / "secret";
    const std::string name = "outside/" + std::to_string(size);
    // Slashes that mean nothing.
    link(std::string(size - target.size(), '/') + target, name);
    expectSame(finder(), directory_ / (name + "/file"), directory_ / "secret/file");
  }
}

TEST_F(PlaceFinderTest, FollowsAsManyLinksAsTheKernel) {
  link("secret", "link0");
  for (int number = 1; number < 41; ++number) {
    link("link" + std::to_string(number - 1), "link" + std::to_string(number));
  }
  expectSame(finder(), directory_ / "link39", directory_ / "secret");
  EXPECT_EQ(finder().find(directory_ / "link40").error, ELOOP);
  EXPECT_EQ(finder(0).find(directory_ / "link40").error, ELOOP);
}

TEST_F(PlaceFinderTest, FollowsAllWhereNoLinkCanBeMade) {
  link("../secret", "linkable/link");
  for (const std::uint64_t bits : {landlock::writeFile, landlock::makeSocket, landlock::removeFile}) {
    expectSame(finder(bits), directory_ / "linkable/link/file", directory_ / "secret/file");
  }
  expectRefused(finder(landlock::refer), directory_ / "linkable/link", "linkable/link");
}

TEST_F(PlaceFinderTest, FollowsNoLinkOfAStrangerInASharedDirectory) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  link("../secret", "outside/link");
  link("../secret", "outside/own");
  constexpr uid_t stranger = 12345;
  ASSERT_EQ(lchown((directory_ / "outside/link").c_str(), stranger, stranger), 0);
  expectSame(finder(), directory_ / "outside/link", directory_ / "secret");
  ASSERT_EQ(chmod((directory_ / "outside").c_str(), 01777), 0);
  EXPECT_EQ(finder().find(directory_ / "outside/link").error, EACCES);
  expectSame(finder(), directory_ / "outside/own", directory_ / "secret");
}

}  // namespace
}  // namespace vanto::testing
