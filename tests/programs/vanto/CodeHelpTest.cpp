// SPDX-License-Identifier: Apache-2.0
#include "vanto/CodeHelp.h"

#include <gtest/gtest.h>

#include "programs/vanto/HelpTopics.h"

namespace vanto::tool {
namespace {

TEST(CodeHelp, HasEachCommandAboutItsSubject) {
  EXPECT_EQ(commandsOf(codeHelp()),
            (std::vector<std::string>{"sign", "verify", "identify", "requirement", "requirement check", "key",
                                      "key new", "key public", "key succeed", "trust", "trust add", "trust list",
                                      "trust remove", "trust revoke"}));
}

TEST(CodeHelp, ShowsHowEachCommandIsCalled) {
  for (const HelpTopic& topic : codeHelp()) EXPECT_TRUE(showsItsUsage(topic)) << topic.command;
}

}  // namespace
}  // namespace vanto::tool
