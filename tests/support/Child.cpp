// SPDX-License-Identifier: Apache-2.0
#include "support/Child.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <sstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include "value/Fd.h"

namespace vanto::testing {
namespace {

constexpr int failedExpectation = 99;

/// Ends the child without any clean-up: what the test has open belongs to the parent.
[[noreturn]] void end(int status) {
  std::fflush(nullptr);
  _exit(status);
}

[[noreturn]] void runAndEnd(const std::function<void(const ChildReport&)>& work, int descriptor) {
  // The last handler to be registered is the first to run when `work` calls exit().
  on_exit([](int status, void*) { end(status); }, nullptr);
  work(ChildReport(descriptor));
  end(::testing::Test::HasFailure() ? failedExpectation : 0);
}

std::vector<std::string> linesOf(int descriptor) {
  std::stringstream text;
  std::array<char, 4096> buffer;
  for (;;) {
    const ssize_t count = read(descriptor, buffer.data(), buffer.size());
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) break;
    text.write(buffer.data(), count);
  }
  std::vector<std::string> lines;
  for (std::string line; std::getline(text, line);) lines.push_back(line);
  return lines;
}

std::string endOf(pid_t child) {
  int status = 0;
  while (waitpid(child, &status, 0) < 0) {
    if (errno != EINTR) return "lost";
  }
  if (WIFEXITED(status)) return "exit status " + std::to_string(WEXITSTATUS(status));
  return "signal " + std::to_string(WTERMSIG(status));
}

}  // namespace

void ChildReport::operator()(std::string_view line) const {
  const std::array<iovec, 2> parts{{{const_cast<char*>(line.data()), line.size()}, {const_cast<char*>("\n"), 1}}};
  if (writev(descriptor_, parts.data(), parts.size()) != static_cast<ssize_t>(line.size() + 1)) std::abort();
}

ChildOutcome runInChild(const std::function<void(const ChildReport&)>& work) {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0) std::abort();
  const Fd reading(ends[0]);
  Fd writing(ends[1]);
  std::fflush(nullptr);
  const pid_t child = fork();
  if (child < 0) std::abort();
  if (child == 0) runAndEnd(work, writing.get());
  writing.reset();
  ChildOutcome outcome;
  outcome.lines = linesOf(reading.get());
  outcome.end = endOf(child);
  return outcome;
}

}  // namespace vanto::testing
