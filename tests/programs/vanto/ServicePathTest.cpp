// SPDX-License-Identifier: Apache-2.0
#include "vanto/ServicePath.h"

#include <filesystem>
#include <system_error>

#include <gtest/gtest.h>

namespace vanto::tool {
namespace {

TEST(ServicePath, HasAnExtensionBehindTheLastDotOfItsLastComponent) {
  EXPECT_EQ(ServicePath::extension("/a/b.vanto"), "vanto");
  EXPECT_EQ(ServicePath::extension("/a/b.vanto//"), "vanto");
  EXPECT_EQ(ServicePath::extension("/a.vanto/b"), "");
  EXPECT_EQ(ServicePath::extension("b.c.d"), "d");
  EXPECT_EQ(ServicePath::extension("/"), "");
  EXPECT_EQ(ServicePath::extension(""), "");
}

TEST(ServicePath, HasALastComponent) {
  EXPECT_EQ(ServicePath::name("/a/b.vanto/"), "b.vanto");
  EXPECT_EQ(ServicePath::name("b"), "b");
  EXPECT_EQ(ServicePath::name("/"), "/");
}

TEST(ServicePath, LosesSlashesAtItsEndButNotTheRoot) {
  EXPECT_EQ(ServicePath::trimmed("/a//"), "/a");
  EXPECT_EQ(ServicePath::trimmed("//"), "/");
  EXPECT_EQ(ServicePath::trimmed(""), "");
}

TEST(ServicePath, IsAbsoluteInOneWayOnly) {
  std::error_code error;
  const std::string here = std::filesystem::current_path();
  for (const char* path : {".", "./", ".//./"}) EXPECT_EQ(ServicePath::absolute(path, error), here) << path;
  for (const char* path : {"a/b", "./a//b/", "a/./b/."}) EXPECT_EQ(ServicePath::absolute(path, error), here + "/a/b");
  EXPECT_EQ(ServicePath::absolute("//a/../b", error), "/a/../b");
  EXPECT_EQ(ServicePath::absolute("/", error), "/");
  EXPECT_FALSE(error);
  EXPECT_EQ(ServicePath::absolute("", error), "");
  EXPECT_TRUE(error);
}

}  // namespace
}  // namespace vanto::tool
