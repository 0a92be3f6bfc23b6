// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <memory>
#include <utility>
#include <vector>

#include <sys/types.h>

#include "process/ExecutableFile.h"
#include "value/Fd.h"
#include "value/limits.h"

namespace vanto {

/// A peer that an evaluator is judging on this thread, for as long as this object lives: who asks for code meanwhile
/// can mean nobody but such a peer. What the evaluator is handed out belongs to it, and goes with it. Made and
/// destroyed by one thread; noteCodeAsked() is for any.
class PendingPeer {
 public:
  /// `process` is a descriptor of it, maybe none.
  PendingPeer(pid_t pid, const Fd& process) noexcept;
  ~PendingPeer();
  PendingPeer(const PendingPeer&) = delete;
  PendingPeer& operator=(const PendingPeer&) = delete;

  /// The one that is judged on this thread; null when there is none.
  [[nodiscard]] static PendingPeer* ofThisThread() noexcept;

  [[nodiscard]] pid_t pid() const noexcept { return pid_; }
  [[nodiscard]] const Fd& process() const noexcept { return process_; }

  /// Whether the code of its process was asked for.
  [[nodiscard]] bool wasCodeAsked() const noexcept;

  /// Notes that the code of the process `pid` is asked for, with all pending peers that it may be; a process of a
  /// foreign namespace has the id 0.
  static void noteCodeAsked(pid_t pid) noexcept;

  /// Notes what file the code is that the evaluator was told of.
  void noteExecutable(ExecutableFile executable) noexcept { executable_ = executable; }
  /// That file; unknown when the evaluator was told of none.
  [[nodiscard]] ExecutableFile executable() const noexcept { return executable_; }

  /// Makes an object that lives as long as this one. Null beyond limits::codeObjectsPerPeer.
  template <typename T>
  [[nodiscard]] T* make(T value) {
    if (kept_.size() == limits::codeObjectsPerPeer) return nullptr;
    auto made = std::make_shared<T>(std::move(value));
    T* result = made.get();
    kept_.push_back(std::move(made));
    return result;
  }

 private:
  const pid_t pid_;
  const Fd& process_;
  bool wasCodeAsked_ = false;
  ExecutableFile executable_;
  std::vector<std::shared_ptr<void>> kept_;
  PendingPeer* next_ = nullptr;
  /// The one that this thread was judging before; an evaluator may call what judges peers itself.
  PendingPeer* outer_ = nullptr;
};

}  // namespace vanto
