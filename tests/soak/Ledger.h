// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

/// What the service has done, in a file that all its processes have mapped: nothing is lost with a process that is
/// killed, and nothing need be asked. Any thread of any process.
namespace vanto::soak {

/// CLOCK_MONOTONIC in nanoseconds.
[[nodiscard]] std::int64_t monotonicTime();

class Ledger {
 public:
  /// Failures whose times are kept.
  static constexpr std::size_t rememberedFailures = 64;

  /// Requests that can be told apart; numbers beyond it are not given out.
  static constexpr std::size_t capacity = std::size_t{1} << 25;

  /// The service that is called, and that leaves a ledger beside its executable.
  static constexpr const char* serviceName = "org.example.soak";
  /// Names of files beside the executable.
  static constexpr const char* fileName = "ledger";
  /// What the next process of the service shall do; see SoakService.cpp.
  static constexpr const char* modeFileName = "mode";

  /// Maps the file at `path`, which is made if it is missing. Ends the program when that fails.
  explicit Ledger(const std::string& path);
  Ledger(const Ledger&) = delete;
  Ledger& operator=(const Ledger&) = delete;

  /// Notes that the request `number` is carried out.
  void carryOut(std::uint64_t number) noexcept;
  [[nodiscard]] unsigned timesCarriedOut(std::uint64_t number) const noexcept;

  void noteStart() noexcept { contents_->starts++; }
  void noteExit() noexcept { contents_->exits++; }
  /// Processes that have begun, and those of them that ended by themselves.
  [[nodiscard]] std::uint64_t starts() const noexcept { return contents_->starts; }
  [[nodiscard]] std::uint64_t exits() const noexcept { return contents_->exits; }

  /// Notes that a process which has not begun to listen ends now.
  void noteFailure() noexcept;
  /// When such processes ended that did not before `time`, the oldest first: nanoseconds of CLOCK_MONOTONIC.
  [[nodiscard]] std::vector<std::int64_t> failuresSince(std::int64_t time) const;

 private:
  struct Contents {
    std::atomic<std::uint64_t> starts;
    std::atomic<std::uint64_t> exits;
    /// Of the last ones; the count is that of all.
    std::atomic<std::uint64_t> failures;
    std::atomic<std::int64_t> failureTimes[rememberedFailures];
    std::atomic<std::uint8_t> carriedOut[capacity];
  };
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free && std::atomic<std::uint8_t>::is_always_lock_free);

  /// Mapped as long as the process lives.
  Contents* contents_;
};

}  // namespace vanto::soak
