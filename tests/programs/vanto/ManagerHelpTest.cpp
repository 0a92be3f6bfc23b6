// SPDX-License-Identifier: Apache-2.0
#include "vanto/ManagerHelp.h"

#include <gtest/gtest.h>

#include "programs/vanto/HelpTopics.h"

namespace vanto::tool {
namespace {

TEST(ManagerHelp, HasEachCommandAboutItsSubject) {
  EXPECT_EQ(commandsOf(managerHelp()), (std::vector<std::string>{"units", "load", "unload", "start", "stop", "restart",
                                                                 "hold", "status", "logs", "why"}));
}

TEST(ManagerHelp, ShowsHowEachCommandIsCalled) {
  for (const HelpTopic& topic : managerHelp()) EXPECT_TRUE(showsItsUsage(topic)) << topic.command;
}

}  // namespace
}  // namespace vanto::tool
