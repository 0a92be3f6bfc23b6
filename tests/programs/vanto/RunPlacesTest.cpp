// SPDX-License-Identifier: Apache-2.0
#include "vanto/RunPlaces.h"

#include <filesystem>
#include <fstream>

#include <gtest/gtest.h>

#include "support/TemporaryDirectory.h"

namespace vanto::tool {
namespace {

constexpr timespec beginning{0, 0};
constexpr timespec end{INT64_MAX, 0};

class RunPlacesTest : public ::testing::Test {
 protected:
  RunPlacesTest() {
    std::filesystem::create_directories(directory_ / "d");
    std::filesystem::create_directory_symlink(directory_ / "d", directory_ / "link");
    std::ofstream(directory_ / "d/f") << "x";
  }

  test::TemporaryDirectory directory_;
};

TEST_F(RunPlacesTest, AreTheFilesThemselvesAtTheEndOfLinks) {
  const RunPlaces places({}, beginning);
  EXPECT_EQ(places.ofFile(directory_ / "link/../d/./f"), directory_ / "d/f");
  EXPECT_EQ(places.ofDirectoryOf(directory_ / "link/f"), directory_ / "d");
  EXPECT_EQ(places.ofDirectoryOf("/f"), "/");
  EXPECT_EQ(places.ofFile("/"), "/");
}

TEST_F(RunPlacesTest, AreTheDirectoriesThatWereThereBefore) {
  learning::RunFacts facts;
  facts.made = {directory_ / "link/new", directory_ / "link/new/inner", directory_ / "d/newer/"};
  const RunPlaces places(facts, beginning);
  EXPECT_EQ(places.ofFile(directory_ / "d/new/inner/x"), directory_ / "d");
  EXPECT_EQ(places.ofDirectoryOf(directory_ / "d/new/inner"), directory_ / "d");
  EXPECT_EQ(places.ofFile(directory_ / "d/newer"), directory_ / "d");
  EXPECT_EQ(places.ofFile(directory_ / "d/news"), directory_ / "d/news");
  EXPECT_EQ(places.directoriesOfOthers(), std::set<std::string>{directory_ / "d"});
}

TEST_F(RunPlacesTest, TellTheDirectoriesOfSocketsFromThoseOfOthers) {
  learning::RunFacts facts;
  facts.made = {directory_ / "d/s", directory_ / "d/x/y", directory_ / "d/x"};
  facts.sockets = {directory_ / "d/s"};
  const RunPlaces places(facts, end);
  EXPECT_EQ(places.directoriesOfSockets(), std::set<std::string>{directory_ / "d"});
  EXPECT_EQ(places.ofFile(directory_ / "d/s"), directory_ / "d");
  facts.made = facts.sockets = {directory_ / "d/s"};
  EXPECT_TRUE(RunPlaces(facts, end).directoriesOfOthers().empty());
}

TEST_F(RunPlacesTest, TellByItsBirthWhetherAFileWasMade) {
  learning::RunFacts facts;
  facts.openedOrMade = {directory_ / "d/f"};
  EXPECT_EQ(RunPlaces(facts, end).ofFile(directory_ / "d/f"), directory_ / "d/f");
  EXPECT_TRUE(RunPlaces(facts, end).directoriesOfOthers().empty());
  EXPECT_EQ(RunPlaces(facts, beginning).ofFile(directory_ / "d/f"), directory_ / "d");
  facts.openedOrMade = {directory_ / "d/gone"};
  EXPECT_EQ(RunPlaces(facts, end).ofFile(directory_ / "d/gone"), directory_ / "d");
}

TEST_F(RunPlacesTest, TakeADeviceForOneThatWasThere) {
  learning::RunFacts facts;
  facts.openedOrMade = {"/dev/null"};
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  EXPECT_EQ(RunPlaces(facts, now).ofFile("/dev/null"), "/dev/null");
}

TEST_F(RunPlacesTest, NeedNoNameForFilesWithoutOne) {
  learning::RunFacts facts;
  facts.nameless = {directory_ / "d/#12"};
  facts.openedOrMade = facts.nameless;
  const RunPlaces places(facts, beginning);
  EXPECT_EQ(places.ofFile(directory_ / "d/#12"), directory_ / "d");
  EXPECT_TRUE(places.directoriesOfOthers().empty());
}

TEST_F(RunPlacesTest, KeepTheNameOfALink) {
  EXPECT_EQ(realName(directory_ / "link"), directory_ / "link");
  EXPECT_EQ(realName(directory_ / "link/"), directory_ / "link");
  EXPECT_EQ(realName(directory_ / "link/f"), directory_ / "d/f");
  EXPECT_EQ(realName("/"), "/");
}

}  // namespace
}  // namespace vanto::tool
