// SPDX-License-Identifier: Apache-2.0
#include "process/ProcessInformation.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "value/Fd.h"

namespace vanto {
namespace {

TEST(ProcessInformation, IsThatOfTheProcessOfADescriptor) {
  const Fd own(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)));
  const auto information = informationOf(own.get());
  EXPECT_EQ(information.has_value(), hasProcessInformation());
  if (!information) return;
  EXPECT_EQ(information->pid, static_cast<std::uint32_t>(getpid()));
  EXPECT_EQ(information->realUser, getuid());
  EXPECT_EQ(information->realGroup, getgid());
}

TEST(ProcessInformation, IsNoneWithoutSuchADescriptor) {
  EXPECT_FALSE(informationOf(-1).has_value());
  EXPECT_FALSE(informationOf(STDIN_FILENO).has_value());
}

}  // namespace
}  // namespace vanto
