// SPDX-License-Identifier: Apache-2.0
#include "vexd/MountTable.h"

#include <filesystem>

#include <sched.h>
#include <sys/mount.h>

#include "programs/vexd/VexdFixture.h"
#include "support/Child.h"

namespace vanto::testing {
namespace {

constexpr auto table =
    "22 1 8:1 / / rw,relatime shared:1 - ext4 /dev/root rw\n"
    "122 22 0:45 / /a\\040122\\0120:9 rw - tmpfs tmpfs rw\n";

TEST(MountTable, HasTheDevicesOfMounts) {
  EXPECT_EQ(vexd::deviceOfMount(table, 22), "8:1");
  EXPECT_EQ(vexd::deviceOfMount(table, 122), "0:45");
  EXPECT_EQ(vexd::deviceOfMount(table, 2), "");
  EXPECT_EQ(vexd::deviceOfMount("", 22), "");
  EXPECT_TRUE(vexd::hasDevice(table, "8:1"));
  EXPECT_TRUE(vexd::hasDevice(table, "0:45"));
  EXPECT_FALSE(vexd::hasDevice(table, "0:4"));
  EXPECT_FALSE(vexd::hasDevice(table, "0:9"));
  EXPECT_FALSE(vexd::hasDevice("", "0:4"));
}

TEST(MountTable, TellsWhetherAFileSystemIsMountedHere) {
  const Fd self = openFile("/proc/self/exe");
  EXPECT_TRUE(vexd::isMountedHere(self.get(), getpid()));
  EXPECT_FALSE(vexd::isMountedHere(-1, getpid()));
}

/// Mounts an overlay that shows `below`.
bool mountOverlay(const std::string& below, const std::string& place) {
  const std::string options = "lowerdir=" + below + ":/usr/share";
  return mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) == 0 &&
         mount("overlay", place.c_str(), "overlay", MS_RDONLY, options.c_str()) == 0;
}

TEST(MountTable, HasNoOverlayThatIsMountedInAnotherNamespace) {
  const test::TemporaryDirectory directory;
  std::filesystem::create_directory(directory / "below");
  std::filesystem::create_directory(directory / "place");
  std::filesystem::copy_file("/bin/sleep", directory / "below/sleep");
  const auto outcome = runInChild([&directory](const ChildReport& report) {
    if (unshare(CLONE_NEWNS) != 0 || !mountOverlay(directory / "below", directory / "place"))
      return report("no mounts");
    const Sleeper here(directory / "place/sleep");
    vexd::Refusal refusal;
    report(vexd::ExaminedProcess::open(here.process(), refusal) ? "here" : refusal.reason);
    // A second one in a namespace that is made from here.
    int ends[2];
    if (pipe(ends) != 0) return;
    const pid_t other = fork();
    if (other == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 || !mountOverlay(directory / "below", directory / "place"))
        _exit(1);
      dup2(ends[1], STDOUT_FILENO);
      execl((directory / "place/sleep").c_str(), "sleep", "1000", nullptr);
      _exit(1);
    }
    const Fd process(static_cast<int>(syscall(SYS_pidfd_open, other, 0)));
    const std::string link = "/proc/" + std::to_string(other) + "/exe";
    std::error_code error;
    for (int i = 0; i < 10'000 && std::filesystem::read_symlink(link, error).filename() != "sleep"; ++i) usleep(1000);
    report(vexd::ExaminedProcess::open(process.get(), refusal) ? "there too" : refusal.reason);
    kill(other, SIGKILL);
    waitpid(other, nullptr, 0);
  });
  if (outcome.lines == std::vector<std::string>{"no mounts"}) GTEST_SKIP() << "no overlay may be mounted here";
  ASSERT_EQ(outcome.lines.size(), 2U);
  EXPECT_EQ(outcome.lines[0], "here");
  EXPECT_EQ(outcome.lines[1], "its executable is on a file system of a user, who can show each reader another one");
}

}  // namespace
}  // namespace vanto::testing
