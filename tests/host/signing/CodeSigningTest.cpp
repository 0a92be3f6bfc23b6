// SPDX-License-Identifier: Apache-2.0
#include "value/platform/signing.h"

#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <VantoService/PlistNumber.h>

#include "host/signing/CodeServiceStub.h"
#include "process/PendingPeer.h"

namespace vanto::test {
namespace {

/// Some address that no function may have put anything in place of.
template <typename T>
T* untouched() {
  static char place;
  return reinterpret_cast<T*>(&place);
}

Ref<PlistDictionary> attributesOf(std::int64_t pid) {
  const Ref<PlistNumber> number = PlistNumber::create(pid);
  const PlistDictionary::Entry entry{kVexGuestAttributePid, number.get()};
  return PlistDictionary::create({&entry, 1});
}

VexStatus copyCode(std::int64_t pid, VexCode** code) {
  return VexCodeCopyGuestWithAttributes(nullptr, attributesOf(pid).get(), 0, code);
}

class CodeSigning : public CodeServiceStub {
 protected:
  const Fd self_ = Fd(static_cast<int>(syscall(SYS_pidfd_open, getpid(), 0)));
};

TEST_F(CodeSigning, FindsNoCodeOfWhomNobodyJudges) {
  auto* code = untouched<VexCode>();
  EXPECT_EQ(copyCode(getpid(), &code), VexStatusUnknown);
  const PendingPeer peer(getpid() + 1, self_);
  EXPECT_EQ(copyCode(getpid(), &code), VexStatusUnknown);
  EXPECT_EQ(VexCodeCopyGuestWithAttributes(nullptr, nullptr, 0, &code), VexStatusUnknown);
  EXPECT_EQ(code, untouched<VexCode>());
  EXPECT_EQ(requests(), 0);
}

TEST_F(CodeSigning, FindsNoCodeOfAForeignOrUnpinnedProcess) {
  auto* code = untouched<VexCode>();
  const PendingPeer foreign(0, self_);
  EXPECT_EQ(copyCode(0, &code), VexStatusUnknown);
  const Fd none;
  const PendingPeer unpinned(getpid(), none);
  EXPECT_EQ(copyCode(getpid(), &code), VexStatusGone);
  EXPECT_EQ(code, untouched<VexCode>());
}

TEST_F(CodeSigning, FindsTheCodeOfThePeerThatIsJudgedHere) {
  answer(replyOfValidCode());
  PendingPeer peer(getpid(), self_);
  VexCode* code = nullptr;
  ASSERT_EQ(copyCode(getpid(), &code), 0);
  EXPECT_NE(code, nullptr);
  EXPECT_EQ(peer.executable(), (ExecutableFile{7, 8}));
  VexRequirement* requirement = nullptr;
  VexErrors* errors = untouched<VexErrors>();
  const Ref<PlistString> text = PlistString::create("identifier \"org.vanto.client\"");
  ASSERT_EQ(VexRequirementCreateWithStringAndErrors(text.get(), 0, &errors, &requirement), 0);
  EXPECT_EQ(errors, untouched<VexErrors>());
  EXPECT_EQ(VexCodeCheckValidityWithErrors(code, 0, requirement, &errors), 0);
  const Ref<PlistString> other = PlistString::create("identifier \"org.vanto.other\"");
  ASSERT_EQ(VexRequirementCreateWithStringAndErrors(other.get(), 0, &errors, &requirement), 0);
  EXPECT_EQ(VexCodeCheckValidityWithErrors(code, 0, requirement, &errors), VexStatusUnsatisfied);
  EXPECT_EQ(VexErrorsLocalizedDescription(errors)->text(), "the code is valid, and not what is required");
}

TEST_F(CodeSigning, GivesTheStatusOfTheCodeSigningService) {
  answer(failureReply(VexStatusTraced));
  PendingPeer peer(getpid(), self_);
  VexCode* code = untouched<VexCode>();
  EXPECT_EQ(copyCode(getpid(), &code), VexStatusTraced);
  EXPECT_EQ(code, untouched<VexCode>());
  EXPECT_FALSE(peer.executable().isKnown());
}

TEST_F(CodeSigning, SaysWhyATextIsNoRequirement) {
  const PendingPeer peer(getpid(), self_);
  const Ref<PlistString> text = PlistString::create("nonsense");
  VexErrors* errors = nullptr;
  auto* requirement = untouched<VexRequirement>();
  EXPECT_EQ(VexRequirementCreateWithStringAndErrors(text.get(), 0, &errors, &requirement), VexStatusMalformed);
  EXPECT_EQ(requirement, untouched<VexRequirement>());
  ASSERT_NE(errors, nullptr);
  EXPECT_TRUE(VexErrorsLocalizedDescription(errors)->text().starts_with("column 1 (line 1): "));
}

TEST_F(CodeSigning, HandsNothingOutWhenNobodyIsJudged) {
  const Ref<PlistString> text = PlistString::create("valid");
  VexErrors* errors = untouched<VexErrors>();
  auto* requirement = untouched<VexRequirement>();
  EXPECT_EQ(VexRequirementCreateWithStringAndErrors(text.get(), 0, &errors, &requirement), VexStatusUnavailable);
  EXPECT_EQ(VexRequirementCreateWithStringAndErrors(nullptr, 0, &errors, &requirement), VexStatusUnavailable);
  EXPECT_EQ(VexCodeCheckValidityWithErrors(nullptr, 0, nullptr, &errors), VexStatusUnavailable);
  EXPECT_EQ(errors, untouched<VexErrors>());
  EXPECT_EQ(requirement, untouched<VexRequirement>());
}

TEST_F(CodeSigning, DescribesMissingErrorsToo) {
  ASSERT_NE(VexErrorsLocalizedDescription(nullptr), nullptr);
  EXPECT_GT(VexErrorsLocalizedDescription(nullptr)->length(), 0U);
  EXPECT_EQ(kVexGuestAttributePid->referenceCount(), UINT32_MAX);
}

TEST_F(CodeSigning, HandsOutNoMoreThanItsLimit) {
  const Ref<PlistString> text = PlistString::create("valid");
  const Ref<PlistString> nonsense = PlistString::create("nonsense");
  answer(replyOfValidCode());
  PendingPeer peer(getpid(), self_);
  VexCode* code = nullptr;
  ASSERT_EQ(copyCode(getpid(), &code), 0);
  VexRequirement* requirement = nullptr;
  VexErrors* errors = nullptr;
  const Ref<PlistString> other = PlistString::create("identifier \"org.vanto.other\"");
  ASSERT_EQ(VexRequirementCreateWithStringAndErrors(other.get(), 0, &errors, &requirement), 0);
  // The code and a requirement are kept already; what is not satisfied keeps nothing more.
  for (std::size_t i = 2; i < limits::codeObjectsPerPeer; ++i) {
    ASSERT_EQ(VexCodeCheckValidityWithErrors(code, 0, requirement, &errors), VexStatusUnsatisfied);
    ASSERT_EQ(VexRequirementCreateWithStringAndErrors(other.get(), 0, nullptr, &requirement), 0);
  }
  errors = nullptr;
  EXPECT_EQ(VexRequirementCreateWithStringAndErrors(text.get(), 0, &errors, &requirement), VexStatusUnavailable);
  const char* const reason = "a client is tried on 16383 requirements at most";
  EXPECT_EQ(VexErrorsLocalizedDescription(errors)->text(), reason);
  errors = nullptr;
  EXPECT_EQ(VexRequirementCreateWithStringAndErrors(nonsense.get(), 0, &errors, &requirement), VexStatusMalformed);
  EXPECT_EQ(VexErrorsLocalizedDescription(errors)->text(), reason);
}

TEST_F(CodeSigning, SaysThatCodeIsNotValid) {
  answer(replyOf(invalidFacts()));
  PendingPeer peer(getpid(), self_);
  VexCode* code = nullptr;
  ASSERT_EQ(copyCode(getpid(), &code), 0);
  VexRequirement* requirement = nullptr;
  VexErrors* errors = nullptr;
  const Ref<PlistString> text = PlistString::create("valid");
  ASSERT_EQ(VexRequirementCreateWithStringAndErrors(text.get(), 0, &errors, &requirement), 0);
  EXPECT_EQ(VexCodeCheckValidityWithErrors(code, 0, requirement, &errors), VexStatusUnsatisfied);
  EXPECT_EQ(VexErrorsLocalizedDescription(errors)->text(), "the code is not valid");
  EXPECT_EQ(VexCodeCheckValidityWithErrors(code, 0, requirement, nullptr), VexStatusUnsatisfied);
}

}  // namespace
}  // namespace vanto::test
