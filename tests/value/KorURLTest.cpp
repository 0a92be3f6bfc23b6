// SPDX-License-Identifier: Apache-2.0
#include <VantoService/KorURL.h>

#include <string_view>

#include <gtest/gtest.h>

#include <VantoService/KorFunctions.h>

#include "support/Values.h"

namespace {

using namespace std::string_view_literals;
using namespace vanto::testing;
using vanto::Ref;

TEST(KorURL, KeepsPathAndKind) {
  const Ref<KorURL> url = KorURL::create(*string("/a/../b"), true);
  EXPECT_EQ(url->path()->text(), "/a/../b");
  EXPECT_TRUE(url->isDirectory());
  EXPECT_FALSE(KorURL::create(*string("relative"), false)->isDirectory());
  EXPECT_TRUE(url->isKindOf(KorURL::classDescriptor()));
  EXPECT_EQ(KorGetTypeID(url.get()), 0u);
}

TEST(KorURL, KeepsItsPathWhenTheStringChanges) {
  PlistMutableString* path = mutableString("/a");
  const Ref<KorURL> url = KorURL::create(*path, false);
  path->append("/b");
  EXPECT_EQ(url->path()->text(), "/a");
}

TEST(KorURL, IsNotMadeOfAPathThatNamesNoFile) {
  EXPECT_EQ(KorURL::create(*string(""), false).get(), nullptr);
  EXPECT_EQ(KorURL::create(*string("/a\0b"sv), false).get(), nullptr);
}

TEST(KorURL, Standardizes) {
  const Ref<KorURL> url = KorURL::create(*string("/a/./b//../c/"), true);
  EXPECT_EQ(url->standardized()->path()->text(), "/a/c");
  EXPECT_TRUE(url->standardized()->isDirectory());
  EXPECT_EQ(KorURL::create(*string("a/.."), false)->standardized()->path()->text(), ".");
}

TEST(KorURL, EqualsOneWithTheSamePathAndKind) {
  const Ref<KorURL> url = KorURL::create(*string("/a"), true);
  EXPECT_TRUE(url->isEqual(KorURL::create(*string("/a"), true).get()));
  EXPECT_FALSE(url->isEqual(KorURL::create(*string("/a"), false).get()));
  EXPECT_FALSE(url->isEqual(KorURL::create(*string("/b"), true).get()));
  EXPECT_FALSE(url->isEqual(string("/a")));
}

TEST(KorURL, DescribesItselfByItsPath) {
  EXPECT_EQ(description(*KorURL::create(*string("/a b"), true)), "/a b");
}

}  // namespace
