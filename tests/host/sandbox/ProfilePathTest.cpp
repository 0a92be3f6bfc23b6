// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ProfilePath.h"

#include <gtest/gtest.h>

#include "host/sandbox/Compiled.h"
#include "sandbox/ProfileScanner.h"
#include "value/limits.h"

namespace {

using vanto::ProfileErrors;
using vanto::ProfileParameters;

/// The path of the one word in `text`, or what is wrong with it.
std::string path(std::string_view text, const ProfileParameters& parameters = {}) {
  ProfileErrors errors;
  const std::string line = vanto::testing::ended(text);
  const auto words = vanto::ProfileScanner(line, errors).nextStatement();
  EXPECT_TRUE(words && words->size() == 1) << text;
  if (!words) return {};
  const std::string result = vanto::pathOf(words->front(), parameters, errors);
  EXPECT_EQ(result.empty(), errors.count() == 1) << text;
  return result.empty() ? errors.summary("p") : result;
}

TEST(ProfilePath, CleansSlashes) {
  EXPECT_EQ(path("/"), "/");
  EXPECT_EQ(path("///"), "/");
  EXPECT_EQ(path("/a"), "/a");
  EXPECT_EQ(path("//a///b/"), "/a/b");
  EXPECT_EQ(path("/.a/b../..."), "/.a/b../...");
}

TEST(ProfilePath, IsAbsoluteAndWithoutDots) {
  EXPECT_EQ(path("a/b"), "p:1:1: the path \"a/b\" is relative; write an absolute path");
  EXPECT_EQ(path("\"\""), "p:1:1: an empty path; write an absolute path");
  EXPECT_EQ(path("~/a"), "p:1:1: the path \"~/a\" is relative; write an absolute path");
  EXPECT_EQ(path("/a/../b"), "p:1:1: the path has the component \"..\"; write the path without it");
  EXPECT_EQ(path("/.."), "p:1:1: the path has the component \"..\"; write the path without it");
  EXPECT_EQ(path("/a/."), "p:1:1: the path has the component \".\"; write the path without it");
  EXPECT_EQ(path("\"/a\\x00\""), "p:1:1: the path contains NUL, as no path does; write it without");
}

TEST(ProfilePath, TakesTheValuesOfParameters) {
  EXPECT_EQ(path("${A}", {{"A", "/a"}}), "/a");
  EXPECT_EQ(path("${A}/${B}/c", {{"A", "/a/"}, {"B", "b"}}), "/a/b/c");
  EXPECT_EQ(path("/x${B}${B}y", {{"B", "b"}}), "/xbby");
}

TEST(ProfilePath, TakesValuesLiterally) {
  for (const std::string value : {"a b", "a\"b", "a\nallow read /b", "${B}", "\\n", "#a", "\xff", "a\tb", "*"}) {
    EXPECT_EQ(path("/x/${A}", {{"A", value}, {"B", "b"}}), "/x/" + value);
    EXPECT_EQ(path("\"/x/${A}\"", {{"A", value}, {"B", "b"}}), "/x/" + value);
  }
}

TEST(ProfilePath, IsNeverWidenedByAParameter) {
  EXPECT_EQ(path("/x/${A}", {{"A", ""}}),
            "p:1:4: the parameter A is empty, so the path would mean another directory; give it a value");
  EXPECT_EQ(path("${A}/x", {{"A", ""}}),
            "p:1:1: the parameter A is empty, so the path would mean another directory; give it a value");
  EXPECT_EQ(path("/x/${A}", {{"A", "//"}}),
            "p:1:4: the parameter A is \"//\", so the path would mean another directory; give it a value with more "
            "than slashes");
  EXPECT_EQ(path("/x/${A}", {{"A", ".."}}), "p:1:1: the path has the component \"..\"; write the path without it");
  EXPECT_EQ(path("/x/.${A}", {{"A", "."}}), "p:1:1: the path has the component \"..\"; write the path without it");
  EXPECT_EQ(path("/x/${A}", {{"A", "a/../../b"}}),
            "p:1:1: the path has the component \"..\"; write the path without it");
  EXPECT_EQ(path("/x/${A}", {{"A", "."}}), "p:1:1: the path has the component \".\"; write the path without it");
  EXPECT_EQ(path("/x/${A}", {{"A", std::string("a\0b", 3)}}),
            "p:1:1: the path contains NUL, as no path does; write it without");
  EXPECT_EQ(path("${A}", {{"A", "/"}}),
            "p:1:1: with its parameters the path is the root directory; write / where that is meant");
  EXPECT_EQ(path("${A}/x", {{"A", "/"}}), "/x");
  EXPECT_EQ(path("${A}", {{"A", "a"}}), "p:1:1: the path \"a\" is relative; write an absolute path");
}

TEST(ProfilePath, NamesTheParametersThatAreKnown) {
  EXPECT_EQ(path("/x${C}", {{"A", "a"}, {"B", "b"}}), "p:1:3: unknown parameter \"C\"; write one of A, B");
  EXPECT_EQ(path("/x${C}"), "p:1:3: unknown parameter \"C\"; write the path itself, as no parameter is known here");
}

TEST(ProfilePath, TakesAPathUpToTheLimit) {
  const std::string longest = "/" + std::string(vanto::limits::profilePathBytes - 1, 'a');
  const std::string problem =
      "p:1:1: the path is longer than 4095 bytes, so it could not be opened; allow a directory that it is in, or make "
      "its parameters shorter";
  EXPECT_EQ(path(longest), longest);
  EXPECT_EQ(path(longest + "a"), problem);
  EXPECT_EQ(path("/${A}", {{"A", longest.substr(1)}}), longest);
  EXPECT_EQ(path("/a${A}", {{"A", longest.substr(1)}}), problem);
  EXPECT_EQ(path("${A}${A}${A}", {{"A", "/" + std::string(10U << 20, 'a')}}), problem);
}

}  // namespace
