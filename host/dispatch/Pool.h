// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>

#include "dispatch/RunnableQueues.h"
#include "dispatch/Timers.h"
#include "dispatch/WatchTable.h"

namespace vanto {

/// The worker threads; one pool per process, never destroyed. How it works is told in Pool.cpp.
class Pool {
 public:
  /// More threads than this are never made, however many handlers block.
  static constexpr std::uint32_t maximumWorkers = 64;

  [[nodiscard]] static Pool& shared() noexcept;

  /// Has no thread ever made: all there is to do is done by the main thread, in join(), or not at all. A handler that
  /// blocks then holds up everything. Timers that were taken away do not wake the process either. To be called before
  /// the first use of the pool.
  void useOnlyMainThread() noexcept;
  /// Whether the calling thread is the only worker that there will ever be.
  [[nodiscard]] bool isOnlyWorkerHere() const noexcept;

  /// Makes the epoll set and the first worker where they do not exist. False with errno when that is impossible.
  [[nodiscard]] bool start() noexcept;

  [[nodiscard]] bool watch(Watched& watched, int descriptor, std::uint32_t events) noexcept;
  void change(Watched& watched, int descriptor, std::uint32_t events) noexcept;
  void unwatch(Watched& watched, int descriptor) noexcept;
  void setTimer(Watched& watched, std::uint64_t deadline) noexcept;

  /// When a queue that waits for a worker shall get one.
  enum class Urgency : std::uint8_t {
    WhenConvenient,  ///< a running handler that returns may take it
    AtOnce           ///< the caller is going to wait for it
  };

  /// Has a worker run a queue that the caller owns; ownership goes with it. Where no worker can be made the queue waits
  /// until the next call of start() that succeeds.
  void serve(dispatch_queue_s& queue, Urgency urgency) noexcept;

  /// Runs a queue that waits for a worker on the calling thread, which is the only worker and waits for something.
  /// False when there is none.
  [[nodiscard]] bool runQueueInPlace() noexcept;

  /// Makes the calling thread a worker for good.
  [[noreturn]] void join() noexcept;

  /// Number of worker threads, for tests.
  [[nodiscard]] std::uint32_t workerCount() const noexcept { return workers_.load(); }

 private:
  enum class Role : std::uint8_t { Waiting, Monitoring, Leaving };
  enum class Origin : std::uint8_t { Made, Adopted };

  [[nodiscard]] bool openDescriptors() noexcept;
  [[nodiscard]] bool createThread(Role role) noexcept;
  void work(Role role, Origin origin) noexcept;

  void monitor() noexcept;
  [[nodiscard]] bool waitForEvent() noexcept;
  [[nodiscard]] bool handle(std::uint64_t name, std::uint32_t events) noexcept;
  [[nodiscard]] bool runOneQueue() noexcept;

  void leaveWatch() noexcept;
  void promote() noexcept;
  [[nodiscard]] bool claimParked() noexcept;
  [[nodiscard]] Role rejoin(Origin origin) noexcept;
  [[nodiscard]] Role park() noexcept;

  void wakeForQueue(Urgency urgency) noexcept;
  [[nodiscard]] std::uint32_t activeWorkers() const noexcept;
  [[nodiscard]] bool hasBacklog() const noexcept;

  WatchTable table_;
  Timers timers_;
  RunnableQueues runnable_;

  /// Who keeps watch: bits 0 to 15 count the workers that wait in the epoll set, bits 16 to 31 those that monitor; bits
  /// 32 to 63 count how often a worker left its watch to run something. This word, parked_ and the count of runnable_
  /// are always used in sequentially consistent order.
  std::atomic<std::uint64_t> watch_{0};
  /// Threads in the pool, an adopted one included.
  std::atomic<std::uint32_t> workers_{0};
  /// Threads that sleep until they are claimed, less the claims.
  std::atomic<std::uint32_t> parked_{0};
  /// Claims that no parked thread has taken up yet.
  std::atomic<std::uint32_t> claims_{0};
  /// Changes when the monitoring worker shall look for queues.
  std::atomic<std::uint32_t> calls_{0};

  /// Guards the start.
  std::mutex mutex_;
  std::atomic<bool> isOpen_{false};
  /// Never changes once the pool is used.
  bool hasOnlyMainThread_ = false;
  /// Processors that this process may use when the pool starts.
  std::uint32_t processors_ = 1;
  /// Threads that stay when there is nothing to do.
  std::uint32_t keptWorkers_ = 4;
  int epoll_ = -1;
  int wakeDescriptor_ = -1;
  int timerDescriptor_ = -1;
};

}  // namespace vanto
