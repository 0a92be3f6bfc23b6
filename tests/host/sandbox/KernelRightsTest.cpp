// SPDX-License-Identifier: Apache-2.0
#include "sandbox/KernelRights.h"

#include <gtest/gtest.h>

#include "sandbox/Landlock.h"

namespace {

using vanto::KernelRights;
using vanto::kernelRightsOf;
using vanto::Right;

TEST(KernelRights, GrowWithTheGenerations) {
  struct Row {
    int generation;
    std::uint64_t fileBits;
    std::uint64_t networkBits;
    std::uint64_t scopeBits;
  };
  for (const Row& row : {Row{0, 0, 0, 0}, Row{1, 0x1fff, 0, 0}, Row{2, 0x3fff, 0, 0}, Row{3, 0x7fff, 0, 0},
                         Row{4, 0x7fff, 3, 0}, Row{5, 0xffff, 3, 0}, Row{6, 0xffff, 3, 3}, Row{7, 0xffff, 3, 3},
                         Row{8, 0xffff, 3, 3}, Row{9, 0x1ffff, 3, 3}, Row{10, 0x1ffff, 3, 3}}) {
    const KernelRights kernel = kernelRightsOf(row.generation);
    EXPECT_EQ(kernel.fileBits, row.fileBits) << row.generation;
    EXPECT_EQ(kernel.networkBits, row.networkBits) << row.generation;
    EXPECT_EQ(kernel.scopeBits, row.scopeBits) << row.generation;
    EXPECT_TRUE(kernel.hasFilter);
  }
}

TEST(KernelRights, AreAllBelongingToRights) {
  vanto::RightBits all;
  for (const Right right : vanto::allRights) {
    const vanto::RightBits bits = vanto::bitsOf(right);
    EXPECT_EQ(all.fileBits & bits.fileBits, 0U) << vanto::nameOf(right);
    all.fileBits |= bits.fileBits;
    all.networkBits |= bits.networkBits;
    all.scopeBits |= bits.scopeBits;
  }
  EXPECT_EQ(all.fileBits, vanto::landlock::everyFileBit);
  EXPECT_EQ(all.networkBits, vanto::landlock::everyNetworkBit);
  EXPECT_EQ(all.scopeBits, vanto::landlock::everyScopeBit);
}

TEST(KernelRights, NameTheFirstLinuxThatHasThem) {
  EXPECT_EQ(vanto::firstLinuxOf(Right::Read), "5.13");
  EXPECT_EQ(vanto::firstLinuxOf(Right::Create), "5.13");
  EXPECT_EQ(vanto::firstLinuxOf(Right::Rename), "5.19");
  EXPECT_EQ(vanto::firstLinuxOf(Right::Truncate), "6.2");
  EXPECT_EQ(vanto::firstLinuxOf(Right::Bind), "6.7");
  EXPECT_EQ(vanto::firstLinuxOf(Right::Ioctl), "6.10");
  EXPECT_EQ(vanto::firstLinuxOf(Right::Signal), "6.12");
  EXPECT_EQ(vanto::firstLinuxOf(Right::Socket), "7.1");
  EXPECT_EQ(vanto::firstLinuxOf(Right::Processes), "");
}

}  // namespace
