// SPDX-License-Identifier: Apache-2.0

// The manager as the first process of a container, to which all orphans come.
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

#include <sys/wait.h>
#include <unistd.h>

#include "support/Child.h"
#include "system/Container.h"
#include "system/ManagerFixture.h"
#include "system/ToolProcess.h"

namespace vanto::test {
namespace {

using testing::ChildReport;
constexpr const char* echo = "org.example.echo";

class ManagerContainer : public ManagerFixture {
 protected:
  void SetUp() override {
    if (!canMakeContainer()) GTEST_SKIP() << "needs the right to make namespaces";
  }

  /// A manager that is started as the first process.
  [[nodiscard]] ManagerSetting first(std::vector<std::string> more = {}) const {
    ManagerSetting changed = setting(std::move(more));
    changed.prepare = [] {
      if (!mountOwnProc()) _exit(98);
    };
    return changed;
  }

  /// Runs `work` where the next process begins a container.
  static void withContainer(const std::function<void(const ChildReport&)>& work) {
    const testing::ChildOutcome outcome = testing::runInChild([&work](const ChildReport& report) {
      ASSERT_TRUE(makeContainer());
      work(report);
    });
    EXPECT_EQ(outcome.end, "exit status 0");
  }

  /// A process without a parent, which ends when it is told by a signal. Called inside.
  [[nodiscard]] static pid_t makeOrphan() {
    int ends[2];
    EXPECT_EQ(pipe(ends), 0);
    const pid_t parent = fork();
    if (parent == 0) {
      const pid_t orphan = fork();
      if (orphan != 0) _exit(write(ends[1], &orphan, sizeof orphan) == sizeof orphan ? 0 : 1);
      for (;;) pause();
    }
    int status = -1;
    EXPECT_EQ(waitpid(parent, &status, 0), parent);
    pid_t orphan = -1;
    EXPECT_EQ(read(ends[0], &orphan, sizeof orphan), static_cast<ssize_t>(sizeof orphan));
    return orphan;
  }

  [[nodiscard]] static bool isThere(pid_t pid) { return access(("/proc/" + std::to_string(pid)).c_str(), F_OK) == 0; }
};

TEST_F(ManagerContainer, TheFirstProcessStartsServicesAndEndsWhatTheyLeave) {
  const std::string path = program("echo", echo);
  withContainer([&](const ChildReport&) {
    ManagerProcess manager(first());
    ASSERT_TRUE(manager.isReady()) << manager.messages();
    runInside([&] {
      EXPECT_EQ(std::filesystem::read_symlink("/proc/1/exe").filename(), "tolvend");
      ASSERT_EQ(loadJob(job(echo, path)), "");
      const std::int64_t pid = call(echo, "away");
      EXPECT_LT(pid, getpid() + 100) << "not a number of this container";
      const Held state = stateOf(echo);
      const vanto_object_t instances = vanto_dictionary_get_value(state, "instances");
      EXPECT_EQ(number(vanto_array_get_value(instances, 0), "pid"), pid);
      ASSERT_TRUE(waitUntil([] { return !logOf(echo).empty(); }));
      const pid_t left = std::stoi(logOf(echo).at(0).substr(std::string("away ").size()));
      EXPECT_TRUE(isAlive(left));
      EXPECT_EQ(errorOf(order("stop", echo)), "");
      EXPECT_TRUE(waitUntil([left] { return !isThere(left); }));
      EXPECT_NE(call(echo), pid);
    });
    EXPECT_EQ(manager.terminate(), "exit status 0");
    EXPECT_EQ(manager.messages(), "");
  });
}

TEST_F(ManagerContainer, TheFirstProcessLeavesOrphansOfOthersAloneAndReapsThem) {
  const std::string path = program("echo", echo);
  withContainer([&](const ChildReport&) {
    ManagerProcess manager(first());
    ASSERT_TRUE(manager.isReady()) << manager.messages();
    runInside([&] {
      ASSERT_EQ(loadJob(job(echo, path)), "");
      const pid_t orphan = makeOrphan();
      for (int i = 0; i < 3; i++) {
        EXPECT_GT(call(echo), 0);
        // Orphans are looked for whenever a process ends.
        EXPECT_EQ(errorOf(order("stop", echo)), "");
      }
      EXPECT_TRUE(isAlive(orphan));
      EXPECT_EQ(kill(orphan, SIGKILL), 0);
      EXPECT_TRUE(waitUntil([orphan] { return !isThere(orphan); })) << "it was not reaped";
    });
    EXPECT_EQ(manager.terminate(), "exit status 0");
    EXPECT_EQ(manager.messages(), "");
  });
}

TEST_F(ManagerContainer, TheFirstProcessRunsACommandAndEndsWithItsStatus) {
  const std::string place = directory_ / "ephemeral";
  withContainer([&](const ChildReport&) {
    ManagerProcess manager(
        first({"--ephemeral", place, "--", "sh", "-c",
               "test $PPID = 1 && test -S $XDG_RUNTIME_DIR/vanto/user/org.vanto.tolvend.user && exit 7"}));
    EXPECT_EQ(manager.waitForEnd(), "exit status 7");
    EXPECT_EQ(manager.messages(), "");
  });
  EXPECT_NE(access(place.c_str(), F_OK), 0);
}

/// With the example application, signed with a key that is trusted there.
class ManagerContainerWithCode : public ManagerContainer {
 protected:
  static std::string tool(const std::vector<std::string>& arguments) {
    const ToolOutcome outcome = runToolProcess(arguments);
    EXPECT_EQ(outcome.end, "exit status 0") << arguments[0] << ": " << outcome.messages;
    return outcome.output;
  }

  void signApplication() const {
    mkdir((directory_ / "home").c_str(), 0700);
    setenv("HOME", (directory_ / "home").c_str(), 1);
    unsetenv("XDG_CONFIG_HOME");
    std::filesystem::copy(VANTO_TEST_ECHO_HOST, app_, std::filesystem::copy_options::recursive);
    const std::string key = directory_ / "demo.key";
    tool({"key", "new", "demo", "--output", key});
    std::ofstream(directory_ / "demo.plist") << tool({"key", "public", key});
    tool({"trust", "add", directory_ / "demo.plist"});
    tool({"sign", "--key", key, app_ + "/Contents/VantoServices/org.vanto.example.echo.vanto"});
    tool({"sign", "--key", key, app_});
  }

  /// The exit status of a program of the application.
  [[nodiscard]] int statusOf(const std::string& name) const {
    const int status = std::system((app_ + "/Contents/Linux/" + name + " >/dev/null 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  const std::string app_ = directory_ / "EchoHost.app";
};

TEST_F(ManagerContainerWithCode, AServiceJudgesItsClientsByTheirCode) {
  signApplication();
  withContainer([&](const ChildReport&) {
    ManagerProcess manager(first());
    ASSERT_TRUE(manager.isReady()) << manager.messages();
    runInside([&] {
      tool({"load", app_});
      EXPECT_EQ(statusOf("EchoHost"), 1) << "nobody can have judged it";
      ASSERT_EQ(loadJob(job("org.vanto.vexd", VANTO_TEST_VEXD)), "");
      EXPECT_EQ(statusOf("EchoHost"), 0);
      EXPECT_EQ(statusOf("echo-client"), 1) << "it is not signed";
    });
    EXPECT_EQ(manager.terminate(), "exit status 0");
    EXPECT_EQ(manager.messages(), "");
  });
}

}  // namespace
}  // namespace vanto::test
