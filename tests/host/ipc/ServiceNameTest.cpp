// SPDX-License-Identifier: Apache-2.0
#include <string>

#include <gtest/gtest.h>

#include <VantoService/vanto.h>

namespace vanto::test {
namespace {

bool isValid(const std::string& name) {
  return vanto_service_name_is_valid(name.c_str());
}

TEST(ServiceName, IsValidWhenASocketFileCanHaveIt) {
  EXPECT_TRUE(isValid("org.example.echo"));
  EXPECT_TRUE(isValid("a/b"));
  EXPECT_TRUE(isValid(".."));
  EXPECT_TRUE(isValid(std::string(255, 'a')));
  EXPECT_TRUE(isValid(std::string(85, '/')));
}

TEST(ServiceName, IsInvalidWhenNoSocketFileCanHaveIt) {
  EXPECT_FALSE(vanto_service_name_is_valid(nullptr));
  EXPECT_FALSE(isValid(""));
  EXPECT_FALSE(isValid(std::string(256, 'a')));
  EXPECT_FALSE(isValid(std::string(86, '/')));
  EXPECT_FALSE(isValid("\xff"));
}

}  // namespace
}  // namespace vanto::test
