// SPDX-License-Identifier: Apache-2.0
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "host/process/RunProgram.h"
#include "value/platform/process.h"

namespace {

/// What the child program prints when it is given these arguments.
std::string saved(const std::vector<std::string>& arguments) {
  return vanto::testing::runProgram(ARGUMENTS_CHILD, arguments);
}

std::string joined(const std::vector<std::string>& arguments) {
  std::string text;
  for (const std::string& argument : arguments) text += argument + '\0';
  return text;
}

TEST(Arguments, AreThoseThatTheProgramWasCalledWith) {
  const std::vector<std::string> arguments{"own name", "one", "two words", "\xff\n"};
  EXPECT_EQ(saved(arguments), joined(arguments));
}

TEST(Arguments, KeepEmptyOnesWhereverTheyStand) {
  for (const std::vector<std::string>& arguments :
       {std::vector<std::string>{""}, {"", ""}, {"a", "", "b"}, {"a", ""}}) {
    EXPECT_EQ(saved(arguments), joined(arguments));
  }
}

TEST(Arguments, MayBeManyAndLong) {
  std::vector<std::string> arguments;
  for (std::size_t i = 0; i < 3'000; ++i) arguments.emplace_back(i % 100, 'a');
  arguments.emplace_back(100'000, 'b');
  EXPECT_EQ(saved(arguments), joined(arguments));
}

TEST(Arguments, AreSavedOnceByManyThreads) {
  std::vector<std::thread> threads;
  for (int i = 0; i < 8; ++i) threads.emplace_back([] { vanto_process_save_arguments(); });
  for (std::thread& thread : threads) thread.join();
  EXPECT_GE(_QelGetArgc(), 1);
  EXPECT_NE(_QelGetArgv()[0], nullptr);
  EXPECT_EQ(_QelGetArgv()[_QelGetArgc()], nullptr);
}

}  // namespace
