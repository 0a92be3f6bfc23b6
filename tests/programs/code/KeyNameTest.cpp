// SPDX-License-Identifier: Apache-2.0
#include "code/KeyName.h"

#include <string>

#include <gtest/gtest.h>

namespace vanto::code {
namespace {

TEST(KeyName, IsOneComponentThatNobodyTakesForSomethingElse) {
  for (const char* name : {"acme", "Acme Corp. 2026", "ä", "a.b", "revoked2"}) EXPECT_TRUE(isKeyName(name)) << name;
  for (const char* name : {"", ".", "..", ".a", "-a", "a/b", "/", "a\nb", "\x7f", "\xff", "revoked"}) {
    EXPECT_FALSE(isKeyName(name)) << name;
  }
  EXPECT_FALSE(isKeyName(std::string_view("a\0b", 3)));
}

TEST(KeyName, HasAtMost200Bytes) {
  EXPECT_TRUE(isKeyName(std::string(200, 'z')));
  EXPECT_FALSE(isKeyName(std::string(201, 'z')));
}

TEST(KeyName, IsNoFingerprint) {
  EXPECT_FALSE(isKeyName(std::string(64, 'a')));
  EXPECT_FALSE(isKeyName(std::string(64, 'A')));
  EXPECT_TRUE(isKeyName(std::string(63, 'a')));
  EXPECT_TRUE(isFingerprint(std::string(64, 'a')));
  EXPECT_FALSE(isFingerprint(std::string(64, 'A')));
  EXPECT_FALSE(isFingerprint(std::string(64, 'g')));
  EXPECT_FALSE(isFingerprint(std::string(65, 'a')));
}

}  // namespace
}  // namespace vanto::code
