// SPDX-License-Identifier: Apache-2.0

// The manager of the system's domain, which serves everybody and obeys few. In a mount namespace with a /run of its
// own; only root has what that takes.
#include <filesystem>
#include <fstream>

#include <grp.h>
#include <linux/capability.h>
#include <pwd.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <sys/xattr.h>

#include <VantoService/vanto_code.h>

#include "support/Child.h"
#include "system/ManagerFixture.h"

namespace vanto::test {
namespace {

using testing::ChildReport;
constexpr const char* echo = "org.example.echo";
constexpr const char* account = "nobody";

class ManagerSystemDomain : public ManagerFixture {
 protected:
  /// Runs `work` in a child with an empty /run. What it reports.
  [[nodiscard]] static std::vector<std::string> withOwnRun(const std::function<void(const ChildReport&)>& work) {
    const testing::ChildOutcome outcome = testing::runInChild([&](const ChildReport& report) {
      ASSERT_EQ(unshare(CLONE_NEWNS), 0);
      ASSERT_EQ(mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr), 0);
      ASSERT_EQ(mount("none", "/run", "tmpfs", 0, "mode=755"), 0);
      unsetenv("XDG_RUNTIME_DIR");
      work(report);
    });
    EXPECT_EQ(outcome.end, "exit status 0");
    return outcome.lines;
  }

  [[nodiscard]] static Held orderHere(const std::string& command, const std::string& label, const Held& job) {
    const Held connection = connect("org.vanto.tolvend.system");
    const Held request(vanto_dictionary_create(nullptr, nullptr, 0));
    vanto_dictionary_set_value(request, "command", Held(vanto_string_create(command.c_str())));
    vanto_dictionary_set_value(request, "label", Held(vanto_string_create(label.c_str())));
    vanto_dictionary_set_value(request, "job", job);
    return Held(vanto_call(connection, request, generous));
  }

  /// What `work` reports as the user `user`.
  static void asUser(uid_t user, const std::function<void()>& work) {
    const pid_t child = fork();
    if (child == 0) {
      if (setgroups(0, nullptr) != 0 || setgid(user) != 0 || setuid(user) != 0) _exit(98);
      work();
      _exit(::testing::Test::HasFailure() ? 99 : 0);
    }
    int status = -1;
    EXPECT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }

  /// Where another user can reach a program.
  void openToAll() const {
    for (const char* path : {"", "programs"}) ASSERT_EQ(chmod((directory_ / path).c_str(), 0777), 0);
  }
};

TEST_F(ManagerSystemDomain, ServesEverybodyAndObeysItsAccountAndRoot) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  openToAll();
  const std::string path = program("echo", echo);
  const std::vector<std::string> lines = withOwnRun([&](const ChildReport& report) {
    ManagerProcess manager(setting({"--domain", "system", "--account", account}));
    ASSERT_TRUE(manager.isReady()) << manager.messages();
    const passwd* user = getpwnam(account);
    struct stat facts;
    ASSERT_EQ(stat("/run/vanto", &facts), 0);
    EXPECT_EQ(facts.st_uid, user->pw_uid);
    EXPECT_EQ(facts.st_mode & 07777, 0755U);
    EXPECT_EQ(errorOf(orderHere("load", "", job(echo, path))), "");
    ASSERT_EQ(lstat("/run/vanto/org.example.echo", &facts), 0);
    EXPECT_EQ(facts.st_mode & 07777, 01666U);
    asUser(12345, [&] {
      report(errorOf(orderHere("stop", echo, {})));
      report(call(echo) > 0 ? "served" : "not served");
    });
    asUser(user->pw_uid, [&] { report("account: " + errorOf(orderHere("stop", echo, {}))); });
    EXPECT_EQ(manager.terminate(), "exit status 0");
    EXPECT_EQ(manager.messages(), "");
  });
  const passwd* user = getpwnam(account);
  EXPECT_EQ(lines, (std::vector<std::string>{
                       "orders are taken from user " + std::to_string(user->pw_uid) + " and from root only", "served",
                       "account: "}));
}

