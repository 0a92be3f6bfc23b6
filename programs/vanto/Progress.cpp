// SPDX-License-Identifier: Apache-2.0
#include "vanto/Progress.h"

#include <utility>

namespace vanto::tool {
namespace {

/// Often enough to be seen moving, seldom enough to cost nothing.
constexpr std::chrono::milliseconds interval{100};

}  // namespace

Progress::Progress(Console& console, std::string work, std::size_t total)
    : console_(console), work_(std::move(work)), total_(total) {
  show();
}

Progress::~Progress() {
  hide();
}

void Progress::advance() {
  ++done_;
  if (console_.messages().isTerminal && Clock::now() >= nextShow_) show();
}

void Progress::hide() {
  if (isShown_) console_.note("\r\x1b[K");
  isShown_ = false;
}

void Progress::show() {
  if (!console_.messages().isTerminal) return;
  console_.note("\r" + work_ + ": " + std::to_string(done_) + " of " + std::to_string(total_) + "\x1b[K");
  isShown_ = true;
  nextShow_ = Clock::now() + interval;
}

}  // namespace vanto::tool
