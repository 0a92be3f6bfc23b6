// SPDX-License-Identifier: Apache-2.0
#include "learning/ProcessLink.h"

#include <gtest/gtest.h>

namespace vanto::learning {
namespace {

using Kind = ProcessLink::Kind;

TEST(ProcessLink, IsThatOfADescriptorOfOneself) {
  for (const char* path :
       {"/proc/self/fd/7/a/b", "/proc/thread-self/fd/7/a/b", "/dev/fd/7/a/b", "//proc//self//fd//7/a/b"}) {
    const auto link = ProcessLink::of(path);
    ASSERT_TRUE(link.has_value()) << path;
    EXPECT_EQ(link->kind, Kind::Descriptor);
    EXPECT_EQ(link->process, 0);
    EXPECT_EQ(link->descriptor, 7);
    EXPECT_EQ(link->rest, "/a/b");
  }
}

TEST(ProcessLink, IsThatOfAProcess) {
  const auto link = ProcessLink::of("/proc/12/fd/0");
  ASSERT_TRUE(link.has_value());
  EXPECT_EQ(link->process, 12);
  EXPECT_EQ(link->descriptor, 0);
  EXPECT_EQ(link->rest, "");
  EXPECT_EQ(ProcessLink::of("/proc/12/cwd/a")->kind, Kind::Directory);
  EXPECT_EQ(ProcessLink::of("/proc/self/root")->kind, Kind::Root);
}

TEST(ProcessLink, IsNoneElsewhere) {
  for (const char* path :
       {"", "/", "proc/self/fd", "/proc", "/proc/self", "/proc/self/fd", "/proc/self/fd/", "/proc/self/fd/x", "/dev/fd",
        "/proc/self/fd/-1", "/proc/self/fd/7x", "/proc/self/fd/99999999999999999999", "/proc/selfish/fd/7", "/dev/null",
        "/proc/self/maps", "/proc/1x/cwd", "/a/proc/self/fd/7", "/proc/self/cwd2"}) {
    EXPECT_FALSE(ProcessLink::of(path).has_value()) << path;
  }
}

}  // namespace
}  // namespace vanto::learning
