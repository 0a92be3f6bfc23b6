// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Messages.h"

#include <climits>
#include <cstdlib>
#include <sstream>
#include <string>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/socket.h>
#include <unistd.h>

#include "support/TemporaryDirectory.h"

namespace vanto::manager {
namespace {

/// What is there to be read, without waiting for more.
std::string drain(int descriptor) {
  fcntl(descriptor, F_SETFL, O_NONBLOCK);
  std::string text;
  char piece[4096];
  for (ssize_t count; (count = read(descriptor, piece, sizeof piece)) > 0;) {
    text.append(piece, static_cast<std::size_t>(count));
  }
  return text;
}

/// Says more than there is room for, and then one line more when there is.
void expectDropsAndCounts(int reader, int writer) {
  Messages messages(writer);
  messages.say("first \x1b");
  EXPECT_EQ(drain(reader), "tolvend: first \\x1b\n");
  // An own setting that was changed would be everybody's.
  EXPECT_EQ(fcntl(writer, F_GETFL) & O_NONBLOCK, 0);
  const std::string line(1000, 'x');
  for (int i = 0; i < 2000; i++) messages.say(line);
  std::string said = drain(reader);
  messages.say("last");
  said += drain(reader);
  EXPECT_TRUE(said.ends_with(" messages before were not taken\ntolvend: last\n")) << said;
  int taken = 0;
  int dropped = 0;
  std::istringstream lines(said);
  for (std::string word; std::getline(lines, word);) {
    taken += word == "tolvend: " + line;
    // The number of those before may fit where a line does not.
    if (word.ends_with("not taken")) dropped += std::atoi(word.c_str() + 9);
  }
  EXPECT_GT(taken, 0);
  EXPECT_GT(dropped, 0);
  EXPECT_EQ(taken + dropped, 2000);
  EXPECT_EQ(fcntl(writer, F_GETFL) & O_NONBLOCK, 0);
}

TEST(Messages, AreDroppedAndCountedWhenAPipeIsFull) {
  alarm(60);
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const Fd reader(ends[0]);
  const Fd writer(ends[1]);
  expectDropsAndCounts(reader.get(), writer.get());
  alarm(0);
}

TEST(Messages, AreDroppedAndCountedWhenASocketIsFull) {
  alarm(60);
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0, ends), 0);
  const Fd reader(ends[0]);
  const Fd writer(ends[1]);
  expectDropsAndCounts(reader.get(), writer.get());
  alarm(0);
}

TEST(Messages, GoToAFileBehindWhatIsThere) {
  const test::TemporaryDirectory directory;
  const Fd file(open((directory / "file").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
  ASSERT_EQ(write(file.get(), "before\n", 7), 7);
  Messages messages(file.get());
  messages.say("one");
  messages.say(std::string(PIPE_BUF + 1, 'x'));
  const Fd reader(open((directory / "file").c_str(), O_RDONLY | O_CLOEXEC));
  const std::string text = drain(reader.get());
  EXPECT_TRUE(text.starts_with("before\ntolvend: one\ntolvend: xxx")) << text;
  EXPECT_LE(text.size(), 7 + 13 + std::size_t{PIPE_BUF});
  EXPECT_EQ(text.back(), '\n');
}

}  // namespace
}  // namespace vanto::manager
