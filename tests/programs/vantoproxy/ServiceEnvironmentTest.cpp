// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/ServiceEnvironment.h"

#include <cerrno>
#include <string>
#include <vector>

#include <unistd.h>

#include <gtest/gtest.h>

namespace vanto::test {
namespace {

using Lines = std::vector<std::string>;

/// The filled environment, or one line with the error.
Lines filled(Lines given, int listeners = 0) {
  std::vector<char*> pointers;
  for (std::string& variable : given) pointers.push_back(variable.data());
  pointers.push_back(nullptr);
  ServiceEnvironment environment;
  const Failure failure = environment.fill(pointers.data(), {.listeners = listeners});
  if (failure) return {"error " + std::to_string(failure.error)};
  Lines lines;
  for (const char* const* each = environment.variables(); *each != nullptr; each++) lines.push_back(*each);
  return lines;
}

const std::string path = "PATH=/usr/local/bin:/usr/bin:/bin";

/// A path, and so many variables more that are kept.
Lines many(int count) {
  Lines lines{path};
  for (int i = 0; i < count; i++) lines.push_back("LC_" + std::to_string(i) + "=C");
  return lines;
}

TEST(ServiceEnvironment, HasAPathWhereNoneOrAnEmptyOneIsGiven) {
  EXPECT_EQ(filled({}), Lines{path});
  EXPECT_EQ(filled({"PATH="}), Lines{path});
  EXPECT_EQ(filled({"PATH=/x"}), Lines{"PATH=/x"});
}

TEST(ServiceEnvironment, ComparesWholeNames) {
  EXPECT_EQ(filled({"HOMES=1", "HOM=1", "LANGX=1", "LC=1", "home=1", "XLC_ALL=1"}), Lines{path});
}

TEST(ServiceEnvironment, DropsEntriesWithoutAName) {
  EXPECT_EQ(filled({"", "=", "=x", "HOME", "VANTO_KEEP=HOME:"}), Lines{path});
}

TEST(ServiceEnvironment, TakesTheFirstOfSeveralVariablesOfOneName) {
  EXPECT_EQ(filled({"PATH=/a", "HOME=1", "HOME=2"}), (Lines{"PATH=/a", "HOME=1"}));
  EXPECT_EQ(filled({"A=1", "VANTO_KEEP=A", "VANTO_KEEP=B", "A=2", "B=3"}), (Lines{"A=1", path}));
}

TEST(ServiceEnvironment, KeepsWhatIsListedEvenWhereLoadersReadIt) {
  EXPECT_EQ(filled({"LD_LIBRARY_PATH=/x", "LD_PRELOAD=/x", "VANTO_KEEP=LD_LIBRARY_PATH"}),
            (Lines{"LD_LIBRARY_PATH=/x", path}));
}

TEST(ServiceEnvironment, KeepsNothingOfItsOwnThoughListed) {
  EXPECT_EQ(filled({"LISTEN_FDS=1", "LISTEN_FDNAMES=a", "LISTEN_PID=1", "LISTEN_PIDFDID=1", "VANTO_EXEC_STATUS=4",
                    "VANTO_KEEP=LISTEN_FDS:LISTEN_FDNAMES:LISTEN_PID:LISTEN_PIDFDID:VANTO_KEEP:VANTO_EXEC_STATUS"}),
            Lines{path});
}

TEST(ServiceEnvironment, NamesTheProcessWhereThereAreListeners) {
  EXPECT_EQ(filled({"LISTEN_FDS=1", "LISTEN_PID=1", "LISTEN_PIDFDID=1"}, 1),
            (Lines{"LISTEN_FDS=1", path, "LISTEN_PID=" + std::to_string(getpid())}));
}

TEST(ServiceEnvironment, HasAtMost256Variables) {
  EXPECT_EQ(filled(many(255)).size(), 256U);
  EXPECT_EQ(filled(many(256)), Lines{"error " + std::to_string(E2BIG)});
  Lines handed = many(254);
  handed.push_back("LISTEN_FDS=1");
  EXPECT_EQ(filled(handed, 1), Lines{"error " + std::to_string(E2BIG)});
  handed.erase(handed.begin() + 1);
  EXPECT_EQ(filled(handed, 1).size(), 256U);
}

TEST(ServiceEnvironment, CountsOnlyWhatIsKept) {
  Lines lines = many(255);
  for (int i = 0; i < 1000; i++) lines.push_back("X" + std::to_string(i) + "=1");
  EXPECT_EQ(filled(lines).size(), 256U);
}

}  // namespace
}  // namespace vanto::test
