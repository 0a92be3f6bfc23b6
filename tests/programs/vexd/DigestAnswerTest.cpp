// SPDX-License-Identifier: Apache-2.0
#include "vexd/DigestAnswer.h"

#include <gtest/gtest.h>

#include "value/limits.h"

namespace vanto::vexd {
namespace {

DigestAnswer sample() {
  return {std::string(32, 'd'), true, "org.example.a", std::string(64, 'f'), {"acme", "Äcme"}, "<plist/>", "why"};
}

TEST(DigestAnswer, IsReadAsItWasWritten) {
  EXPECT_EQ(DigestAnswer::read(sample().bytes()), sample());
  EXPECT_EQ(DigestAnswer::read(DigestAnswer{}.bytes()), DigestAnswer{});
}

TEST(DigestAnswer, IsNoneWhenCutOrTooLong) {
  const std::string bytes = sample().bytes();
  for (std::size_t length = 0; length < bytes.size(); ++length) {
    EXPECT_FALSE(DigestAnswer::read(bytes.substr(0, length))) << length;
  }
  EXPECT_FALSE(DigestAnswer::read(bytes + "x"));
}

TEST(DigestAnswer, IsNoneBeyondALimit) {
  DigestAnswer answer = sample();
  answer.identifier.assign(vanto::limits::codeTextBytes, 'i');
  answer.signers.assign(vanto::limits::codeSignerNames, "s");
  EXPECT_TRUE(DigestAnswer::read(answer.bytes()));
  answer.signers.emplace_back("s");
  EXPECT_FALSE(DigestAnswer::read(answer.bytes()));
  answer = sample();
  answer.identifier.assign(vanto::limits::codeTextBytes + 1, 'i');
  EXPECT_FALSE(DigestAnswer::read(answer.bytes()));
  answer = sample();
  answer.digest.pop_back();
  EXPECT_FALSE(DigestAnswer::read(answer.bytes()));
}

}  // namespace
}  // namespace vanto::vexd
