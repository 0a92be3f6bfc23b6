// SPDX-License-Identifier: Apache-2.0
#include "vanto/Console.h"

#include <cstdlib>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <pty.h>
#include <sys/mman.h>
#include <unistd.h>

#include "programs/vanto/CapturedConsole.h"

namespace vanto::tool {
namespace {

using testing::CapturedConsole;

/// A terminal of 100 columns.
struct Terminal {
  Terminal() {
    winsize size{};
    size.ws_col = 100;
    int ours = -1;
    int theirs = -1;
    EXPECT_EQ(openpty(&ours, &theirs, nullptr, nullptr, &size), 0);
    master.reset(ours);
    slave.reset(theirs);
  }
  Fd master;
  Fd slave;
};

TEST(Console, WritesOutputInOrderWithComplaints) {
  CapturedConsole captured;
  captured.console().print("a");
  captured.console().printLine("b");
  captured.console().complain("trouble");
  EXPECT_EQ(captured.output(), "ab\n");
  EXPECT_EQ(captured.messages(), "vanto: trouble\n");
  EXPECT_TRUE(captured.console().finish());
}

TEST(Console, WritesLargeOutputBeforeTheEnd) {
  const Fd output(memfd_create("output", MFD_CLOEXEC));
  Console console(output.get(), STDERR_FILENO, {}, {});
  console.print(std::string(std::size_t{1} << 20, 'x'));
  EXPECT_EQ(lseek(output.get(), 0, SEEK_END), off_t{1} << 20);
}

TEST(Console, ComplainsOfOutputThatCannotBeWritten) {
  const Fd output(open("/dev/full", O_WRONLY | O_CLOEXEC));
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const Fd reading(ends[0]);
  const Fd writing(ends[1]);
  Console console(output.get(), writing.get(), {}, {});
  console.print("x");
  EXPECT_FALSE(console.finish());
  char text[100] = {};
  EXPECT_GT(read(reading.get(), text, sizeof text - 1), 0);
  EXPECT_STREQ(text, "vanto: cannot write the output: No space left on device\n");
}

TEST(Console, StylesOnlyWhereThereAreColours) {
  CapturedConsole plain(testing::plainTerminal);
  EXPECT_EQ(plain.console().styled(Style::Error, "x"), "x");
  CapturedConsole coloured(Display{true, true, 80});
  EXPECT_EQ(coloured.console().styled(Style::Error, "x"), "\x1b[1;31mx\x1b[0m");
  EXPECT_EQ(coloured.console().styled(Style::Plain, "x"), "x");
}

TEST(Display, KnowsATerminalAndItsWidth) {
  const Terminal terminal;
  setenv("TERM", "xterm", 1);
  unsetenv("NO_COLOR");
  const Display display = Display::of(terminal.slave.get());
  EXPECT_TRUE(display.isTerminal);
  EXPECT_TRUE(display.hasColour);
  EXPECT_EQ(display.columns, 100U);
}

TEST(Display, HasNoColourWhereNobodyWantsAny) {
  const Terminal terminal;
  setenv("TERM", "xterm", 1);
  setenv("NO_COLOR", "1", 1);
  EXPECT_FALSE(Display::of(terminal.slave.get()).hasColour);
  setenv("NO_COLOR", "", 1);
  EXPECT_TRUE(Display::of(terminal.slave.get()).hasColour);
  setenv("TERM", "dumb", 1);
  EXPECT_FALSE(Display::of(terminal.slave.get()).hasColour);
  unsetenv("NO_COLOR");
}

TEST(Display, OfAPipeIsNoTerminal) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const Fd reading(ends[0]);
  const Fd writing(ends[1]);
  EXPECT_FALSE(Display::of(writing.get()).isTerminal);
  EXPECT_FALSE(Display::of(writing.get()).hasColour);
}

}  // namespace
}  // namespace vanto::tool
