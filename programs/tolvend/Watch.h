// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <functional>

#include <VantoService/Ref.h>

namespace vanto::manager {

class WatchedFunction;

/// Has a function called while a descriptor is ready. It may be stopped, or come to its end, inside that call; the
/// function must then use nothing any more that ended with it. Main thread only.
class Watch {
 public:
  using Function = std::function<void(std::uint32_t events)>;

  Watch() noexcept;
  ~Watch();
  Watch(const Watch&) = delete;
  Watch& operator=(const Watch&) = delete;

  /// Calls `ready` with the events of epoll(7). `descriptor` must stay open until stop(). 0, or an errno value.
  [[nodiscard]] int start(int descriptor, std::uint32_t events, Function ready);
  /// Waits for other events from now on. With 0 only errors and hang-ups are told.
  void change(std::uint32_t events) noexcept;
  /// Nothing is called any more. Does nothing when it is not started.
  void stop() noexcept;

  [[nodiscard]] bool isStarted() const noexcept { return static_cast<bool>(watched_); }

 private:
  Ref<WatchedFunction> watched_;
  int descriptor_ = -1;
};

}  // namespace vanto::manager
