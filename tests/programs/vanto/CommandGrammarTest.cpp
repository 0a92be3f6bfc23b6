// SPDX-License-Identifier: Apache-2.0
#include "vanto/CommandGrammar.h"

#include <gtest/gtest.h>

#include "programs/vanto/CapturedConsole.h"

namespace vanto::tool {
namespace {

struct Count {
  int number = 0;
  [[nodiscard]] ExitStatus run(Console& console) const {
    console.print(std::to_string(number));
    return ExitStatus::Found;
  }
};

class Counting : public CommandGrammar {
 public:
  explicit Counting(Console& console) : CommandGrammar(console) {
    static const std::map<std::string, int> words{{"one", 1}, {"two", 2}};
    addChoice(*add(root(), "count", count_), "--to", words, [this](int number) { count_.number = number; });
  }

 private:
  Count count_;
};

std::string run(std::vector<const char*> arguments, ExitStatus expected) {
  testing::CapturedConsole captured;
  arguments.insert(arguments.begin(), "vanto");
  const auto status = Counting(captured.console()).run(static_cast<int>(arguments.size()), arguments.data());
  EXPECT_EQ(status, expected);
  return captured.output() + captured.messages();
}

TEST(CommandGrammar, RunsTheCommandWithItsOptions) {
  EXPECT_EQ(run({"count", "--to", "two"}, ExitStatus::Found), "2");
  EXPECT_EQ(run({"count"}, ExitStatus::Found), "0");
}

TEST(CommandGrammar, ComplainsOfWhatItDoesNotKnow) {
  EXPECT_EQ(run({"more"}, ExitStatus::Failed), "vanto: more: there is no such command; see vanto --help\n");
  EXPECT_TRUE(run({"count", "--to", "three"}, ExitStatus::Failed).ends_with("; see vanto --help\n"));
}

}  // namespace
}  // namespace vanto::tool
