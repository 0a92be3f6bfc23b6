// SPDX-License-Identifier: Apache-2.0
#include "tolvend/DirectoryGuard.h"

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <optional>

#include "programs/tolvend/ManagerWorld.h"

namespace vanto::test {
namespace {

using namespace manager;
using Lines = std::vector<std::string>;

TEST(DirectoryGuard, TellsOfNamesThatAreRemovedOrTaken) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static ManagerWorld world(alarms);
              for (const char* name : {"gone", "away", "taken", "other"}) std::ofstream(world.directory / name) << name;
              static DirectoryGuard guard(alarms, [report](const std::string& name) {
                report(name);
                if (name == "taken") finish();
              });
              EXPECT_EQ(guard.start(world.domain.get()), 0);
              // None of these takes a name from anybody.
              std::ofstream(world.directory / "new") << "text";
              std::ofstream(world.directory / "other") << "another text";
              std::filesystem::remove(world.directory / "gone");
              std::filesystem::rename(world.directory / "away", world.directory / "taken");
            }),
            (Lines{"gone", "away", "taken"}));
}

TEST(DirectoryGuard, LooksAgainAfterItHasRested) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static ManagerWorld world(alarms);
              static int count = 0;
              static const auto touch = [] {
                std::ofstream(world.directory / "name") << "text";
                std::filesystem::remove(world.directory / "name");
              };
              static DirectoryGuard guard(alarms, [report](const std::string& name) {
                report(name);
                if (++count == 3) return finish();
                touch();
              });
              EXPECT_EQ(guard.start(world.domain.get()), 0);
              touch();
            }),
            (Lines{"name", "name", "name"}));
}

TEST(DirectoryGuard, TellsAMomentLaterOfItsDirectoryToo) {
  EXPECT_EQ(runWithEvents([](const auto& report, Alarms& alarms) {
              static ManagerWorld world(alarms);
              static const std::string inner = world.directory / "inner";
              static DirectoryGuard guard(
                  alarms, [report](const std::string& name) { report("touched " + name); },
                  [report] {
                    report(std::filesystem::exists(inner) ? "there" : "away");
                    if (!std::filesystem::exists(inner)) return finish();
                    std::filesystem::rename(inner, world.directory / "elsewhere");
                  });
              std::filesystem::create_directory(inner);
              std::ofstream(inner + "/name") << "text";
              EXPECT_EQ(guard.start(world.openAt("inner").get()), 0);
              std::filesystem::remove(inner + "/name");
            }),
            (Lines{"touched name", "there", "away"}));
}

TEST(DirectoryGuard, SaysThatThereIsNoDirectory) {
  EXPECT_TRUE(runWithEvents([](const auto&, Alarms& alarms) {
                DirectoryGuard guard(alarms, [](const std::string&) {});
                const Fd file(open("/dev/null", O_RDONLY | O_CLOEXEC));
                EXPECT_EQ(guard.start(file.get()), ENOTDIR);
                EXPECT_EQ(guard.start(-1), ENOENT);
                finish();
              }).empty());
}

}  // namespace
}  // namespace vanto::test
