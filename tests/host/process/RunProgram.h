// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "process/Contents.h"
#include "value/Fd.h"

namespace vanto::testing {

/// Executes the program at `path` with exactly these arguments and gives what it writes to its standard output. It must
/// end with status 0.
[[nodiscard]] inline std::string runProgram(const std::string& path, std::vector<std::string> arguments) {
  std::vector<char*> vector;
  for (std::string& argument : arguments) vector.push_back(argument.data());
  vector.push_back(nullptr);
  int ends[2];
  EXPECT_EQ(pipe2(ends, O_CLOEXEC), 0);
  const Fd reader(ends[0]);
  Fd writer(ends[1]);
  const pid_t child = fork();
  if (child == 0) {
    dup2(writer.get(), STDOUT_FILENO);
    execv(path.c_str(), vector.data());
    _exit(127);
  }
  writer.reset();
  GrowingBytes output;
  EXPECT_EQ(readContents(reader.get(), std::size_t{1} << 24, output), 0);
  int status = 0;
  EXPECT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, 0);
  return std::string(output.text());
}

}  // namespace vanto::testing
