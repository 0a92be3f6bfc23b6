// SPDX-License-Identifier: Apache-2.0
#include "ipc/Refusal.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "host/ipc/RawPeer.h"
#include "value/limits.h"

namespace vanto::test {
namespace {

constexpr std::size_t longest = limits::ipcRefusalTextBytes;

struct Received {
  std::uint32_t code = 0;
  std::string text;
};

/// What a client gets of a refusal.
Received sendAndReceive(std::uint32_t code, const std::string& text) {
  int ends[2];
  EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
  const Fd near(ends[0]);
  RawPeer far{Fd(ends[1])};
  sendRefusal(near.get(), code, text);
  EXPECT_TRUE(far.receive());
  EXPECT_EQ(far.header().kind, FrameKind::Refusal);
  const std::vector<std::uint8_t> payload = far.payload();
  Refusal refusal;
  EXPECT_TRUE(decodeRefusal(payload, refusal));
  return {refusal.code, std::string(refusal.text)};
}

bool decodes(const std::string& text, std::size_t codeSize = codeBytes) {
  std::vector<std::uint8_t> payload(codeSize, 1);
  payload.insert(payload.end(), text.begin(), text.end());
  Refusal refusal{77, "untouched"};
  const bool isDecoded = decodeRefusal(payload, refusal);
  EXPECT_EQ(refusal.code == 77 && refusal.text == "untouched", !isDecoded);
  return isDecoded;
}

TEST(Refusal, ArrivesAsItWasSent) {
  for (const std::string text : {"", "x", "org.example.echo: not started: Gr\xC3\xBC\xC3\x9F"}) {
    const Received received = sendAndReceive(0x01020304, text);
    EXPECT_EQ(received.code, 0x01020304U);
    EXPECT_EQ(received.text, text);
  }
}

TEST(Refusal, TextIsCutToTheLimit) {
  EXPECT_EQ(sendAndReceive(15, std::string(longest, 'x')).text, std::string(longest, 'x'));
  EXPECT_EQ(sendAndReceive(15, std::string(longest + 1, 'x')).text, std::string(longest, 'x'));
  EXPECT_EQ(sendAndReceive(15, std::string(100'000, 'x')).text, std::string(longest, 'x'));
}

TEST(Refusal, NoCharacterIsCut) {
  for (const std::string character : {"\xC3\xBC", "\xE2\x82\xAC", "\xF0\x9F\x8C\x8D"}) {
    for (std::size_t inside = 1; inside < character.size(); inside++) {
      const std::string before(longest - inside, 'x');
      EXPECT_EQ(sendAndReceive(15, before + character).text, before) << character << inside;
    }
    const std::string before(longest - character.size(), 'x');
    EXPECT_EQ(sendAndReceive(15, before + character + "x").text, before + character);
  }
}

TEST(Refusal, TextThatNobodyMayReceiveStaysBehind) {
  for (const std::string& text : {std::string("a\0b", 3), std::string("\xFF"), std::string(longest + 5, '\x80')}) {
    const Received received = sendAndReceive(15, text);
    EXPECT_EQ(received.code, 15U);
    EXPECT_EQ(received.text, "");
  }
}

TEST(Refusal, HasItsLimitWhenItIsRead) {
  EXPECT_TRUE(decodes(""));
  EXPECT_TRUE(decodes(std::string(longest, 'x')));
  EXPECT_FALSE(decodes(std::string(longest + 1, 'x')));
  for (std::size_t size = 0; size < codeBytes; size++) EXPECT_FALSE(decodes("", size)) << size;
}

TEST(Refusal, TextMustBeText) {
  EXPECT_TRUE(decodes("\xC3\xBC"));
  EXPECT_FALSE(decodes(std::string("a\0", 2)));
  EXPECT_FALSE(decodes(std::string("\0", 1)));
  EXPECT_FALSE(decodes("\xC3"));
  EXPECT_FALSE(decodes("\xED\xA0\x80"));
}

TEST(Refusal, DoesNoHarmWhereNobodyReads) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
  const Fd near(ends[0]);
  close(ends[1]);
  sendRefusal(near.get(), 15, "x");
  sendRefusal(-1, 15, "x");
}

}  // namespace
}  // namespace vanto::test
