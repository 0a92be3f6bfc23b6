// SPDX-License-Identifier: Apache-2.0
#include "sandbox/KernelProbe.h"

#include <cerrno>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>

#include "sandbox/Landlock.h"
#include "sandbox/Ruleset.h"
#include "support/Child.h"

namespace vanto::testing {
namespace {

TEST(KernelProbe, FindsWhatTheKernelTakes) {
  const std::optional<KernelRights> kernel = probeKernelRights();
  ASSERT_TRUE(kernel.has_value());
  for (std::uint64_t bit = 1; bit <= landlock::everyFileBit; bit <<= 1) {
    EXPECT_EQ(Ruleset().create(bit, 0, 0), (kernel->fileBits & bit) != 0) << bit;
  }
  EXPECT_EQ(kernel->fileBits & ~landlock::everyFileBit, 0U);
  EXPECT_EQ(kernel->networkBits & ~landlock::everyNetworkBit, 0U);
  EXPECT_EQ(kernel->scopeBits & ~landlock::everyScopeBit, 0U);
  EXPECT_TRUE(kernel->hasFilter);
}

TEST(KernelProbe, SaysThatNoRulesetIsRefusedWhereTheKernelHasLandlock) {
  EXPECT_EQ(errorOfLandlock() == 0, probeKernelRights()->fileBits != 0);
}

TEST(KernelProbe, DoesNotTakeAWantOfDescriptorsForAnOldKernel) {
  const ChildOutcome outcome = runInChild([](const ChildReport&) {
    std::vector<Fd> all;
    do all.emplace_back(open("/", O_PATH | O_CLOEXEC));
    while (all.back());
    const std::optional<KernelRights> kernel = probeKernelRights();
    const int error = errno;
    const int errorHere = errorOfLandlock();
    all.clear();
    EXPECT_FALSE(kernel.has_value());
    EXPECT_EQ(error, EMFILE);
    EXPECT_EQ(errorHere, EMFILE);
  });
  EXPECT_EQ(outcome.end, "exit status 0");
}

TEST(KernelProbe, LeavesTheProcessAsItIs) {
  ASSERT_TRUE(probeKernelRights().has_value());
  EXPECT_TRUE(Fd(open("/", O_RDONLY | O_DIRECTORY | O_CLOEXEC)));
}

}  // namespace
}  // namespace vanto::testing
