// SPDX-License-Identifier: Apache-2.0
#include "ipc/ErrorObject.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

#include "host/ipc/BalancedTest.h"

using namespace std::string_view_literals;
using vanto::ErrorObject;
using vanto::errorText;
using vanto::Ref;

using ErrorObjectTest = vanto::test::BalancedTest;

TEST_F(ErrorObjectTest, HoldsACodeAndAText) {
  const Ref<ErrorObject> error = ErrorObject::create(VANTO_ERROR_REFUSED, "not you");
  ASSERT_TRUE(error);
  EXPECT_EQ(error->kind(), VANTO_KIND_ERROR);
  EXPECT_EQ(error->code(), VANTO_ERROR_REFUSED);
  EXPECT_EQ(error->text(), "not you");
  EXPECT_STREQ(error->terminatedText(), "not you");
}

TEST_F(ErrorObjectTest, KeepsACodeThatItDoesNotKnow) {
  EXPECT_EQ(ErrorObject::create(4711, "")->code(), 4711);
  EXPECT_EQ(ErrorObject::create(VANTO_ERROR_LARGEST, "")->code(), VANTO_ERROR_LARGEST);
}

TEST_F(ErrorObjectTest, RefusesCodesOutsideTheRange) {
  EXPECT_FALSE(ErrorObject::create(VANTO_ERROR_NONE, "text"));
  EXPECT_FALSE(ErrorObject::create(std::uint32_t{VANTO_ERROR_LARGEST} + 1, "text"));
  EXPECT_FALSE(ErrorObject::create(UINT32_MAX, "text"));
}

TEST_F(ErrorObjectTest, RefusesTextThatAStringCannotHold) {
  EXPECT_FALSE(ErrorObject::create(1, "\xff"));
  EXPECT_FALSE(ErrorObject::create(1, "a\0b"sv));
}

TEST_F(ErrorObjectTest, EveryCodeHasATextOfItsOwn) {
  std::set<std::string> texts;
  for (int code = VANTO_ERROR_NONE; code <= VANTO_ERROR_START; ++code) {
    texts.insert(errorText(static_cast<vanto_error_code_t>(code)));
  }
  texts.insert(errorText(static_cast<vanto_error_code_t>(4711)));
  EXPECT_EQ(texts.size(), std::size_t{VANTO_ERROR_START} + 2);
  EXPECT_STREQ(errorText(VANTO_ERROR_LARGEST), errorText(static_cast<vanto_error_code_t>(4711)));
}
