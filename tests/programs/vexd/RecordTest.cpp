// SPDX-License-Identifier: Apache-2.0
#include "vexd/Record.h"

#include <thread>

#include <sys/socket.h>

#include "programs/vexd/VexdFixture.h"

namespace vanto::testing {
namespace {

using vexd::receiveRecord;
using vexd::Record;
using vexd::RecordReader;
using vexd::RecordWriter;
using vexd::sendRecord;

struct Ends {
  Ends() {
    int ends[2];
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends), 0);
    one.reset(ends[0]);
    other.reset(ends[1]);
  }
  Fd one;
  Fd other;
};

TEST(Record, IsTakenApartAsItWasPutTogether) {
  RecordWriter writer;
  writer.number(7);
  writer.text("text");
  writer.text("");
  RecordReader reader(writer.bytes());
  EXPECT_EQ(reader.number(), 7U);
  EXPECT_EQ(reader.text(4), "text");
  EXPECT_FALSE(reader.isWhole());
  EXPECT_EQ(reader.text(4), "");
  EXPECT_TRUE(reader.isWhole());
  EXPECT_EQ(reader.number(), 0U);
  EXPECT_FALSE(reader.isFine());
}

TEST(Record, BelievesNoLength) {
  RecordWriter writer;
  writer.text("text");
  EXPECT_EQ(RecordReader(writer.bytes()).text(3), "");
  RecordWriter lying;
  lying.number(UINT64_MAX);
  RecordReader reader(lying.bytes());
  EXPECT_EQ(reader.text(SIZE_MAX), "");
  EXPECT_FALSE(reader.isFine());
}

TEST(Record, TravelsWithDescriptors) {
  const Ends ends;
  const std::string large(3 << 20, 'x');
  const Fd file = openFile("/dev/null");
  std::thread sender([&] {
    EXPECT_TRUE(sendRecord(ends.one.get(), large, {file.get(), file.get()}, UINT64_MAX));
    EXPECT_TRUE(sendRecord(ends.one.get(), "", {}, UINT64_MAX));
  });
  Record record;
  EXPECT_TRUE(receiveRecord(ends.other.get(), large.size(), UINT64_MAX, record));
  EXPECT_EQ(record.bytes, large);
  EXPECT_EQ(record.descriptors.size(), 2U);
  EXPECT_TRUE(receiveRecord(ends.other.get(), 0, UINT64_MAX, record));
  EXPECT_TRUE(record.descriptors.empty());
  sender.join();
}

TEST(Record, IsNotReceivedWhenTooLongOrLateOrCut) {
  Ends ends;
  Record record;
  EXPECT_FALSE(receiveRecord(ends.other.get(), 10, 1, record));
  ASSERT_TRUE(sendRecord(ends.one.get(), "eleven byte", {}, UINT64_MAX));
  EXPECT_FALSE(receiveRecord(ends.other.get(), 10, UINT64_MAX, record));
  Ends cut;
  const std::uint64_t length = 5;
  ASSERT_EQ(write(cut.one.get(), &length, sizeof length), static_cast<ssize_t>(sizeof length));
  EXPECT_FALSE(receiveRecord(cut.other.get(), 10, 1, record));
  cut.one.reset();
  EXPECT_FALSE(receiveRecord(cut.other.get(), 10, UINT64_MAX, record));
  EXPECT_FALSE(sendRecord(cut.other.get(), "x", {}, UINT64_MAX));
}

}  // namespace
}  // namespace vanto::testing
