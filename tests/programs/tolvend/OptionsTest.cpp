// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Options.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>

namespace vanto::manager {
namespace {

ParsedOptions parse(std::vector<std::string> words) {
  words.insert(words.begin(), "tolvend");
  std::vector<char*> arguments;
  for (std::string& word : words) arguments.push_back(word.data());
  arguments.push_back(nullptr);
  return parseOptions(static_cast<int>(words.size()), arguments.data());
}

std::string wrong(const std::vector<std::string>& words) {
  const ParsedOptions parsed = parse(words);
  return parsed.wish == ParsedOptions::Wish::Wrong ? parsed.error : "right";
}

TEST(Options, HaveDefaults) {
  const ParsedOptions parsed = parse({});
  EXPECT_EQ(parsed.wish, ParsedOptions::Wish::Run);
  EXPECT_EQ(parsed.options.domain, Domain::User);
  EXPECT_EQ(parsed.options.proxy, "");
  EXPECT_EQ(parsed.options.idle, 30'000'000'000U);
  EXPECT_EQ(parsed.options.floor, ConfinementLevel::None);
}

TEST(Options, AreTaken) {
  const ParsedOptions parsed = parse({"--domain=session", "--proxy", "a/proxy", "--idle", "0", "--keep", "ONE",
                                      "--keep", "TWO", "--log-socket", "/log"});
  ASSERT_EQ(parsed.wish, ParsedOptions::Wish::Run) << parsed.error;
  EXPECT_EQ(parsed.options.domain, Domain::Session);
  char here[4096];
  EXPECT_EQ(parsed.options.proxy, std::string(getcwd(here, sizeof here)) + "/a/proxy");
  EXPECT_EQ(parsed.options.idle, 0U);
  EXPECT_EQ(parsed.options.keep, (std::vector<std::string>{"ONE", "TWO"}));
  EXPECT_EQ(parsed.options.logSocket, "/log");
  EXPECT_EQ(parse({"--floor", "full"}).options.floor, ConfinementLevel::Full);
  EXPECT_EQ(parse({"--floor", "reduced"}).options.floor, ConfinementLevel::Reduced);
  EXPECT_EQ(parse({"--floor", "full", "--floor", "none"}).options.floor, ConfinementLevel::None);
  const ParsedOptions system = parse({"--domain", "system", "--account", "root"});
  EXPECT_EQ(system.options.account, "root");
  const ParsedOptions ephemeral = parse({"--ephemeral", "/d", "--", "command", "--help"});
  EXPECT_EQ(ephemeral.options.command, (std::vector<std::string>{"command", "--help"}));
}

TEST(Options, AreRefusedWithAReason) {
  EXPECT_EQ(wrong({"--nonsense"}), "there is no option --nonsense");
  EXPECT_EQ(wrong({"-x"}), "there is no option -x");
  EXPECT_EQ(wrong({"--proxy"}), "--proxy needs a value");
  EXPECT_EQ(wrong({"--domain", "moon"}), "--domain must be session, user or system");
  for (const char* seconds : {"", "-1", "1.5", "5s", "99999999999999999999"}) {
    EXPECT_EQ(wrong({"--idle", seconds}), "--idle must be a whole number of seconds, 0 for never");
  }
  EXPECT_EQ(wrong({"--floor", "high"}), "--floor must be full, reduced or none");
  EXPECT_EQ(wrong({"--keep", "A=B"}), "--keep must be the name of one variable");
  EXPECT_EQ(wrong({"--keep", "A:B"}), "--keep must be the name of one variable");
  EXPECT_EQ(wrong({"--ephemeral", "/d"}), "--ephemeral needs a command after --");
  EXPECT_EQ(wrong({"command"}), "only --ephemeral takes a command");
  EXPECT_EQ(wrong({"--domain", "session", "--ephemeral", "/d", "--", "true"}), "--ephemeral is for the user's domain");
  EXPECT_TRUE(wrong({"--domain", "system"}).starts_with("--domain system needs --account USER"));
  EXPECT_EQ(wrong({"--account", "root"}), "--account is for --domain system");
}

TEST(Options, HelpAndVersionWin) {
  EXPECT_EQ(parse({"--help", "--nonsense"}).wish, ParsedOptions::Wish::Help);
  EXPECT_EQ(parse({"-h"}).wish, ParsedOptions::Wish::Help);
  EXPECT_EQ(parse({"--version"}).wish, ParsedOptions::Wish::Version);
  const std::string help = helpText();
  for (const char* option :
       {"--domain", "--proxy", "--idle", "--floor", "--keep", "--log-socket", "--account", "--ephemeral"}) {
    EXPECT_NE(help.find(option), std::string::npos) << option;
  }
}

}  // namespace
}  // namespace vanto::manager
