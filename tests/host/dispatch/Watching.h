// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <functional>
#include <new>
#include <utility>

#include <sys/socket.h>

#include <gtest/gtest.h>

#include "dispatch/Workers.h"
#include "value/Fd.h"
#include "value/ValueStorage.h"

namespace vanto::testing {

/// A watched object that calls a function.
class Watching final : public Watched {
 public:
  using Function = std::function<void(std::uint32_t events)>;

  [[nodiscard]] static Ref<Watching> create(Function function) {
    return Ref<Watching>::adopt(::new (allocate(sizeof(Watching))) Watching(std::move(function)));
  }

 private:
  explicit Watching(Function function)
      : Watched(descriptor_,
                [](Watched& self, std::uint32_t events) noexcept { static_cast<Watching&>(self).function_(events); }),
        function_(std::move(function)) {}

  static void destroy(Object& self) noexcept {
    static_cast<Watching&>(self).~Watching();
    deallocate(&self);
  }

  static constexpr Class descriptor_{"Watching", &objectClass, NoKind, &destroy, nullptr, nullptr};

  Function function_;
};

/// Two connected sockets that keep the bounds of messages.
class Sockets {
 public:
  Sockets() {
    std::array<int, 2> ends;
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends.data()), 0);
    near_.reset(ends[0]);
    far_.reset(ends[1]);
  }

  [[nodiscard]] int near() const { return near_.get(); }

  /// Makes the near end readable once more.
  void send() const { EXPECT_EQ(::send(far_.get(), "x", 1, MSG_NOSIGNAL), 1); }

  /// Takes in what can be read at the near end; the number of messages.
  int receiveAll() const {
    int count = 0;
    char byte;
    while (recv(near_.get(), &byte, 1, 0) == 1) ++count;
    return count;
  }

 private:
  Fd near_;
  Fd far_;
};

}  // namespace vanto::testing
