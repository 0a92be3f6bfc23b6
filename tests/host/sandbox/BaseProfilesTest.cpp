// SPDX-License-Identifier: Apache-2.0
#include "sandbox/BaseProfiles.h"

#include <algorithm>

#include "host/sandbox/Compiled.h"
#include "sandbox/PolicyExplanation.h"

namespace {

using vanto::BaseProfile;
using vanto::Policy;
using vanto::Right;
using vanto::testing::compiled;

TEST(BaseProfiles, AreFoundByName) {
  EXPECT_EQ(vanto::baseProfiles().size(), 3U);
  for (const BaseProfile& profile : vanto::baseProfiles()) EXPECT_EQ(vanto::baseProfileNamed(profile.name), &profile);
  EXPECT_EQ(vanto::baseProfileNamed("bas"), nullptr);
  EXPECT_EQ(vanto::baseProfileNamed(""), nullptr);
  EXPECT_TRUE(std::ranges::is_sorted(vanto::baseProfiles(), {}, &BaseProfile::name));
}

TEST(BaseProfiles, AreProfilesWithoutIncludesAndRequirements) {
  for (const BaseProfile& profile : vanto::baseProfiles()) {
    EXPECT_EQ(profile.text.find("include"), std::string_view::npos) << profile.name;
    const Policy policy = compiled(profile.text);
    EXPECT_FALSE(policy.paths.empty()) << profile.name;
    EXPECT_TRUE(policy.required.isEmpty()) << profile.name;
  }
}

TEST(BaseProfiles, LeaveTheNetworkAndOtherProcessesToTheProfile) {
  const Policy policy = compiled("include base\ninclude temporary\ninclude network-client\n");
  EXPECT_EQ(policy.network, vanto::NetworkMode::None);
  EXPECT_TRUE(policy.others.empty());
  EXPECT_FALSE(policy.allowsAny(Right::Execute));
}

TEST(BaseProfiles, GiveNothingOfTheUsersFiles) {
  const Policy policy = compiled("include base\ninclude temporary\ninclude network-client\n");
  for (const char* path : {"/home/u/a", "/root", "/etc/shadow", "/run/user/1000/bus", "/var/lib/a", "/srv", "/",
                           "/proc/1/environ", "/dev/sda", "/dev/tty", "/etc/ssl/private/key.pem"}) {
    for (const Right right : {Right::Read, Right::Write, Right::Create, Right::Socket}) {
      EXPECT_TRUE(vanto::explainPath(policy, right, path).empty()) << path;
    }
  }
}

TEST(BaseProfiles, GiveWhatAProgramNeedsToStart) {
  const Policy policy = compiled("include base");
  for (const char* path : {"/usr/lib/x86_64-linux-gnu/libstdc++.so.6", "/etc/localtime", "/usr/share/zoneinfo/UTC",
                           "/usr/lib/locale/locale-archive", "/etc/passwd", "/dev/urandom", "/proc/self/maps"}) {
    EXPECT_FALSE(vanto::explainPath(policy, Right::Read, path).empty()) << path;
    EXPECT_TRUE(vanto::explainPath(policy, Right::Write, path).empty()) << path;
  }
  EXPECT_FALSE(vanto::explainPath(policy, Right::Write, "/dev/null").empty());
  EXPECT_FALSE(vanto::explainPath(policy, Right::Socket, "/dev/log").empty());
}

}  // namespace
