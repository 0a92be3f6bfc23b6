// SPDX-License-Identifier: Apache-2.0
#include "vanto/CodeProgram.h"

#include <gtest/gtest.h>

#include "programs/vanto/CapturedConsole.h"
#include "support/Child.h"

namespace vanto::tool {
namespace {

TEST(CodeProgram, IsForTheCommandsAboutCode) {
  for (const char* command : {"key", "sign", "verify", "trust", "identify"}) EXPECT_TRUE(isCodeCommand(command));
  for (const char* command : {"list", "", "--help", "signs", "key "}) EXPECT_FALSE(isCodeCommand(command)) << command;
}

TEST(CodeProgram, IsExecutedFromThePlaceOfTheRunningProgram) {
  const auto outcome = testing::runInChild([](const testing::ChildReport& report) {
    testing::CapturedConsole captured;
    char name[] = "sh";
    char option[] = "-c";
    char script[] = "exit 7";
    char* arguments[] = {name, option, script, nullptr};
    executeCodeProgram("no-such-program", arguments, captured.console());
    report(captured.messages().ends_with("/no-such-program: cannot be executed: No such file or directory\n") ? "told"
                                                                                                              : "");
    executeCodeProgram("../../../../../../../../../../../../bin/sh", arguments, captured.console());
  });
  EXPECT_EQ(outcome.lines, std::vector<std::string>{"told"});
  EXPECT_EQ(outcome.end, "exit status 7");
}

}  // namespace
}  // namespace vanto::tool
