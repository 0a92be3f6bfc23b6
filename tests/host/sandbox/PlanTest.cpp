// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Plan.h"

#include <array>

#include "host/sandbox/Compiled.h"
#include "sandbox/Landlock.h"

namespace {

using vanto::KernelRights;
using vanto::kernelRightsOf;
using vanto::Machine;
using vanto::Plan;
using vanto::planOf;
using vanto::Policy;
using vanto::Right;
using vanto::RightRemark;
using vanto::testing::compiled;

std::string names(const std::vector<RightRemark>& remarks) {
  std::string text;
  for (const RightRemark& remark : remarks)
    text += (text.empty() ? "" : " ") + std::string(vanto::nameOf(remark.right));
  return text;
}

Plan plan(std::string_view profile, int generation) {
  return planOf(compiled(profile), kernelRightsOf(generation), Machine::X86_64);
}

/// "PATH BITS" for each rule, with the bits in hexadecimal.
std::string paths(const Plan& plan) {
  std::string text;
  for (const auto& rule : plan.paths) {
    std::array<char, 32> bits{};
    std::snprintf(bits.data(), bits.size(), " %llx\n", static_cast<unsigned long long>(rule.bits));
    text += rule.path + bits.data();
  }
  return text;
}

TEST(Plan, NamesWhatEachKernelLeavesOpen) {
  constexpr const char* everyRight =
      "read write create remove truncate rename execute ioctl socket bind connect network abstract signal processes "
      "system";
  struct Row {
    int generation;
    const char* withoutNetwork;
    const char* withTcp;
  };
  for (const Row& row : {
           Row{0, everyRight, everyRight},
           Row{1, "truncate ioctl socket abstract signal", "truncate ioctl socket bind connect abstract signal"},
           Row{2, "truncate ioctl socket abstract signal", "truncate ioctl socket bind connect abstract signal"},
           Row{3, "ioctl socket abstract signal", "ioctl socket bind connect abstract signal"},
           Row{4, "ioctl socket abstract signal", "ioctl socket abstract signal"},
           Row{5, "socket abstract signal", "socket abstract signal"},
           Row{6, "socket", "socket"},
           Row{7, "socket", "socket"},
           Row{8, "socket", "socket"},
           Row{9, "", ""},
       }) {
    EXPECT_EQ(names(plan("", row.generation).missing), row.withoutNetwork) << row.generation;
    EXPECT_EQ(names(plan("allow bind tcp 1", row.generation).missing), row.withTcp) << row.generation;
  }
}

TEST(Plan, NamesWhatIsOpenWithoutAFilter) {
  KernelRights kernel = kernelRightsOf(9);
  kernel.hasFilter = false;
  const Plan without = planOf(compiled(""), kernel, Machine::X86_64);
  EXPECT_EQ(names(without.missing), "connect network processes system");
  EXPECT_TRUE(without.filter.empty());
  const Plan elsewhere = planOf(compiled(""), kernelRightsOf(9), std::nullopt);
  EXPECT_EQ(names(elsewhere.missing), "connect network processes system");
  EXPECT_TRUE(elsewhere.filter.empty());
  EXPECT_EQ(elsewhere.missing[0].reason, "system calls cannot be filtered here");
}

TEST(Plan, SaysWhyARightIsMissing) {
  EXPECT_EQ(plan("", 2).missing[0].reason, "this kernel cannot deny it; Linux 6.2 is the first that can");
  EXPECT_EQ(plan("", 0).missing[0].reason, "this kernel has no Landlock, or it is switched off");
}

TEST(Plan, AsksOnlyForWhatIsDenied) {
  const char* everything =
      "allow read,write,create,remove,rename,execute,ioctl,socket /\nallow network\nallow abstract\nallow signal\n"
      "allow processes\nrequire all\n";
  const Plan open = plan(everything, 1);
  EXPECT_EQ(open.asked, vanto::RightSet(Right::System));
  EXPECT_TRUE(open.missing.empty());
  EXPECT_TRUE(open.unmet.empty());
  EXPECT_EQ(open.networkBits, 0U);
  EXPECT_EQ(open.scopeBits, 0U);
  EXPECT_FALSE(plan("allow read /a", 1).asked.without(Right::Read) == plan("allow read /a", 1).asked);
}

TEST(Plan, IsAboutEachBitThatTheKernelKnows) {
  for (int generation = 1; generation <= 9; ++generation) {
    const KernelRights kernel = kernelRightsOf(generation);
    const Plan made = plan("", generation);
    EXPECT_EQ(made.fileBits, kernel.fileBits);
    EXPECT_EQ(made.networkBits, kernel.networkBits);
    EXPECT_EQ(made.scopeBits, kernel.scopeBits);
    EXPECT_FALSE(made.isEmpty());
  }
  EXPECT_TRUE(planOf(Policy(), {}, Machine::X86_64).isEmpty());
  const Plan withoutLandlock = plan("allow bind tcp 1\nallow read /a\n", 0);
  EXPECT_TRUE(withoutLandlock.isEmpty());
  EXPECT_TRUE(withoutLandlock.filter.empty());
  EXPECT_TRUE(withoutLandlock.paths.empty());
  EXPECT_EQ(plan("allow signal", 9).scopeBits, vanto::landlock::scopeAbstract);
}

TEST(Plan, IgnoresBitsThatItHasNoWordFor) {
  KernelRights kernel{~0ULL, ~0ULL, ~0ULL, true};
  const Plan made = planOf(compiled(""), kernel, Machine::X86_64);
  EXPECT_EQ(made.fileBits, vanto::landlock::everyFileBit);
  EXPECT_EQ(made.networkBits, vanto::landlock::everyNetworkBit);
  EXPECT_EQ(made.scopeBits, vanto::landlock::everyScopeBit);
}

TEST(Plan, GivesEachPathTheBitsOfItsRights) {
  const char* profile =
      "allow read /1\nallow write /2\nallow create /3\nallow remove /4\nallow truncate /5\nallow rename /6\n"
      "allow execute /7\nallow ioctl /8\nallow socket /9\n";
  EXPECT_EQ(paths(plan(profile, 9)), "/1 c\n/2 4002\n/3 1780\n/4 30\n/5 4000\n/6 2000\n/7 1\n/8 8000\n/9 10000\n");
  // Where a bit is unknown there is nothing to allow, but the path is looked at.
  EXPECT_EQ(paths(plan(profile, 1)), "/1 c\n/2 2\n/3 1780\n/4 30\n/5 0\n/6 0\n/7 1\n/8 0\n/9 0\n");
  EXPECT_EQ(paths(plan("include base", 1)).find("/dev/log"), std::string::npos);
}

TEST(Plan, NeverAllowsDevicesToBeMade) {
  const Plan made = plan("allow read,write,create,remove,rename,execute,ioctl,socket /", 9);
  const std::uint64_t devices = vanto::landlock::makeCharacterDevice | vanto::landlock::makeBlockDevice;
  EXPECT_EQ(made.fileBits & devices, devices);
  EXPECT_EQ(made.paths[0].bits, vanto::landlock::everyFileBit & ~devices);
}

TEST(Plan, AddsWhatThePlatformNeeds) {
  const std::vector<vanto::PlannedPath> own{
      {"/dev/log", vanto::landlock::resolveUnix}, {"/a", vanto::bitsOf(Right::Read).fileBits}, {"/", 1}};
  const Plan made = planOf(compiled("allow create /a"), kernelRightsOf(9), Machine::X86_64, own);
  EXPECT_EQ(paths(made), "/ 1\n/a 178c\n/dev/log 10000\n");
  EXPECT_TRUE(made.asked.contains(Right::Execute));
}

TEST(Plan, TellsThePathsThatTheProfileItselfNames) {
  const std::vector<vanto::PlannedPath> own{{"/own", vanto::landlock::readFile}};
  const Plan made =
      planOf(compiled("include base\nallow read /a /etc/passwd\n"), kernelRightsOf(7), Machine::X86_64, own);
  std::string named;
  for (const auto& path : made.paths) named += path.isOfProfile ? path.path + " " : "";
  EXPECT_EQ(named, "/a /etc/passwd ");
}

TEST(Plan, GivesPortsTheirBits) {
  const Plan made = plan("allow connect tcp 443 80\nallow bind tcp 443\n", 4);
  ASSERT_EQ(made.ports.size(), 2U);
  EXPECT_EQ(made.ports[0].port, 80);
  EXPECT_EQ(made.ports[0].bits, vanto::landlock::connectTcp);
  EXPECT_EQ(made.ports[0].line, 1U);
  EXPECT_EQ(made.ports[1].bits, vanto::landlock::everyNetworkBit);
  EXPECT_TRUE(plan("allow connect tcp 443", 3).ports.empty());
  EXPECT_TRUE(plan("allow connect tcp 443\nallow network", 9).ports.empty());
}

TEST(Plan, RefusesWhatIsRequiredAndMissing) {
  EXPECT_EQ(names(plan("require read truncate socket", 2).unmet), "truncate socket");
  EXPECT_EQ(names(plan("require read truncate socket", 9).unmet), "");
  EXPECT_EQ(names(plan("require all", 7).unmet), "socket");
  EXPECT_EQ(names(plan("require all\nallow socket /", 7).unmet), "");
  EXPECT_EQ(names(plan("require execute network", 0).unmet), "execute network");
}

TEST(Plan, NamesWhatIsAllowedAndRefusedNonetheless) {
  EXPECT_EQ(names(plan("allow rename /a", 1).withheld), "rename");
  EXPECT_EQ(names(plan("allow rename /a", 2).withheld), "");
  EXPECT_EQ(names(plan("allow rename /a", 0).withheld), "");
  EXPECT_EQ(names(plan("", 1).withheld), "");
}

TEST(Plan, IsTheSameForTheSamePolicy) {
  const char* one = "allow read /b /a\nallow write /a\n";
  const char* other = "allow write /a\nallow read /a\nallow read /b\n";
  EXPECT_EQ(paths(plan(one, 9)), paths(plan(other, 9)));
}

}  // namespace
