// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <thread>
#include <vector>

namespace vanto::soak {

/// Clients that connect to the shared service at the same time, and note when they are told that it was not started.
class WaitingClients {
 public:
  explicit WaitingClients(int count);
  ~WaitingClients();
  WaitingClients(const WaitingClients&) = delete;
  WaitingClients& operator=(const WaitingClients&) = delete;

  /// Nanoseconds of CLOCK_MONOTONIC, and the error's text, which is empty for a client that was served.
  struct Story {
    std::int64_t begin = 0;
    std::int64_t end = 0;
    std::string error;
  };
  /// Of each, once all have ended.
  [[nodiscard]] const std::vector<Story>& stories();

 private:
  std::vector<Story> stories_;
  std::vector<std::thread> threads_;
};

}  // namespace vanto::soak
