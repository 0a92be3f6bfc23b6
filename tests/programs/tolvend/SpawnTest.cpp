// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Spawn.h"

#include <algorithm>
#include <cerrno>
#include <sstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/OpenDescriptors.h"

namespace vanto::manager {
namespace {

/// Pipes with numbers that are out of the way.
struct Pipe {
  Pipe() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
    reading.reset(fcntl(ends[0], F_DUPFD_CLOEXEC, 50));
    writing.reset(fcntl(ends[1], F_DUPFD_CLOEXEC, 50));
    close(ends[0]);
    close(ends[1]);
  }
  Fd reading;
  Fd writing;
};

SpawnSetting settingFor(const char* proxy) {
  SpawnSetting setting;
  setting.proxy = proxy;
  return setting;
}

struct SpawnTest : testing::Test {
  [[nodiscard]] SpawnRequest request(const char* program = "/") const {
    return {.program = program,
            .name = "org.example.echo",
            .service = service.writing.get(),
            .link = link.writing.get(),
            .status = status.writing.get(),
            .log = log.writing.get()};
  }
  [[nodiscard]] std::string logText() {
    log.writing.reset();
    std::string text;
    char buffer[4096];
    for (ssize_t count; (count = read(log.reading.get(), buffer, sizeof buffer)) > 0;) {
      text.append(buffer, static_cast<std::size_t>(count));
    }
    return text;
  }

  Pipe service;
  Pipe link;
  Pipe status;
  Pipe log;
};

TEST_F(SpawnTest, TheProxyGetsWhatIsHandedOverAndNothingElse) {
  const SpawnSetting setting{.proxy = VANTO_TEST_PROBE,
                             .environment = {"ONE=1", "TWO=2"},
                             .descriptors = {333, 444},
                             .shallSetDescriptors = true};
  Spawned spawned;
  const SpawnError error = spawn(setting, request("/program"), spawned);
  ASSERT_EQ(error.step, SpawnError::Step::None) << error.error;
  pollfd set{spawned.process.get(), POLLIN, 0};
  EXPECT_EQ(poll(&set, 1, 60'000), 1);
  int result = -1;
  EXPECT_EQ(waitpid(spawned.pid, &result, 0), spawned.pid);
  EXPECT_EQ(result, 0);
  const std::string text = logText();
  for (const char* expected : {"argument vantoproxy\nargument /program\n", "variable ONE=1\nvariable TWO=2\n",
                               "variable LISTEN_FDNAMES=org.example.echo:.manager\n",
                               "descriptor 3 pipe:", "descriptor 4 pipe:", "descriptor 5 pipe:", "limit 7 333 444\n"}) {
    EXPECT_NE(text.find(expected), std::string::npos) << expected << " in\n" << text;
  }
  EXPECT_EQ(text.find("descriptor 6"), std::string::npos) << text;
  EXPECT_EQ(text.find("variable PATH"), std::string::npos);
}

TEST_F(SpawnTest, AProxyThatCannotBeExecutedLeavesAnErrorAndNoProcess) {
  const auto before = test::openDescriptors();
  Spawned spawned;
  const SpawnError missing = spawn(settingFor("/nowhere/proxy"), request(), spawned);
  EXPECT_EQ(missing.step, SpawnError::Step::Proxy);
  EXPECT_EQ(missing.error, ENOENT);
  const SpawnError directory = spawn(settingFor("/"), request(), spawned);
  EXPECT_EQ(directory.step, SpawnError::Step::Proxy);
  EXPECT_EQ(directory.error, EACCES);
  EXPECT_EQ(waitpid(-1, nullptr, WNOHANG), -1);
  EXPECT_EQ(errno, ECHILD);
  EXPECT_EQ(test::openDescriptors(), before);
}

}  // namespace
}  // namespace vanto::manager
