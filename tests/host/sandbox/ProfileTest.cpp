// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Profile.h"

#include <algorithm>
#include <array>
#include <fstream>

#include "host/sandbox/Compiled.h"
#include "sandbox/PolicyDifference.h"
#include "sandbox/PolicyText.h"
#include "support/SampleFiles.h"
#include "value/limits.h"

namespace {

using vanto::compileProfile;
using vanto::Policy;
using vanto::PolicyChange;
using vanto::ProfileParameters;
using vanto::ProfileResult;
using vanto::testing::compiled;
using vanto::testing::refusal;

constexpr std::string_view sample =
    "version 1\n"
    "include base\n"
    "# ours\n"
    "allow read \"${VantoService_path}/with blank\" ${VantoService_home}/a\n"
    "allow read,write,create /var/cache/${VantoService_identifier}\n"
    "allow connect tcp 443 8000-8003\n"
    "allow signal\n"
    "require read write\n";

ProfileParameters parameters(const std::string& identifier) {
  return {{"VantoService_identifier", identifier},
          {"VantoService_path", "/opt/app/s.vanto"},
          {"VantoService_home", "/home/u"}};
}

std::size_t grants(const vanto::Policy& policy) {
  std::size_t count = policy.others.size();
  for (const auto& rule : policy.paths) count += rule.grants.size();
  for (const auto& rule : policy.ports) count += rule.grants.size();
  return count;
}

TEST(Profile, IsAPolicyOrErrorsAtEachLength) {
  const std::size_t lines = static_cast<std::size_t>(std::ranges::count(sample, '\n'));
  for (std::size_t length = 0; length <= sample.size(); ++length) {
    const ProfileResult result = compileProfile(sample.substr(0, length), parameters("org.example.s"));
    EXPECT_NE(result.policy.has_value(), result.errors.count() != 0) << length;
    for (const auto& error : result.errors.kept()) {
      EXPECT_TRUE(error.position.line >= 1 && error.position.line <= lines) << length;
      EXPECT_TRUE(error.position.column >= 1 && error.position.column <= length + 1) << length;
    }
  }
}

TEST(Profile, NeverAllowsMoreWhenItIsCut) {
  const Policy whole = compiled(sample, parameters("s"));
  std::size_t taken = 0;
  for (std::size_t length = 0; length <= sample.size(); ++length) {
    const ProfileResult result = compileProfile(sample.substr(0, length), parameters("s"));
    if (!result.policy) continue;
    ++taken;
    for (const PolicyChange& change : vanto::differenceOf(whole, *result.policy)) {
      EXPECT_NE(change.kind, PolicyChange::Kind::Allowed) << length << " " << change.subject;
    }
  }
  // Nothing at all, and whole lines.
  EXPECT_EQ(taken, 1 + static_cast<std::size_t>(std::ranges::count(sample, '\n')));
}

TEST(Profile, HasTheSameGrantsWhateverItsParametersHold) {
  const std::size_t expected = grants(compiled(sample, parameters("org.example.s")));
  for (const std::string identifier : {"a b", "a\"b\" /c", "a\nallow network", "# a", "${VantoService_home}", "\\",
                                       "a/b", "\t", "\r\n", "\xff\xfe", "allow read /"}) {
    EXPECT_EQ(grants(compiled(sample, parameters(identifier))), expected) << identifier;
  }
}

TEST(Profile, RefusesParametersThatLeadElsewhere) {
  for (const std::string identifier : {"..", "a/..", "../a", "a/../b", ".", "", "/", "///"}) {
    EXPECT_TRUE(refusal(sample, parameters(identifier)).starts_with("p:5:")) << identifier;
  }
}

TEST(Profile, TakesTextUpToItsLimit) {
  std::string text = "allow read /a\n";
  text.resize(vanto::limits::profileBytes, '\n');
  EXPECT_EQ(vanto::textOf(compiled(text)), "version 1\nallow read /a\nnetwork none\n");
  const std::string problem =
      "p:1:1: the profile is larger than 1048576 bytes; name directories in place of what is in them";
  EXPECT_EQ(refusal(text + "\n"), problem);
  EXPECT_EQ(refusal(std::string(10U << 20, '\n')), problem);
}

TEST(Profile, TakesAsManyPathsAsTheLimitSays) {
  std::string text;
  for (std::size_t index = 0; index < vanto::limits::profileGrants; ++index) {
    text += "allow read /" + std::to_string(index) + "\n";
  }
  EXPECT_EQ(compiled(text).paths.size(), vanto::limits::profileGrants);
  EXPECT_EQ(refusal(text + "allow write /a"),
            "p:4097:13: more than 4096 paths and ports in all; name a directory in "
            "place of what is in it");
}

TEST(Profile, KeepsTheFirstOfManyErrors) {
  std::string text;
  for (int line = 0; line < 100'000; ++line) text += "x\n";
  const ProfileResult result = compileProfile(text, {});
  EXPECT_EQ(result.errors.kept().size(), vanto::limits::profileErrors);
  EXPECT_EQ(result.errors.count(), 100'000U);
  EXPECT_EQ(result.errors.summary("p"),
            "p:1:1: unknown statement \"x\"; write version, include, allow, network or require (and 99999 more)");
}

/// The fenced parts of the page about the language that do not say they are something else.
std::vector<std::string> profilesOfPage() {
  std::vector<std::string> profiles;
  std::ifstream page(VANTO_PROFILE_PAGE);
  bool isFenced = false;
  bool isProfile = false;
  for (std::string line; std::getline(page, line);) {
    if (line.starts_with("```")) {
      isProfile = !isFenced && line == "```";
      isFenced = !isFenced;
      if (isProfile) profiles.emplace_back();
    } else if (isProfile) {
      profiles.back() += line + "\n";
    }
  }
  EXPECT_FALSE(isFenced);
  return profiles;
}

TEST(Profile, TakesEachExampleOfItsPage) {
  const std::vector<std::string> profiles = profilesOfPage();
  EXPECT_GE(profiles.size(), 4U);
  for (const std::string& profile : profiles) {
    EXPECT_NE(grants(compiled(profile, parameters("org.example.s"))), 0U) << profile;
  }
}

bool compiles(const vanto::test::SampleFile& file) {
  const std::string text(file.content.begin(), file.content.end());
  return compileProfile(text, parameters("org.example.s")).policy.has_value();
}

TEST(Profile, TakesEverySampleToAcceptAndNoneToRefuse) {
  const auto accepted = vanto::test::sampleFiles(VANTO_PROFILE_SAMPLES, "accept-");
  const auto refused = vanto::test::sampleFiles(VANTO_PROFILE_SAMPLES, "refuse-");
  ASSERT_GT(accepted.size(), 10U);
  ASSERT_GT(refused.size(), 20U);
  for (const auto& file : accepted) EXPECT_TRUE(compiles(file)) << file.name;
  for (const auto& file : refused) EXPECT_FALSE(compiles(file)) << file.name;
}

TEST(Profile, SaysWhatToDoAboutEverySampleToRefuse) {
  for (const auto& file : vanto::test::sampleFiles(VANTO_PROFILE_SAMPLES, "refuse-")) {
    const std::string text(file.content.begin(), file.content.end());
    const ProfileResult result = compileProfile(text, parameters("org.example.s"));
    for (const auto& error : result.errors.kept()) {
      const std::size_t end = error.text.rfind("; ");
      const std::string remedy = end == std::string::npos ? "" : error.text.substr(end);
      const bool isOrder = std::ranges::any_of(
          std::array{"; write ", "; save ", "; end ", "; remove ", "; allow ", "; give ", "; name "},
          [&](const char* begin) { return remedy.starts_with(begin); });
      EXPECT_TRUE(isOrder) << file.name << " " << error.text;
    }
  }
}

}  // namespace
