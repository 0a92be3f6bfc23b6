// SPDX-License-Identifier: Apache-2.0
#include "tolvend/SystemLogSocket.h"

#include <cstring>
#include <fstream>

#include <sys/socket.h>
#include <sys/un.h>

#include "programs/tolvend/EventChild.h"
#include "support/TemporaryDirectory.h"

namespace vanto::test {
namespace {

using manager::SystemLogSocket;

Fd socketTo(const std::string& path) {
  Fd sender(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::memcpy(address.sun_path, path.data(), path.size());
  EXPECT_EQ(connect(sender.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  return sender;
}

TEST(SystemLogSocket, TellsWhoWroteALine) {
  const std::vector<std::string> lines = runWithEvents([](const auto& report, auto&) {
    static const TemporaryDirectory directory;
    static SystemLogSocket log([report](pid_t pid, std::string_view line) {
      report((pid == getpid() ? "self: " : "another: ") + std::string(line));
      if (line == "last") finish();
    });
    EXPECT_EQ(log.open(directory / "log"), "");
    const Fd sender = socketTo(directory / "log");
    for (const std::string& text : {std::string("<13>with priority\n"), std::string("without\0", 8),
                                    std::string("<x>odd"), std::string("<191>last")}) {
      EXPECT_EQ(send(sender.get(), text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
    }
  });
  EXPECT_EQ(lines, (std::vector<std::string>{"self: with priority", "self: without", "self: <x>odd", "self: last"}));
}

TEST(SystemLogSocket, LeavesToOthersWhatIsTheirs) {
  EXPECT_TRUE(runWithEvents([](const auto&, auto&) {
                const TemporaryDirectory directory;
                const auto ignore = [](pid_t, std::string_view) {
                };
                {
                  SystemLogSocket first(ignore);
                  EXPECT_EQ(first.open(directory / "log"), "");
                  SystemLogSocket second(ignore);
                  EXPECT_EQ(second.open(directory / "log"), "somebody else receives there");
                }
                EXPECT_NE(access((directory / "log").c_str(), F_OK), 0);
                std::ofstream(directory / "file") << "text";
                SystemLogSocket third(ignore);
                EXPECT_EQ(third.open(directory / "file"), "somebody else receives there");
                EXPECT_EQ(third.open(directory / std::string(200, 'x')), "its path is too long");
                EXPECT_EQ(third.open(directory / "no/log"), "No such file or directory (error 2)");
                finish();
              }).empty());
}

TEST(SystemLogSocket, TakesPrioritiesAway) {
  EXPECT_EQ(manager::withoutPriority("<0>a"), "a");
  EXPECT_EQ(manager::withoutPriority("<191>"), "");
  for (const char* line : {"", "<", "<>a", "<1a", "<1234>a", "<-1>a", "a<1>"}) {
    EXPECT_EQ(manager::withoutPriority(line), line);
  }
}

}  // namespace
}  // namespace vanto::test
