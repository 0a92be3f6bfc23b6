// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include <VantoService/vanto.h>

#include "soak/Ledger.h"

namespace vanto::soak {

/// What became of the requests. Any thread.
class Tally {
 public:
  Tally();
  Tally(const Tally&) = delete;
  Tally& operator=(const Tally&) = delete;

  /// The number of a new request.
  [[nodiscard]] std::uint64_t begin() noexcept { return next_++; }
  [[nodiscard]] std::uint64_t begun() const noexcept { return next_.load(); }
  [[nodiscard]] bool isFull() const noexcept { return next_ >= Ledger::capacity / 2; }

  /// Notes how a request ended, after so many nanoseconds: with a reply, or an error object, which may also have come
  /// in place of a connection.
  void end(std::uint64_t number, vanto_object_t outcome, double nanoseconds);

  /// Errors until now.
  [[nodiscard]] std::uint64_t errors() const noexcept { return errors_; }

  /// Compares with what the service has noted, and prints the figures. True when none is wrong: each request ended
  /// within its bound and once, was carried out once if it was answered and at most once if not, and no service hung.
  [[nodiscard]] bool report(const Ledger& ledger, double longestAllowed) const;

 private:
  enum class End : std::uint8_t { None = 0, Answered = 1, Failed = 2 };
  struct Counts;

  [[nodiscard]] Counts count(const Ledger& ledger) const;

  std::atomic<std::uint64_t> next_ = 0;
  std::atomic<std::uint64_t> errors_ = 0;
  /// For each request, how it ended.
  const std::unique_ptr<std::atomic<End>[]> ends_;
  std::atomic<std::uint64_t> endedTwice_ = 0;
  std::atomic<std::uint64_t> wrongReplies_ = 0;
  mutable std::mutex mutex_;
  /// By code, and stage where the manager has said one.
  std::map<std::string, std::uint64_t> errorsByKind_;
  std::uint64_t unexpected_ = 0;
  double longest_ = 0;
};

}  // namespace vanto::soak
