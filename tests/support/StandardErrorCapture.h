// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdio>
#include <string>

#include <unistd.h>

#include <gtest/gtest.h>

#include "value/Fd.h"

namespace vanto::testing {

/// Takes the place of the standard error. Text that nobody has taken at its end fails the test.
class StandardErrorCapture {
 public:
  StandardErrorCapture() : file_(std::tmpfile()), kept_(dup(STDERR_FILENO)) {
    std::fflush(stderr);
    dup2(fileno(file_), STDERR_FILENO);
  }
  ~StandardErrorCapture() {
    const std::string rest = take();
    dup2(kept_.get(), STDERR_FILENO);
    std::fclose(file_);
    EXPECT_EQ(rest, "") << "on the standard error";
  }
  StandardErrorCapture(const StandardErrorCapture&) = delete;
  StandardErrorCapture& operator=(const StandardErrorCapture&) = delete;

  /// What was written since the last call.
  [[nodiscard]] std::string take() {
    std::fflush(stderr);
    std::string text;
    char block[4096];
    while (true) {
      const ssize_t length = pread(fileno(file_), block, sizeof block, taken_);
      if (length <= 0) return text;
      text.append(block, static_cast<std::size_t>(length));
      taken_ += length;
    }
  }

 private:
  std::FILE* const file_;
  const Fd kept_;
  off_t taken_ = 0;
};

}  // namespace vanto::testing
