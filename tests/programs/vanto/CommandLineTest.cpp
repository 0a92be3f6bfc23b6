// SPDX-License-Identifier: Apache-2.0
#include "vanto/CommandLine.h"

#include <gtest/gtest.h>

#include "programs/vanto/CapturedConsole.h"
#include "vanto/HelpText.h"

namespace vanto::tool {
namespace {

using testing::runTool;
using testing::ToolRun;
using Words = std::vector<std::string>;

TEST(CommandLine, PrintsHelpOfTheProgramAndOfEachCommand) {
  const std::pair<Words, const char*> asked[] = {{{"--help"}, "vanto"},
                                                 {{"-h"}, "vanto"},
                                                 {{"list", "--help"}, "list"},
                                                 {{"show", "-h"}, "show"},
                                                 {{"job", "--help"}, "job"},
                                                 {{"cache", "--help"}, "cache"},
                                                 {{"lint", "--help"}, "lint"},
                                                 {{"plist", "-h"}, "plist"},
                                                 {{"cache", "write", "-h"}, "cache write"},
                                                 {{"cache", "show", "-h"}, "cache show"},
                                                 {{"cache", "check", "--help"}, "cache check"},
                                                 {{"units", "--help"}, "units"},
                                                 {{"load", "--help"}, "load"},
                                                 {{"unload", "--help"}, "unload"},
                                                 {{"start", "-h"}, "start"},
                                                 {{"stop", "-h"}, "stop"},
                                                 {{"restart", "-h"}, "restart"},
                                                 {{"hold", "-h"}, "hold"},
                                                 {{"status", "--help"}, "status"},
                                                 {{"logs", "--help"}, "logs"},
                                                 {{"why", "--help"}, "why"},
                                                 {{"profile", "--help"}, "profile"},
                                                 {{"profile", "check", "-h"}, "profile check"},
                                                 {{"profile", "explain", "-h"}, "profile explain"},
                                                 {{"profile", "diff", "-h"}, "profile diff"},
                                                 {{"profile", "run", "-h"}, "profile run"},
                                                 {{"profile", "show", "-h"}, "profile show"}};
  for (const auto& [arguments, command] : asked) {
    const ToolRun run = runTool(arguments);
    EXPECT_EQ(run.status, ExitStatus::Fine) << command;
    EXPECT_EQ(run.output, helpText(command)) << command;
    EXPECT_EQ(run.messages, "");
  }
}

TEST(CommandLine, NamesACommandThatThereIsNot) {
  EXPECT_EQ(runTool({"lits", "x"}).messages, "vanto: lits: there is no such command; see vanto --help\n");
  EXPECT_EQ(runTool({"cache", "\x1b"}).messages, "vanto: \\x1b: there is no such command; see vanto --help\n");
  EXPECT_EQ(runTool({"list"}).messages, "vanto: PLACE is required; see vanto --help\n");
  EXPECT_EQ(runTool({"lits"}).status, ExitStatus::Failed);
}

TEST(CommandLine, PrintsTheVersion) {
  const ToolRun run = runTool({"--version"});
  EXPECT_EQ(run.status, ExitStatus::Fine);
  EXPECT_TRUE(run.output.starts_with("vanto 1.")) << run.output;
}

TEST(CommandLine, FailsForBadUsageWithTheWayToHelp) {
  for (const Words& arguments : {Words{},
                                 Words{"nonsense"},
                                 Words{"list"},
                                 Words{"list", "--nonsense", "x"},
                                 Words{"cache"},
                                 Words{"cache", "write"},
                                 Words{"job", "--format", "nonsense", "x"},
                                 Words{"plist", "a", "b"},
                                 Words{"plist", "--to"},
                                 Words{"show", "a", "--json", "--description"},
                                 Words{"show", "a", "b"},
                                 Words{"load"},
                                 Words{"start"},
                                 Words{"logs"},
                                 Words{"logs", "a", "b"},
                                 Words{"why"},
                                 Words{"units"},
                                 Words{"status", "--domain", "nonsense"},
                                 Words{"status", "--timeout", "0"},
                                 Words{"status", "--timeout", "-1"},
                                 Words{"status", "--timeout", "1s"},
                                 Words{"status", "--timeout", "99999999999999999999"},
                                 Words{"logs", "-n", "-1", "a"},
                                 Words{"logs", "-n", "x", "a"}}) {
    const ToolRun run = runTool(arguments);
    EXPECT_EQ(run.status, ExitStatus::Failed);
    EXPECT_TRUE(run.messages.starts_with("vanto: ")) << run.messages;
    EXPECT_TRUE(run.messages.ends_with("; see vanto --help\n")) << run.messages;
    EXPECT_EQ(run.output, "");
  }
}

TEST(CommandLine, CannotInjectControlCharacters) {
  for (const Words& arguments :
       {Words{"\x1b[31m"}, Words{"list", "--\u009b"}, Words{"plist", "--to", "\x1b]0;x\x07"}}) {
    const ToolRun run = runTool(arguments);
    EXPECT_EQ(run.status, ExitStatus::Failed);
    for (const char c : run.messages) EXPECT_TRUE(c == '\n' || (c >= ' ' && c <= '~')) << run.messages;
  }
}

TEST(CommandLine, TakesFilesBehindTwoDashes) {
  EXPECT_EQ(runTool({"list", "--", "--none"}).messages, "vanto: --none: cannot be listed: No such file or directory\n");
}

}  // namespace
}  // namespace vanto::tool
