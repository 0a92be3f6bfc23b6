// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Ephemeral.h"

#include <fstream>

#include <sys/stat.h>

#include "programs/tolvend/EventChild.h"
#include "support/TemporaryDirectory.h"

namespace vanto::test {
namespace {

using manager::Ephemeral;

std::vector<std::string> statusOf(const std::vector<std::string>& command) {
  return runWithEvents([&](const auto& report, auto&) {
    static Ephemeral ephemeral;
    const std::string error = ephemeral.run(command, 0, [report](int status) {
      report(std::to_string(status));
      EXPECT_EQ(ephemeral.pid(), 0);
      finish();
    });
    if (error.empty()) return;
    report(error);
    finish();
  });
}

TEST(Ephemeral, TellsHowTheCommandEnded) {
  EXPECT_EQ(statusOf({"sh", "-c", "exit 7"}), std::vector<std::string>{"7"});
  EXPECT_EQ(statusOf({"sh", "-c", "kill -TERM $$"}), std::vector<std::string>{"143"});
  EXPECT_EQ(statusOf({"/nowhere/command"}),
            std::vector<std::string>{"/nowhere/command cannot be run: No such file or directory (error 2)"});
}

TEST(Ephemeral, RemovesWhatItMade) {
  const TemporaryDirectory place;
  const testing::ChildOutcome outcome = testing::runInChild([&](const testing::ChildReport& report) {
    Ephemeral ephemeral;
    ASSERT_EQ(ephemeral.prepare(place / "new"), "");
    report(getenv("XDG_RUNTIME_DIR"));
    struct stat facts;
    ASSERT_EQ(stat((place / "new/run").c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0700U);
    std::ofstream(place / "new/run/file") << "text";
    ephemeral.remove();
    EXPECT_NE(access((place / "new").c_str(), F_OK), 0);
    ASSERT_EQ(mkdir((place / "old").c_str(), 0700), 0);
    ASSERT_EQ(ephemeral.prepare(place / "old"), "");
    Ephemeral second;
    EXPECT_TRUE(second.prepare(place / "old").starts_with(place / "old/run" + " cannot be made"));
    second.remove();
    EXPECT_EQ(access((place / "old/run").c_str(), F_OK), 0);
    ephemeral.remove();
    EXPECT_EQ(access((place / "old").c_str(), F_OK), 0);
    EXPECT_NE(access((place / "old/run").c_str(), F_OK), 0);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
  EXPECT_EQ(outcome.lines, std::vector<std::string>{place / "new/run"});
}

}  // namespace
}  // namespace vanto::test
