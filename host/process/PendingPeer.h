// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <sys/types.h>

namespace vanto {

/// A peer that an evaluator is judging, for as long as this object lives: who asks for code meanwhile can mean nobody
/// but such a peer. Any thread.
class PendingPeer {
 public:
  explicit PendingPeer(pid_t pid) noexcept;
  ~PendingPeer();
  PendingPeer(const PendingPeer&) = delete;
  PendingPeer& operator=(const PendingPeer&) = delete;

  /// Whether the code of its process was asked for.
  [[nodiscard]] bool wasCodeAsked() const noexcept;

  /// Notes that the code of the process `pid` is asked for, with all pending peers that it may be; a process of a
  /// foreign namespace has the id 0.
  static void noteCodeAsked(pid_t pid) noexcept;

 private:
  const pid_t pid_;
  bool wasCodeAsked_ = false;
  PendingPeer* next_ = nullptr;
};

}  // namespace vanto
