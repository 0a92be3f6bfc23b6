// SPDX-License-Identifier: Apache-2.0
#include "ipc/ManagerRecord.h"

#include <cstring>
#include <vector>

#include <gtest/gtest.h>
#include <sys/socket.h>

#include "value/Fd.h"
#include "value/limits.h"

namespace vanto::test {
namespace {

class ManagerRecordTest : public ::testing::Test {
 protected:
  ManagerRecordTest() {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends), 0);
    near_.reset(ends[0]);
    far_.reset(ends[1]);
  }
  void sendBytes(const std::vector<std::uint8_t>& bytes) const {
    EXPECT_EQ(send(far_.get(), bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
  }
  [[nodiscard]] ManagerRecordResult receive() { return receiveManagerRecord(near_.get(), record_); }

  Fd near_;
  Fd far_;
  ManagerRecord record_;
};

TEST_F(ManagerRecordTest, HasItsBytesInTheirPlaces) {
  ASSERT_TRUE(sendManagerRecord(near_.get(), ManagerRecordKind::Idle, 0x0102030405060708));
  std::uint8_t bytes[20];
  ASSERT_EQ(recv(far_.get(), bytes, sizeof bytes, 0), 16);
  const std::uint32_t kind = 18;
  const std::uint64_t value = 0x0102030405060708;
  EXPECT_EQ(std::memcmp(bytes, &kind, 4), 0);
  EXPECT_EQ(std::memcmp(bytes + 4, "\0\0\0\0", 4), 0);
  EXPECT_EQ(std::memcmp(bytes + 8, &value, 8), 0);
}

TEST_F(ManagerRecordTest, IsReadBack) {
  ASSERT_TRUE(sendManagerRecord(far_.get(), ManagerRecordKind::Settings, UINT64_MAX));
  ASSERT_TRUE(sendManagerRecord(far_.get(), ManagerRecordKind::Leave));
  ASSERT_EQ(receive(), ManagerRecordResult::Record);
  EXPECT_EQ(record_.kind, ManagerRecordKind::Settings);
  EXPECT_EQ(record_.value, UINT64_MAX);
  ASSERT_EQ(receive(), ManagerRecordResult::Record);
  EXPECT_EQ(record_.kind, ManagerRecordKind::Leave);
  EXPECT_EQ(record_.value, 0U);
  EXPECT_EQ(receive(), ManagerRecordResult::Nothing);
}

TEST_F(ManagerRecordTest, IsReadFromWhoHasGoneWithoutReadingItsOwn) {
  ASSERT_TRUE(sendManagerRecord(far_.get(), ManagerRecordKind::Greeted));
  ASSERT_TRUE(sendManagerRecord(far_.get(), ManagerRecordKind::Stopped));
  ASSERT_TRUE(sendManagerRecord(near_.get(), ManagerRecordKind::Leave));
  far_.reset();
  ASSERT_EQ(receive(), ManagerRecordResult::Record);
  EXPECT_EQ(record_.kind, ManagerRecordKind::Greeted);
  ASSERT_EQ(receive(), ManagerRecordResult::Record);
  EXPECT_EQ(record_.kind, ManagerRecordKind::Stopped);
  EXPECT_EQ(receive(), ManagerRecordResult::Ended);
}

TEST_F(ManagerRecordTest, ReceiptIsReadFromWhoHasGoneWithoutReadingItsOwn) {
  ASSERT_TRUE(sendManagerReceipt(far_.get(), "confined"));
  ASSERT_TRUE(sendManagerRecord(near_.get(), ManagerRecordKind::Leave));
  far_.reset();
  std::string text;
  ASSERT_EQ(receiveManagerRecord(near_.get(), record_, text), ManagerRecordResult::Record);
  EXPECT_EQ(text, "confined");
  EXPECT_EQ(receiveManagerRecord(near_.get(), record_, text), ManagerRecordResult::Ended);
}

TEST_F(ManagerRecordTest, OfAnotherSizeIsIgnored) {
  for (const std::size_t size : {0, 1, 15, 17, 4000}) {
    sendBytes(std::vector<std::uint8_t>(size));
    EXPECT_EQ(receive(), ManagerRecordResult::Ignored) << size;
    EXPECT_EQ(receive(), ManagerRecordResult::Nothing) << size;
  }
}

TEST_F(ManagerRecordTest, WithAReservedFieldIsIgnored) {
  std::vector<std::uint8_t> bytes(16);
  for (const std::size_t place : {4, 7}) {
    bytes[place] = 1;
    sendBytes(bytes);
    EXPECT_EQ(receive(), ManagerRecordResult::Ignored);
    bytes[place] = 0;
  }
  sendBytes(bytes);
  EXPECT_EQ(receive(), ManagerRecordResult::Record);
}

TEST_F(ManagerRecordTest, EndsWithTheOtherSide) {
  ASSERT_TRUE(sendManagerRecord(far_.get(), ManagerRecordKind::Leave));
  far_.reset();
  EXPECT_EQ(receive(), ManagerRecordResult::Record);
  EXPECT_EQ(receive(), ManagerRecordResult::Ended);
  EXPECT_FALSE(sendManagerRecord(near_.get(), ManagerRecordKind::Idle));
}

TEST_F(ManagerRecordTest, EndsWithAnotherSideThatHasNotReadAll) {
  ASSERT_TRUE(sendManagerRecord(near_.get(), ManagerRecordKind::Idle));
  far_.reset();
  EXPECT_EQ(receive(), ManagerRecordResult::Ended);
}

TEST_F(ManagerRecordTest, BringsAReceiptInOnePacket) {
  const std::string sent(limits::receiptBytes, 'r');
  ASSERT_TRUE(sendManagerReceipt(far_.get(), sent));
  std::string text;
  ASSERT_EQ(receiveManagerRecord(near_.get(), record_, text), ManagerRecordResult::Record);
  EXPECT_EQ(record_.kind, ManagerRecordKind::Receipt);
  EXPECT_EQ(record_.value, sent.size());
  EXPECT_EQ(text, sent);
  ASSERT_TRUE(sendManagerReceipt(far_.get(), ""));
  ASSERT_TRUE(sendManagerRecord(far_.get(), ManagerRecordKind::Idle, 7));
  ASSERT_EQ(receiveManagerRecord(near_.get(), record_, text), ManagerRecordResult::Record);
  EXPECT_EQ(text, "");
  ASSERT_EQ(receiveManagerRecord(near_.get(), record_, text), ManagerRecordResult::Record);
  EXPECT_EQ(record_.kind, ManagerRecordKind::Idle);
  EXPECT_EQ(receiveManagerRecord(near_.get(), record_, text), ManagerRecordResult::Nothing);
  far_.reset();
  EXPECT_EQ(receiveManagerRecord(near_.get(), record_, text), ManagerRecordResult::Ended);
}

TEST_F(ManagerRecordTest, WithAReceiptOfAnotherSizeIsIgnored) {
  for (const std::uint64_t claimed :
       {std::uint64_t{0}, std::uint64_t{2}, std::uint64_t{4}, std::uint64_t{4000}, UINT64_MAX}) {
    std::vector<std::uint8_t> bytes(16 + 3);
    const ManagerRecord header{ManagerRecordKind::Receipt, 0, claimed};
    std::memcpy(bytes.data(), &header, sizeof header);
    sendBytes(bytes);
    std::string text = "before";
    EXPECT_EQ(receiveManagerRecord(near_.get(), record_, text), ManagerRecordResult::Ignored) << claimed;
  }
  ASSERT_TRUE(sendManagerReceipt(far_.get(), std::string(limits::receiptBytes + 1, 'r')));
  std::string text;
  EXPECT_EQ(receiveManagerRecord(near_.get(), record_, text), ManagerRecordResult::Ignored);
}

TEST_F(ManagerRecordTest, IgnoresAReceiptThatNobodyWants) {
  ASSERT_TRUE(sendManagerReceipt(far_.get(), "level full\n"));
  EXPECT_EQ(receive(), ManagerRecordResult::Ignored);
  EXPECT_EQ(receive(), ManagerRecordResult::Nothing);
}

TEST_F(ManagerRecordTest, IsNotWaitedForWhereNobodyReads) {
  int sent = 0;
  while (sendManagerRecord(near_.get(), ManagerRecordKind::Idle)) sent++;
  EXPECT_GT(sent, 1);
  std::uint8_t bytes[16];
  ASSERT_EQ(recv(far_.get(), bytes, sizeof bytes, 0), 16);
  EXPECT_TRUE(sendManagerRecord(near_.get(), ManagerRecordKind::Idle));
}

}  // namespace
}  // namespace vanto::test
