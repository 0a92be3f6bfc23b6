// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "value/Fd.h"

namespace vanto::manager {

/// A descriptor that is given up when there are no more, so that a client can still be told so. One for the whole
/// manager. Main thread only.
class SpareDescriptor {
 public:
  SpareDescriptor() { restore(); }

  /// Makes room for one descriptor. Not if that was done and not made good since.
  void giveUp() noexcept { spare_.reset(); }
  /// To be called when the room is free again.
  void restore() noexcept;

 private:
  Fd spare_;
};

/// What came of an attempt to accept a client.
struct Accepted {
  enum class Result { Client, Nobody, NoDescriptor } result = Result::Nobody;
  Fd socket;
  /// An errno value where there was no descriptor.
  int error = 0;
};

/// Accepts a client of a listening socket, without waiting for one: the socket is made not to block each time, since
/// other processes have it too.
[[nodiscard]] Accepted acceptClient(int listener) noexcept;

/// The same with the help of `spare` if need be: the client must be let go before anything else is opened, and
/// `spare` restored then.
[[nodiscard]] Accepted acceptClient(int listener, SpareDescriptor& spare) noexcept;

}  // namespace vanto::manager
