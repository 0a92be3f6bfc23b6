// SPDX-License-Identifier: Apache-2.0

// Where managers publish sockets, and what may be in the way there.
#include <filesystem>
#include <fstream>
#include <functional>

#include <sys/stat.h>
#include <unistd.h>

#include "support/LeftObjects.h"
#include "system/ManagerFixture.h"

namespace vanto::test {
namespace {

constexpr const char* echo = "org.example.echo";

using ManagerSockets = ManagerFixture;

TEST_F(ManagerSockets, RefusesADirectoryThatIsNotItsOwn) {
  const std::string runtime = directory_ / "run";
  const auto refused = [&] {
    ManagerProcess manager(setting());
    EXPECT_FALSE(manager.isReady());
    EXPECT_EQ(manager.waitForEnd(), "exit status 1");
    return manager.messages();
  };
  ASSERT_EQ(chmod(runtime.c_str(), 0770), 0);
  EXPECT_EQ(refused(), "tolvend: XDG_RUNTIME_DIR, " + runtime +
                           ", cannot be used: it is not this user's, or others may change it\n");
  ASSERT_EQ(chmod(runtime.c_str(), 0700), 0);
  std::filesystem::create_directory(directory_ / "elsewhere");
  std::filesystem::create_directory_symlink(directory_ / "elsewhere", directory_ / "run/vanto");
  EXPECT_EQ(refused(),
            "tolvend: the directory of the user domain cannot be used: it leads through a symbolic link, or is no "
            "directory\n");
  EXPECT_TRUE(std::filesystem::is_empty(directory_ / "elsewhere"));
}

TEST_F(ManagerSockets, RefusesADirectoryOfAnotherUser) {
  if (geteuid() != 0) GTEST_SKIP() << "needs root";
  ASSERT_EQ(mkdir((directory_ / "run/vanto").c_str(), 0700), 0);
  ASSERT_EQ(chown((directory_ / "run/vanto").c_str(), 12345, 12345), 0);
  ManagerProcess manager(setting());
  EXPECT_FALSE(manager.isReady());
  EXPECT_EQ(manager.waitForEnd(), "exit status 1");
  EXPECT_EQ(manager.messages(),
            "tolvend: the directory of the user domain cannot be used: it is not this user's, or others may change "
            "it\n");
}

TEST_F(ManagerSockets, LoadsNoJobWhoseNameSomebodyElseServes) {
  const ManagerProcess manager(setting());
  const Held rival(vanto_connection_create_listener(echo, nullptr));
  vanto_connection_resume(rival);
  EXPECT_EQ(load("echo", echo), "org.example.echo: not loaded: another process already serves this name; end it first");
  EXPECT_TRUE(std::filesystem::exists(socketPath(echo)));
  EXPECT_FALSE(std::filesystem::exists(socketPath(".tolvend/jobs/org.example.echo")));
  vanto_close(rival);
  // Its socket goes on a thread of the library.
  EXPECT_TRUE(waitUntil([&] { return load("echo", echo).empty(); }));
  // What watches for the end of the process, made with its first listener.
  vanto::testing::leaveObjects(1);
}

TEST_F(ManagerSockets, LoadsNoJobWhereSomethingElseIsInTheWayOfItsSocket) {
  {
    const ManagerProcess manager(setting());
    std::ofstream(socketPath(echo)) << "somebody's text";
    EXPECT_EQ(load("echo", echo),
              std::string(echo) + ": not loaded: " + socketPath(echo) + " is no socket; move it away");
    EXPECT_EQ(std::filesystem::file_size(socketPath(echo)), 15U);
    std::filesystem::remove(socketPath(echo));
    EXPECT_EQ(load("echo", echo), "");
  }
  std::ofstream(socketPath(echo)) << "somebody's text";
  const ManagerProcess next(setting());
  ASSERT_TRUE(next.isReady());
  EXPECT_EQ(next.messages(),
            "tolvend: " + std::string(echo) + ": not loaded: " + socketPath(echo) + " is no socket; move it away\n");
  EXPECT_EQ(std::filesystem::file_size(socketPath(echo)), 15U);
}

TEST_F(ManagerSockets, ASocketThatSomebodyRemovesOrReplacesIsPublishedAgain) {
  ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  const std::int64_t pid = call(echo);
  std::filesystem::remove(socketPath(echo));
  ASSERT_TRUE(waitUntil([] { return vanto_kind(connect(echo)) == VANTO_KIND_CONNECTION; }));
  EXPECT_EQ(call(echo), pid) << "it serves on";
  // By the socket of another service.
  ASSERT_EQ(load("echo", "org.example.other"), "");
  std::filesystem::rename(socketPath("org.example.other"), socketPath(echo));
  ASSERT_TRUE(waitUntil([&] { return std::filesystem::exists(socketPath("org.example.other")) && call(echo) == pid; }));
  EXPECT_NE(call("org.example.other"), pid);
  EXPECT_EQ(number(stateOf(echo), "failures"), 0);
  const Held why = order("why", echo);
  EXPECT_NE(text(vanto_dictionary_get_value(why, "socket"), "text").find("published again"), std::string::npos);
  EXPECT_EQ(logOf(echo).size(), 1U);
  // The manager's own.
  std::filesystem::remove(socketPath("org.vanto.tolvend.user"));
  ASSERT_TRUE(waitUntil([&] { return errorOf(order("status", echo)).empty(); }));
  EXPECT_EQ(manager.messages(),
            "tolvend: the socket for orders was removed or replaced by somebody, and is published again\n");
  EXPECT_EQ(manager.terminate(), "exit status 0");
  EXPECT_FALSE(std::filesystem::exists(socketPath("org.vanto.tolvend.user")));
}

TEST_F(ManagerSockets, TheManagerEndsWhenItsDirectoryIsTakenAway) {
  const std::string domain = std::filesystem::path(socketPath(echo)).parent_path();
  const auto takesAway = [&](const std::function<void()>& takeAway) {
    ManagerProcess manager(setting());
    for (int i = 0; i < 8; i++) EXPECT_EQ(load("echo", "org.example.echo" + std::to_string(i)), "");
    const std::int64_t pid = call("org.example.echo0");
    takeAway();
    EXPECT_EQ(manager.waitForEnd(), "exit status 1");
    EXPECT_FALSE(isAlive(static_cast<pid_t>(pid)));
    EXPECT_NE(manager.messages().find("tolvend: the directory " + domain +
                                      ", or .tolvend in it, was removed or moved away, so the manager ends; start it "
                                      "again\n"),
              std::string::npos)
        << manager.messages();
  };
  takesAway([&] { std::filesystem::rename(domain, directory_ / "elsewhere"); });
  // Its sockets come back meanwhile.
  takesAway([&] {
    std::error_code error;
    while (std::filesystem::remove_all(domain, error), error) error.clear();
  });
  takesAway([&] { std::filesystem::remove_all(domain + "/.tolvend"); });
}

TEST_F(ManagerSockets, SaysWhatToDoWhereItCannotTakeOrdersAnyMore) {
  const std::string orders = "org.vanto.tolvend.user";
  ManagerProcess manager(setting());
  ASSERT_EQ(load("echo", echo), "");
  std::filesystem::remove(socketPath(".tolvend/sockets/" + orders));
  std::filesystem::remove(socketPath(orders));
  const std::string line =
      "tolvend: the socket for orders was removed or replaced by somebody, and cannot be published again: No such file "
      "or directory (error 2); end the manager and start it again\n";
  EXPECT_TRUE(waitUntil([&] { return manager.messages() == line; })) << manager.messages();
  EXPECT_GT(call(echo), 0) << "its services are reached as before";
  EXPECT_EQ(manager.terminate(), "exit status 0");
}

}  // namespace
}  // namespace vanto::test
