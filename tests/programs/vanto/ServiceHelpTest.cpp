// SPDX-License-Identifier: Apache-2.0
#include "vanto/ServiceHelp.h"

#include <gtest/gtest.h>

#include "programs/vanto/HelpTopics.h"

namespace vanto::tool {
namespace {

TEST(ServiceHelp, HasEachCommandAboutItsSubject) {
  EXPECT_EQ(commandsOf(serviceHelp()), (std::vector<std::string>{"list", "show", "job", "cache", "cache write",
                                                                 "cache show", "cache check", "lint", "plist"}));
}

TEST(ServiceHelp, ShowsHowEachCommandIsCalled) {
  for (const HelpTopic& topic : serviceHelp()) EXPECT_TRUE(showsItsUsage(topic)) << topic.command;
}

}  // namespace
}  // namespace vanto::tool
