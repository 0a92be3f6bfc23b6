// SPDX-License-Identifier: Apache-2.0
#include "vanto/InputFile.h"

#include <fstream>
#include <string>

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "support/TemporaryDirectory.h"

namespace vanto::tool {
namespace {

TEST(InputFile, IsReadWhole) {
  const test::TemporaryDirectory directory;
  const std::string contents(200'000, 'x');
  std::ofstream(directory / "file") << contents;
  std::string problem;
  EXPECT_EQ(readInput(directory / "file", problem), contents);
  EXPECT_EQ(readInput("/proc/self/comm", problem).has_value(), true);
}

TEST(InputFile, NamesWhatCannotBeRead) {
  const test::TemporaryDirectory directory;
  std::string problem;
  EXPECT_FALSE(readInput(directory / "a\nb", problem));
  EXPECT_EQ(problem, directory.path() + "/a\\nb: cannot be opened: No such file or directory");
  EXPECT_FALSE(readInput(directory.path(), problem));
  EXPECT_EQ(problem, directory.path() + ": cannot be read: Is a directory");
}

TEST(InputFile, HasALimit) {
  const test::TemporaryDirectory directory;
  const std::string path = directory / "large";
  std::ofstream(path).close();
  ASSERT_EQ(truncate(path.c_str(), off_t{64} << 20), 0);
  std::string problem;
  EXPECT_TRUE(readInput(path, problem));
  ASSERT_EQ(truncate(path.c_str(), (off_t{64} << 20) + 1), 0);
  EXPECT_FALSE(readInput(path, problem));
  EXPECT_NE(problem.find("64 MiB"), problem.npos);
  EXPECT_FALSE(readInput("/dev/zero", problem));
}

TEST(InputFile, HasTheLimitThatIsAskedFor) {
  const test::TemporaryDirectory directory;
  const InputLimit limit{3, "what it may be"};
  std::ofstream(directory / "file") << "abc";
  std::string problem;
  EXPECT_EQ(readInput(directory / "file", problem, InputKind::Any, limit), "abc");
  std::ofstream(directory / "file") << "abcd";
  EXPECT_FALSE(readInput(directory / "file", problem, InputKind::Any, limit));
  EXPECT_EQ(problem, directory.path() + "/file: is larger than what it may be");
}

TEST(InputFile, WaitsForNobodyWhereItIsToBeARegularFile) {
  const test::TemporaryDirectory directory;
  ASSERT_EQ(mkfifo((directory / "pipe").c_str(), 0600), 0);
  std::string problem;
  EXPECT_FALSE(readInput(directory / "pipe", problem, InputKind::RegularFile));
  EXPECT_EQ(problem, directory.path() + "/pipe: is no regular file");
  std::ofstream(directory / "file") << "x";
  EXPECT_EQ(readInput(directory / "file", problem, InputKind::RegularFile), "x");
}

TEST(InputFile, IsStandardInputForADash) {
  EXPECT_EQ(nameOfInput("-"), "standard input");
  EXPECT_EQ(nameOfInput("./-"), "./-");
}

}  // namespace
}  // namespace vanto::tool