TEST_F(ManagerSystemDomain, TellsTheLogToItsOwnUserOnly) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  openToAll();
  const std::string path = program("exits-3", echo);
  const std::vector<std::string> lines = withOwnRun([&](const ChildReport& report) {
    const ManagerProcess manager(setting({"--domain", "system", "--account", account}));
    EXPECT_EQ(errorOf(orderHere("load", "", job(echo, path))), "");
    asUser(12345, [&] { report(refusalOf(echo)); });
    ASSERT_TRUE(waitUntil([] { return refusalOf(echo).ends_with("; its log ends with: cannot go on"); }));
  });
  ASSERT_EQ(lines.size(), 1U);
  EXPECT_TRUE(lines[0].starts_with("15 org.example.echo: not started: ")) << lines[0];
  EXPECT_EQ(lines[0].find("cannot go on"), std::string::npos);
}

/// Has a program look at everybody's processes and executables, as setcap(8) does.
bool letLookAtEverything(const std::string& path) {
  constexpr __u32 rights = 1U << CAP_SYS_PTRACE | 1U << CAP_DAC_READ_SEARCH;
  const vfs_cap_data data{VFS_CAP_REVISION_2 | VFS_CAP_FLAGS_EFFECTIVE, {{rights, 0}, {0, 0}}};
  return setxattr(path.c_str(), "security.capability", &data, sizeof data, 0) == 0;
}

/// A process of another user, whose executable others may execute and not read.
pid_t strangerWith(const std::string& executable) {
  const pid_t child = fork();
  if (child != 0) return child;
  if (setgroups(0, nullptr) == 0 && setgid(12345) == 0 && setuid(12345) == 0) {
    execl(executable.c_str(), executable.c_str(), "600", nullptr);
  }
  _exit(98);
}

TEST_F(ManagerSystemDomain, TellsWhatCodeOthersExecuteWithTheRightToLookOnly) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  openToAll();
  const std::string sleeper = directory_ / "sleeper";
  std::filesystem::copy_file("/usr/bin/sleep", sleeper);
  ASSERT_EQ(chmod(sleeper.c_str(), 0711), 0);
  const std::string bundle = directory_ / "org.vanto.vexd.vanto";
  std::filesystem::copy(std::filesystem::path(VANTO_TEST_VEXD).parent_path().parent_path().parent_path(), bundle,
                        std::filesystem::copy_options::recursive);
  const std::string vexd = bundle + "/Contents/Linux/vexd";
  const auto told = [&] {
    return withOwnRun([&](const ChildReport& report) {
      ManagerProcess manager(setting({"--domain", "system", "--account", account}));
      ASSERT_TRUE(manager.isReady()) << manager.messages();
      EXPECT_EQ(errorOf(orderHere("load", "", job("org.vanto.vexd", vexd))), "");
      const pid_t stranger = strangerWith(sleeper);
      const Fd process(static_cast<int>(syscall(SYS_pidfd_open, stranger, 0)));
      // Until it has become what it is to be.
      EXPECT_TRUE(waitUntil([&] {
        std::error_code error;
        return std::filesystem::read_symlink("/proc/" + std::to_string(stranger) + "/exe", error) == sleeper;
      }));
      const Held code(vanto_copy_process_code(process.get(), generous));
      report(vanto_kind(code) == VANTO_KIND_ERROR
                 ? vanto_error_get_text(code)
                 : std::to_string(vanto_data_get_length(vanto_dictionary_get_value(code, "digest"))) + " bytes");
      kill(stranger, SIGKILL);
      waitpid(stranger, nullptr, 0);
      EXPECT_EQ(manager.terminate(), "exit status 0");
    });
  };
  EXPECT_EQ(told(), std::vector<std::string>{"its executable may not be looked at"});
  ASSERT_TRUE(letLookAtEverything(vexd));
  EXPECT_EQ(told(), std::vector<std::string>{"32 bytes"});
}

TEST_F(ManagerSystemDomain, TakesNoDirectoryOfAThirdUser) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  const std::vector<std::string> lines = withOwnRun([&](const ChildReport& report) {
    ASSERT_EQ(mkdir("/run/vanto", 0755), 0);
    ASSERT_EQ(chown("/run/vanto", 12345, 12345), 0);
    ManagerProcess manager(setting({"--domain", "system", "--account", account}));
    EXPECT_EQ(manager.waitForEnd(), "exit status 1");
    report(manager.messages());
  });
  ASSERT_FALSE(lines.empty());
  EXPECT_EQ(lines[0],
            "tolvend: /run/vanto cannot be used: it is another user's, others may change it, or it cannot be made");
}

}  // namespace
}  // namespace vanto::test
