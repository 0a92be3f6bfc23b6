// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>

#include "dispatch/Workers.h"
#include "ipc/Endpoint.h"
#include "ipc/ServiceSocket.h"
#include "process/AuditToken.h"

namespace vanto {

class Connection;
class Listener;

/// What the workers watch for a listener. The two own each other until the listener is closed.
class ListenerWatch final : public Watched {
 public:
  [[nodiscard]] static Ref<ListenerWatch> create(Listener& listener) noexcept;

 private:
  explicit ListenerWatch(Listener& listener) noexcept;
  static void becameReady(Watched& self, std::uint32_t events) noexcept;
  static void destroy(Object& self) noexcept;
  static const Class watchClass;

  const Ref<Listener> listener_;
};

/// Listens for the clients of a service. One worker at a time accepts: it looks at the client, has the evaluator judge
/// it, and greets or refuses it. The client becomes an event when it has answered.
class Listener final : public Endpoint {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_LISTENER;

  [[nodiscard]] static Ref<Listener> create(const char* name, Ref<dispatch_queue_s> queue) noexcept;

  void resume() noexcept;
  void closeListener() noexcept;

  /// A client has answered the greeting.
  void admit(Connection& connection) noexcept;

  /// The one connection that this process, one of several instances, was started for is over: the process ends as soon
  /// as nothing is in hand.
  static void endOfInstance() noexcept;

 private:
  friend class ListenerWatch;
  enum class Attempt : std::uint8_t { Accepted, Nothing, TryLater };
  /// What a worker that accepts comes upon.
  struct Turn {
    /// Another client may wait.
    bool mayGoOn = true;
    /// A client whose first frame is there, to be read when nobody is accepting.
    Ref<Connection> spoken;
  };

  Listener(const char* name, Ref<dispatch_queue_s> queue) noexcept;
  ~Listener();
  static void destroy(Object& self) noexcept;
  static const Class listenerClass;

  void open() noexcept;
  void openForConnectionLocked() noexcept;
  void tellStartedLocked() noexcept;
  void acceptAll() noexcept;
  [[nodiscard]] Attempt acceptOne(Turn& turn) noexcept;
  [[nodiscard]] Attempt turnAway() noexcept;
  [[nodiscard]] bool receive(Fd socket, Turn& turn) noexcept;
  [[nodiscard]] vanto_error_code_t greet(Fd& socket, const ProcessFacts& facts, Turn& turn) noexcept;
  [[nodiscard]] bool look(int client, Turn& turn) const noexcept;
  void stopLocked() noexcept;
  void closeSocketLocked() noexcept;

  static void stopAll(void* unused) noexcept;
  [[nodiscard]] static bool retireIfIdle(std::uint64_t nanoseconds) noexcept;
  [[nodiscard]] bool join() noexcept;
  void leave() noexcept;

  const std::string name_;
  ServiceSocket socket_;
  Ref<ListenerWatch> watch_;
  /// A descriptor to be given up when there are no more, so that a client can still be turned away.
  Fd spare_;
  bool isClosed_ = false;
  /// The program has closed it, and wants no further client. A process that is asked to end still serves those that
  /// were greeted before: their first request may have been read already.
  bool isClosedByUser_ = false;
  bool isWatched_ = false;
  /// Some worker accepts; the socket then stays open.
  bool isAccepting_ = false;
  bool mustAcceptAgain_ = false;
  /// Closed while somebody accepted, who closes the socket; in hand until then.
  bool mustClose_ = false;
  /// The manager knows that it accepts, and is to know when it does not any more.
  bool isToldOf_ = false;
  /// The one connection of an instance was greeted; belongs to the worker that accepts.
  bool hasGreeted_ = false;
  /// All open listeners, for the end of the process; under a lock of their own.
  Listener* next_ = nullptr;
  Listener* previous_ = nullptr;
  bool isListed_ = false;
};

}  // namespace vanto
