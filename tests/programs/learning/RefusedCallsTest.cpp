// SPDX-License-Identifier: Apache-2.0
#include "learning/RefusedCalls.h"

#include <algorithm>

#include "programs/learning/Traced.h"

namespace vanto::learning {
namespace {

using testing::observed;
using Paths = std::set<std::string>;

TEST(RefusedCalls, AreThoseOfTheFilter) {
  const auto has = [](std::string_view name) {
    return std::ranges::any_of(refusedCalls(), [&](const CallReader& reader) { return reader.name == name; });
  };
  for (const char* name : {"ptrace", "mount", "bpf", "io_uring_setup", "process_vm_readv"})
    EXPECT_TRUE(has(name)) << name;
  for (const char* name : {"clone3", "execve", "fork", "socket", "getpid"}) EXPECT_FALSE(has(name)) << name;
}

TEST(RefusedCalls, AreRemarkedWhenTheyHaveSucceeded) {
  EXPECT_EQ(observed({"5 ptrace(0, 0, 0, 0) = 0"}).remarks, Paths{"ptrace was used, which no profile allows"});
  EXPECT_TRUE(observed({"5 ptrace(0, 0, 0, 0) = -1 EPERM (Operation not permitted)"}).remarks.empty());
  EXPECT_TRUE(observed({"5 personality(0xffffffff) = 0"}).remarks.empty());
  EXPECT_EQ(observed({"5 personality(0x40000) = 0"}).remarks.size(), 1U);
  EXPECT_EQ(observed({"5 memfd_create(\"x\", 0x1) = 3</memfd:x>(deleted)"}).remarks.size(), 1U);
  EXPECT_TRUE(observed({"5 memfd_create(\"x\", 0x9) = 3</memfd:x>(deleted)"}).remarks.empty());
  EXPECT_EQ(observed({"5 ioctl(0</dev/tty<char 5:0>>, 0x5412, 0x7f) = 0"}).remarks.size(), 1U);
}

TEST(RefusedCalls, AllowDeviceControlsOfDevicesThatTheRunOpened) {
  constexpr const char* open = "5 openat(-100</w>, \"/dev/tty\", 0x2) = 3</dev/tty<char 5:0>>";
  constexpr const char* control = "5 ioctl(3</dev/tty<char 5:0>>, 0x5401, 0x7f) = 0";
  EXPECT_TRUE(observed({open, control}).used.at("/dev/tty").contains(Right::Ioctl));
  EXPECT_TRUE(observed({control}).used.empty());
  EXPECT_FALSE(
      observed({open, "5 ioctl(3</dev/tty<char 5:0>>, 0x5451) = 0"}).used.at("/dev/tty").contains(Right::Ioctl));
}

}  // namespace
}  // namespace vanto::learning
