// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <VantoService/vanto.h>

#include "soak/Tally.h"

namespace vanto::soak {

/// Clients that call the services again and again, on connections of their own.
class Load {
 public:
  /// What clients allow for connecting and for calling, in nanoseconds, unless they are in haste.
  static constexpr std::uint64_t bound = 10'000'000'000;

  explicit Load(Tally& tally);
  /// Ends the clients once they are done with what they have begun.
  ~Load();
  Load(const Load&) = delete;
  Load& operator=(const Load&) = delete;

  /// Returns when the clients have nothing in hand; they begin nothing until resume().
  void pause();
  void resume();

  /// One request of the caller's own, which takes the service so many milliseconds. Whether it was answered.
  bool request(Service service, int milliseconds, std::uint64_t allowed = bound);

  enum class Habit {
    /// One request after the other on a connection.
    OneByOne,
    /// Several in flight.
    AtOnce,
    /// One request on each connection, with little time for it.
    Haste,
  };
  struct Client {
    Service service;
    Habit habit;
  };

 private:
  void run(Client client, unsigned seed);
  [[nodiscard]] bool enter();
  void leave();
  void callOneByOne(Service service, int count);
  void callAtOnce(Service service, int count);

  Tally& tally_;
  std::mutex mutex_;
  std::condition_variable changed_;
  bool isPaused_ = false;
  bool isEnding_ = false;
  /// Clients between enter() and leave().
  int inside_ = 0;
  std::vector<std::thread> threads_;
};

}  // namespace vanto::soak
