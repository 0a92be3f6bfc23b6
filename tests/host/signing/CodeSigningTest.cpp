// SPDX-License-Identifier: Apache-2.0
#include "value/platform/signing.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <VantoService/PlistNumber.h>

namespace {

using vanto::Ref;

/// Some address that no function may have put anything in place of.
template <typename T>
T* untouched() {
  static char place;
  return reinterpret_cast<T*>(&place);
}

TEST(CodeSigning, FindsNoCodeOfAnyProcess) {
  const Ref<PlistNumber> pid = PlistNumber::create(std::int64_t{getpid()});
  const Ref<PlistMutableDictionary> attributes = PlistMutableDictionary::create();
  attributes->setValueForKey(pid.get(), kVexGuestAttributePid);
  auto* code = untouched<VexCode>();
  EXPECT_EQ(VexCodeCopyGuestWithAttributes(nullptr, attributes.get(), 0, &code), VexStatusUnavailable);
  EXPECT_EQ(code, untouched<VexCode>());
}

TEST(CodeSigning, CompilesNoRequirementAndSaysWhy) {
  const Ref<PlistString> text = PlistString::create("identifier \"org.vanto.client\"");
  VexErrors* errors = nullptr;
  auto* requirement = untouched<VexRequirement>();
  EXPECT_EQ(VexRequirementCreateWithStringAndErrors(text.get(), 0, &errors, &requirement), VexStatusUnavailable);
  EXPECT_EQ(requirement, untouched<VexRequirement>());
  ASSERT_NE(errors, nullptr);
  EXPECT_EQ(VexErrorsLocalizedDescription(errors)->text(), "not available on this host yet");
}

TEST(CodeSigning, FindsNothingValid) {
  EXPECT_EQ(VexCodeCheckValidityWithErrors(nullptr, 0, nullptr, nullptr), VexStatusUnavailable);
  VexErrors* errors = nullptr;
  EXPECT_EQ(VexCodeCheckValidityWithErrors(untouched<VexCode>(), 0, untouched<VexRequirement>(), &errors),
            VexStatusUnavailable);
  ASSERT_NE(errors, nullptr);
  EXPECT_EQ(VexErrorsLocalizedDescription(errors)->text(), "not available on this host yet");
}

TEST(CodeSigning, DescribesMissingErrorsToo) {
  ASSERT_NE(VexErrorsLocalizedDescription(nullptr), nullptr);
  EXPECT_GT(VexErrorsLocalizedDescription(nullptr)->length(), 0U);
}

TEST(CodeSigning, HandsOutNothingThatHasToBeReleased) {
  VexErrors* first = nullptr;
  VexErrors* second = nullptr;
  EXPECT_NE(VexRequirementCreateWithStringAndErrors(nullptr, 0, &first, nullptr), 0);
  EXPECT_NE(VexRequirementCreateWithStringAndErrors(nullptr, 0, &second, nullptr), 0);
  EXPECT_EQ(first, second);
  EXPECT_EQ(VexErrorsLocalizedDescription(first)->referenceCount(), UINT32_MAX);
  EXPECT_EQ(kVexGuestAttributePid->referenceCount(), UINT32_MAX);
}

}  // namespace
