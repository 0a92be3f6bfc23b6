// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

/// What the service has done, in a file that all its processes have mapped: nothing is lost with a process that is
/// killed, and nothing need be asked. Any thread of any process.
namespace vanto::soak {

/// CLOCK_MONOTONIC in nanoseconds.
[[nodiscard]] std::int64_t monotonicTime();

/// The services that are called: one with a process for all its clients, and one with a process for each connection.
enum class Service : std::uint8_t { Shared, Multiple };
constexpr Service services[] = {Service::Shared, Service::Multiple};

/// The name of a service, which its executable has too.
[[nodiscard]] constexpr const char* nameOf(Service service) noexcept {
  return service == Service::Shared ? "org.example.soak" : "org.example.soak.multiple";
}

class Ledger {
 public:
  /// Failures whose times are kept.
  static constexpr std::size_t rememberedFailures = 64;

  /// Requests that can be told apart; numbers beyond it are not given out.
  static constexpr std::size_t capacity = std::size_t{1} << 25;

  /// The name of the one file that all services have beside their executables.
  static constexpr const char* fileName = "ledger";
  /// What is added to the path of an executable for the file which says what the next process of it shall do; see
  /// SoakService.cpp.
  static constexpr const char* modeSuffix = ".mode";

  /// Maps the file at `path`, which is made if it is missing. Ends the program when that fails.
  explicit Ledger(const std::string& path);
  Ledger(const Ledger&) = delete;
  Ledger& operator=(const Ledger&) = delete;

  /// Notes that a service carries out the request `number`.
  void carryOut(Service service, std::uint64_t number) noexcept;
  [[nodiscard]] unsigned timesCarriedOut(std::uint64_t number) const noexcept;

  void noteStart(Service service) noexcept { page(service).starts++; }
  void noteExit(Service service) noexcept { page(service).exits++; }
  /// Processes that have begun, those of them that ended by themselves, and what was carried out in all.
  [[nodiscard]] std::uint64_t starts(Service service) const noexcept { return page(service).starts; }
  [[nodiscard]] std::uint64_t exits(Service service) const noexcept { return page(service).exits; }
  [[nodiscard]] std::uint64_t requests(Service service) const noexcept { return page(service).requests; }

  /// Notes that a process which has not begun to listen ends now.
  void noteFailure(Service service) noexcept;
  /// When such processes ended that did not before `time`, the oldest first: nanoseconds of CLOCK_MONOTONIC.
  [[nodiscard]] std::vector<std::int64_t> failuresSince(Service service, std::int64_t time) const;

 private:
  /// What one service has done.
  struct Page {
    std::atomic<std::uint64_t> starts;
    std::atomic<std::uint64_t> exits;
    std::atomic<std::uint64_t> requests;
    /// Of the last ones; the count is that of all.
    std::atomic<std::uint64_t> failures;
    std::atomic<std::int64_t> failureTimes[rememberedFailures];
  };
  struct Contents {
    Page pages[std::size(services)];
    std::atomic<std::uint8_t> carriedOut[capacity];
  };
  static_assert(std::atomic<std::uint64_t>::is_always_lock_free && std::atomic<std::uint8_t>::is_always_lock_free);

  [[nodiscard]] Page& page(Service service) const noexcept {
    return contents_->pages[static_cast<std::size_t>(service)];
  }

  /// Mapped as long as the process lives.
  Contents* contents_;
};

}  // namespace vanto::soak
