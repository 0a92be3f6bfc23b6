// SPDX-License-Identifier: Apache-2.0
#include "tolvend/ServiceMark.h"

#include <string>

#include <gtest/gtest.h>
#include <unistd.h>

namespace vanto::manager {
namespace {

using namespace std::string_view_literals;

TEST(ServiceMark, IsTheProcessThatALinkWasHandedTo) {
  EXPECT_EQ(parseServiceMark("A=b\0LISTEN_FDNAMES=org.example.echo:.manager\0LISTEN_PID=77\0B=c"sv), 77);
  EXPECT_EQ(parseServiceMark("LISTEN_PID=77\0LISTEN_FDNAMES=org.example.echo:.manager\0"sv), 77);
}

TEST(ServiceMark, IsNotThereWithoutALinkOrANumber) {
  EXPECT_EQ(parseServiceMark(""), 0);
  EXPECT_EQ(parseServiceMark("LISTEN_FDNAMES=org.vanto.tolvend.user\0LISTEN_PID=77"sv), 0);
  EXPECT_EQ(parseServiceMark("LISTEN_FDNAMES=a:.manager\0LISTEN_PID=7x"sv), 0);
  EXPECT_EQ(parseServiceMark("LISTEN_FDNAMES=a:.manager\0LISTEN_PID=-7"sv), 0);
  EXPECT_EQ(parseServiceMark("LISTEN_FDNAMES=a:.manager\0XLISTEN_PID=7"sv), 0);
  EXPECT_EQ(readServiceMark(getpid()), 0);
}

}  // namespace
}  // namespace vanto::manager
