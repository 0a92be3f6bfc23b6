// SPDX-License-Identifier: Apache-2.0
#include "tolvend/LogRing.h"

#include <algorithm>
#include <ctime>
#include <utility>

#include "runtime/LogText.h"
#include "value/limits.h"

namespace vanto::manager {

namespace {

/// What a line counts besides its text, so that empty lines are bounded too.
constexpr std::size_t lineOverhead = sizeof(LogLine);

constexpr std::size_t endingLines = 3;
constexpr std::string_view between = " | ";

std::size_t sizeOf(const LogLine& line) noexcept {
  return lineOverhead + line.text.size();
}

}  // namespace

std::uint64_t realtimeNow() noexcept {
  timespec now{};
  clock_gettime(CLOCK_REALTIME, &now);
  return static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
}

void LogRing::add(LogLine line) {
  if (line.text.size() > limits::managerLogLineBytes) line.text.resize(limits::managerLogLineBytes);
  line.text.shrink_to_fit();
  bytes_ += sizeOf(line);
  lines_.push_back(std::move(line));
  while (bytes_ > limits::managerLogBytes) {
    bytes_ -= sizeOf(lines_.front());
    lines_.pop_front();
  }
  if (follower_) follower_(&lines_.back());
}

void LogRing::end() const {
  if (follower_) follower_(nullptr);
}

std::string LogRing::ending(std::size_t room) const {
  std::string text;
  std::size_t count = 0;
  for (auto line = lines_.rbegin(); line != lines_.rend() && count < endingLines; ++line, ++count) {
    if (line->pid != lines_.back().pid) break;
    const std::string older = LogText(line->text).utf8();
    if (count == 0) {
      text = older;
    } else if (older.size() + between.size() + text.size() > room) {
      break;
    } else {
      text = older + std::string(between) + text;
    }
  }
  return text;
}

void LogAssembly::append(std::string_view text) {
  line_.append(text.substr(0, limits::managerLogLineBytes - std::min(line_.size(), limits::managerLogLineBytes)));
}

void LogAssembly::add(LogRing& ring, pid_t pid, std::string_view piece) {
  for (std::size_t end; (end = piece.find('\n')) != std::string_view::npos; piece.remove_prefix(end + 1)) {
    append(piece.substr(0, end));
    ring.add({realtimeNow(), pid, std::exchange(line_, {})});
  }
  append(piece);
}

void LogAssembly::finish(LogRing& ring, pid_t pid) {
  if (!line_.empty()) ring.add({realtimeNow(), pid, std::exchange(line_, {})});
}

}  // namespace vanto::manager
