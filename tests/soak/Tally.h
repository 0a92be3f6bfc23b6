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

/// How long a client spent on one step, connecting or calling or both in one, in nanoseconds.
struct Spent {
  /// What the client has allowed.
  std::int64_t bound;
  std::int64_t time;
};

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

  /// Notes how a request ended, and its last step: with a reply, or an error object, which may also have come in place
  /// of a connection.
  void end(std::uint64_t number, vanto_object_t outcome, Spent last);
  /// Notes a step that was not the last one.
  void noteStep(Spent step);

  /// Errors until now, but for those of clients who did not wait.
  [[nodiscard]] std::uint64_t errors() const noexcept { return errors_; }

  /// Compares with what the services have noted, and prints the figures. True when none is wrong: each request ended
  /// once, each step of it within its own bound and what a loaded machine needs beyond that, and it was carried out
  /// once if it was answered, not at all if there was no service, and at most once else.
  [[nodiscard]] bool report(const Ledger& ledger) const;

 private:
  /// Untouched: with an error by which nobody has seen the request.
  enum class End : std::uint8_t { None = 0, Answered = 1, Failed = 2, Untouched = 3 };
  struct Counts;

  [[nodiscard]] Counts count(const Ledger& ledger) const;
  [[nodiscard]] bool reportTimes() const;

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
  std::uint64_t timeOuts_ = 0;
  std::int64_t longest_ = 0;
  /// What a step took beyond its bound, if it did.
  std::int64_t mostBeyond_ = 0;
};

}  // namespace vanto::soak
