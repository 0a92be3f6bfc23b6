// SPDX-License-Identifier: Apache-2.0
#include "tolvend/LogRing.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "value/limits.h"

namespace vanto::manager {
namespace {

std::vector<std::string> textsOf(const LogRing& ring) {
  std::vector<std::string> texts;
  for (const LogLine& line : ring.lines()) texts.push_back(line.text);
  return texts;
}

using Lines = std::vector<std::string>;

TEST(LogRing, MakesLinesOfPieces) {
  LogRing ring;
  LogAssembly assembly;
  assembly.add(ring, 7, "one\ntw");
  EXPECT_EQ(textsOf(ring), Lines{"one"});
  assembly.add(ring, 7, "o\n\nthree");
  EXPECT_EQ(textsOf(ring), (Lines{"one", "two", ""}));
  assembly.finish(ring, 7);
  assembly.finish(ring, 7);
  EXPECT_EQ(textsOf(ring), (Lines{"one", "two", "", "three"}));
  EXPECT_EQ(ring.last()->pid, 7);
  EXPECT_GT(ring.last()->time, 0U);
}

TEST(LogRing, CutsLongLines) {
  LogRing ring;
  LogAssembly assembly;
  for (int i = 0; i < 5; i++) assembly.add(ring, 1, std::string(limits::managerLogLineBytes / 2 + 1, 'x'));
  assembly.add(ring, 1, "\nnext\n");
  EXPECT_EQ(textsOf(ring), (Lines{std::string(limits::managerLogLineBytes, 'x'), "next"}));
  ring.add({1, 1, std::string(limits::managerLogLineBytes + 1, 'y')});
  EXPECT_EQ(ring.last()->text.size(), limits::managerLogLineBytes);
}

TEST(LogRing, DropsTheOldestLines) {
  LogRing ring;
  EXPECT_EQ(ring.last(), nullptr);
  for (int i = 0; i < 10'000; i++) ring.add({0, 1, std::to_string(i)});
  std::size_t bytes = 0;
  for (const std::string& text : textsOf(ring)) bytes += text.size();
  EXPECT_LE(bytes, limits::managerLogBytes);
  EXPECT_LT(ring.lines().size(), 10'000U);
  EXPECT_EQ(ring.last()->text, "9999");
  // Lines without a text are bounded as well.
  for (int i = 0; i < 100'000; i++) ring.add({0, 1, ""});
  EXPECT_LE(ring.lines().size() * sizeof(LogLine), limits::managerLogBytes);
}

TEST(LogRing, EndsWithThreeLinesOfOneProcess) {
  LogRing ring;
  EXPECT_EQ(ring.ending(100), "");
  ring.add({0, 1, "of another"});
  ring.add({0, 2, "one"});
  EXPECT_EQ(ring.ending(100), "one");
  ring.add({0, 2, "tw\x1bo"});
  EXPECT_EQ(ring.ending(100), "one | tw\\x1bo");
  ring.add({0, 2, "three"});
  ring.add({0, 2, "four"});
  EXPECT_EQ(ring.ending(100), "tw\\x1bo | three | four");
  // The newest stay where there is no room.
  EXPECT_EQ(ring.ending(21), "three | four");
  EXPECT_EQ(ring.ending(11), "four");
  EXPECT_EQ(ring.ending(0), "four");
}

TEST(LogRing, TellsItsFollower) {
  LogRing ring;
  Lines told;
  ring.end();
  ring.follow([&](const LogLine* line) { told.push_back(line != nullptr ? line->text : "the end"); });
  ring.add({0, 1, "a line"});
  ring.end();
  EXPECT_EQ(told, (Lines{"a line", "the end"}));
}

}  // namespace
}  // namespace vanto::manager
