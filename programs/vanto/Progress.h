// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>
#include <cstddef>
#include <string>

#include "vanto/Console.h"

namespace vanto::tool {

/// A line on the terminal of the messages that says how far long work is, shown at once and gone when the work is done.
/// Nothing is shown anywhere else.
class Progress {
 public:
  /// `work` says what is done: "reading services".
  Progress(Console& console, std::string work, std::size_t total);
  ~Progress();
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  /// One more of the total is done.
  void advance();
  /// Takes the line away, so that something else can be said; a later step brings it back.
  void hide();

 private:
  using Clock = std::chrono::steady_clock;
  void show();

  Console& console_;
  std::string work_;
  std::size_t total_;
  std::size_t done_ = 0;
  bool isShown_ = false;
  Clock::time_point nextShow_;
};

}  // namespace vanto::tool
