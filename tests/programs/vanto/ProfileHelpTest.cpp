// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileHelp.h"

#include <gtest/gtest.h>

#include "programs/vanto/HelpTopics.h"

namespace vanto::tool {
namespace {

TEST(ProfileHelp, HasEachCommandAboutItsSubject) {
  EXPECT_EQ(commandsOf(profileHelp()),
            (std::vector<std::string>{"profile", "profile check", "profile explain", "profile diff", "profile show",
                                      "profile run", "profile learn"}));
}

TEST(ProfileHelp, ShowsHowEachCommandIsCalled) {
  for (const HelpTopic& topic : profileHelp()) EXPECT_TRUE(showsItsUsage(topic)) << topic.command;
}

}  // namespace
}  // namespace vanto::tool
