// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>
#include <vector>

#include <VantoService/vanto.h>

#include "soak/Tally.h"

namespace vanto::soak {

/// Clients that call the service again and again, on connections of their own: half of them one request after the
/// other, half with several in flight.
class Load {
 public:
  /// Nanoseconds within which a request must end: its connection and its call may take so long each.
  static constexpr std::uint64_t bound = 10'000'000'000;
  /// What a loaded machine may need beyond that.
  static constexpr std::uint64_t slack = 5'000'000'000;

  Load(Tally& tally, int clients);
  /// Ends the clients once they are done with what they have begun.
  ~Load();
  Load(const Load&) = delete;
  Load& operator=(const Load&) = delete;

  /// Returns when the clients have nothing in hand; they begin nothing until resume().
  void pause();
  void resume();

  /// One request of the caller's own, which takes the service so many milliseconds. Whether it was answered.
  bool request(int milliseconds);

 private:
  void run(int client);
  [[nodiscard]] bool enter();
  void leave();
  void callOneByOne(int count);
  void callAtOnce(int count);

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
