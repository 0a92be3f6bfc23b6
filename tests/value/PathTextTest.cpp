// SPDX-License-Identifier: Apache-2.0
#include "value/PathText.h"

#include <string_view>

#include <gtest/gtest.h>

namespace {

using vanto::PathText;

TEST(PathText, TakesThePathApart) {
  struct {
    std::string_view path;
    std::string_view lastComponent;
    std::string_view parent;
    std::string_view extension;
  } const rows[] = {
      {"/a/b", "b", "/a", ""},
      {"/a/b/", "b", "/a", ""},
      {"/a//b", "b", "/a", ""},
      {"/a", "a", "/", ""},
      {"//a", "a", "/", ""},
      {"a", "a", "", ""},
      {"a/b", "b", "a", ""},
      {"/", "", "/", ""},
      {"//", "", "/", ""},
      {"", "", "", ""},
      {"/a/Echo.vanto", "Echo.vanto", "/a", "vanto"},
      {"/a/Echo.vanto//", "Echo.vanto", "/a", "vanto"},
      {"Echo.tar.vanto", "Echo.tar.vanto", "", "vanto"},
      {".vanto", ".vanto", "", "vanto"},
      {"Echo.", "Echo.", "", ""},
      {"/a.b/c", "c", "/a.b", ""},
      {"a/..", "..", "a", ""},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(PathText::lastComponent(row.path), row.lastComponent) << row.path;
    EXPECT_EQ(PathText::parent(row.path), row.parent) << row.path;
    EXPECT_EQ(PathText::extension(row.path), row.extension) << row.path;
  }
}

TEST(PathText, TrimsSlashes) {
  EXPECT_EQ(PathText::withoutSlashesAtEnd("/a//"), "/a");
  EXPECT_EQ(PathText::withoutSlashesAtEnd("//"), "");
  EXPECT_EQ(PathText::withoutSlashesAtEnd(""), "");
  EXPECT_EQ(PathText::withoutSlashesAtStart("//a/"), "a/");
  EXPECT_EQ(PathText::withoutSlashesAtStart("//"), "");
  EXPECT_EQ(PathText::withoutSlashesAtStart(""), "");
}

TEST(PathText, StandardizesPathsByTextAlone) {
  struct {
    std::string_view path;
    std::string_view standardized;
  } const rows[] = {
      {"/", "/"},
      {"///", "/"},
      {"/a/b", "/a/b"},
      {"/a//b/", "/a/b"},
      {"/a/./b/.", "/a/b"},
      {"/a/../b", "/b"},
      {"/a/..", "/"},
      {"/..", "/"},
      {"/../a", "/a"},
      {"/a/../../../b", "/b"},
      {"a/../b", "b"},
      {"a/..", "."},
      {".", "."},
      {"./a", "a"},
      {"..", ".."},
      {"../../a", "../../a"},
      {"../a/..", ".."},
      {"../..", "../.."},
      {"a/../..", ".."},
      {"/a/...", "/a/..."},
      {"/.a/..b", "/.a/..b"},
      {"a/b/../../c", "c"},
  };
  for (const auto& row : rows) EXPECT_EQ(PathText::standardized(row.path), row.standardized) << row.path;
}

}  // namespace
