// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "dispatch/Workers.h"
#include "ipc/BodyRoom.h"
#include "ipc/ChunkAssembly.h"
#include "ipc/Credit.h"
#include "ipc/Endpoint.h"
#include "ipc/FrameSocket.h"
#include "ipc/Listener.h"
#include "ipc/PeerCredentials.h"
#include "ipc/PendingCalls.h"
#include "ipc/SendQueue.h"
#include "ipc/Waiter.h"
#include "process/AuditToken.h"

namespace vanto {

class Connection;
class MessageObject;

/// What the workers watch for a connection. The two own each other until the connection has ended.
class ConnectionWatch final : public Watched {
 public:
  [[nodiscard]] static Ref<ConnectionWatch> create(Connection& connection) noexcept;

 private:
  explicit ConnectionWatch(Connection& connection) noexcept;
  static void becameReady(Watched& self, std::uint32_t events) noexcept;
  static void destroy(Object& self) noexcept;
  static const Class watchClass;

  const Ref<Connection> connection_;
};

/// What a service knows of a client that has not answered its greeting yet.
struct Handshake {
  Greeting greeting;
  Ref<Listener> listener;
  /// Whether the client was admitted for its code. Then what follows is known of its process, and must still hold.
  bool isValidated = false;
  Fd process;
  ExecutableFile executable;
  std::uint64_t deadline = UINT64_MAX;
  /// Whether this process was started for this connection and ends with it.
  bool isOfInstance = false;
  /// Whether the greeting was sent: it is not when an early request was there first.
  bool isGreeted = false;
  bool hasAskedEarly = false;
};

/// One end of a connection; how it works is told in Connection.cpp.
class Connection final : public Endpoint {
 public:
  static constexpr vanto_kind_t objectKind = VANTO_KIND_CONNECTION;
  enum class FirstFrame : std::uint8_t { IsAwaited, IsThere };

  /// The end of a client that has answered the greeting. `receiveTimeout` is the socket's own one; 0 for none.
  [[nodiscard]] static Ref<Connection> createForClient(Fd socket, const ProcessFacts& peer, const Greeting& greeting,
                                                       std::uint64_t receiveTimeout,
                                                       Ref<dispatch_queue_s> queue) noexcept;
  /// The end of a service that has sent the greeting: waits for the answer, and gives itself to the listener then.
  /// It is then counted by UserLimit, which it takes over in any case. A first frame that is there is for readFirst(),
  /// which has to be called then; one that is awaited is for the workers.
  [[nodiscard]] static Ref<Connection> accept(Fd socket, const ProcessFacts& peer, std::unique_ptr<Handshake> handshake,
                                              Ref<dispatch_queue_s> queue, FirstFrame firstFrame) noexcept;
  void readFirst() noexcept;
  /// Leaves that frame to the workers after all.
  void watchFirst() noexcept;

  /// Waits for the reply to `request`, which was sent before anything was received; `first` is what came then, where it
  /// was no greeting, and null otherwise. Gives what vanto_call() does.
  [[nodiscard]] Ref<vanto_object> awaitEarlyReply(const FrameHeader& request, ReceivedFrame* first,
                                                  std::uint64_t timeout) noexcept;

  // What the functions of the same names do.
  void resume() noexcept;
  [[nodiscard]] vanto_error_code_t send(vanto_object_t message, std::uint64_t timeout) noexcept;
  [[nodiscard]] Ref<vanto_object> call(vanto_object_t message, std::uint64_t timeout) noexcept;
  [[nodiscard]] std::uint64_t callAsync(vanto_object_t message, std::uint64_t timeout, vanto_reply_function_t function,
                                        void* context) noexcept;
  void cancel(std::uint64_t id) noexcept;
  void closeConnection() noexcept;
  [[nodiscard]] ProcessFacts peer() noexcept;
  /// A descriptor of the peer's process; none with errno when it is gone or cannot be told.
  [[nodiscard]] Fd openPeer() noexcept;

  /// Whether it ended, and the other end had not read all that was sent. For whoever read it until then.
  [[nodiscard]] bool wasLeftUnread() const noexcept { return wasLeftUnread_; }

  /// Its last event was delivered, or there will be nobody to deliver it to.
  void isOverForUser() noexcept;

  /// The listener's handler has seen the connection: one that it neither kept nor resumed is let go.
  void wasDelivered() noexcept;

 private:
  friend class ConnectionWatch;
  friend class MessageObject;

  enum class State : std::uint8_t { AwaitingAnswer, Open, Closing, Ended };
  /// Who ends a connection: the thread that reads, or any other one.
  enum class Ender : std::uint8_t { Reader, Other };
  /// What is let go once the lock is free.
  struct Afterwards {
    ~Afterwards();

    OutgoingList outgoing;
    std::vector<Event> events;
    std::unique_ptr<Handshake> handshake;
    Ref<ConnectionWatch> watch;
    /// Whose first reference, which is the library's own, is to be dropped.
    Connection* lettingGo = nullptr;
    /// How often something that Activity counts came to its end.
    int endedActivities = 0;
  };
  /// Who tries again when the socket takes no more: the workers, or the calling thread, which is going to wait on it.
  enum class Retry : std::uint8_t { ByWorkers, ByCaller };
  using Lock = std::unique_lock<std::mutex>;

  Connection(Fd socket, const ProcessFacts& peer, Ref<dispatch_queue_s> queue) noexcept;
  ~Connection();
  static void destroy(Object& self) noexcept;
  static const Class connectionClass;

  // Connection.cpp: life.
  void becameReady(std::uint32_t events) noexcept;
  [[nodiscard]] bool watchLocked() noexcept;
  [[nodiscard]] std::uint32_t watchedEventsLocked() const noexcept;
  void changeWatchingLocked() noexcept;
  void muteLocked() noexcept;
  void unmuteLocked() noexcept;
  void setTimerLocked(std::uint64_t deadline) noexcept;
  void timerExpired() noexcept;
  void sendAgain() noexcept;
  void endLocked(vanto_error_code_t code, Afterwards& afterwards, const char* text = nullptr,
                 Ender ender = Ender::Other) noexcept;
  void resolveLocked(PendingCall& call, Ref<vanto_object> result) noexcept;
  void closeSocketLocked(Ender ender) noexcept;
  void settle(Lock& lock, Delivery delivery) noexcept;

  // ConnectionReading.cpp: frames that arrive.
  enum class Step : std::uint8_t { Frame, Nothing, Ended };
  void readAsWorker(std::uint32_t events) noexcept;
  [[nodiscard]] bool mayBeMore(std::uint32_t events, int count) noexcept;
  [[nodiscard]] Step readFrame(Waiting waiting) noexcept;
  void endReadingLocked(Lock& lock) noexcept;
  void endBecause(vanto_error_code_t code, const char* text = nullptr) noexcept;
  [[nodiscard]] bool take(ReceivedFrame& frame) noexcept;
  [[nodiscard]] bool takeAnswer(const ReceivedFrame& frame) noexcept;
  [[nodiscard]] bool takeEarlyRequest(ReceivedFrame& frame) noexcept;
  void openLocked(const FrameSender& client, std::uint32_t windowMessages, std::uint32_t windowBytes,
                  Afterwards& afterwards) noexcept;
  [[nodiscard]] std::optional<ExecutableFile> executableOfClient() noexcept;
  [[nodiscard]] vanto_error_code_t checkAnswerLocked(const ReceivedFrame& frame, const Greeting& answer,
                                                     std::optional<ExecutableFile> executable) noexcept;
  [[nodiscard]] bool takeStart(ReceivedFrame& frame, ChunkAssemblies::Wanted wanted) noexcept;
  [[nodiscard]] bool takeChunk(ReceivedFrame& frame) noexcept;
  [[nodiscard]] bool takeCancelLocked(const FrameHeader& header) noexcept;
  [[nodiscard]] bool takeBody(const FrameHeader& header, std::span<const std::uint8_t> body,
                              std::vector<Fd>& descriptors, BodyRoom room) noexcept;
  void takeMessage(const FrameHeader& header, Ref<vanto_object> body, BodyRoom room) noexcept;
  void takeReply(const FrameHeader& header, Ref<vanto_object> body) noexcept;
  [[nodiscard]] bool isPeer(const FrameSender& sender) const noexcept;
  [[nodiscard]] bool beginMessageLocked(const FrameHeader& header) noexcept;
  [[nodiscard]] bool takeCreditLocked(const FrameHeader& header, Afterwards& afterwards) noexcept;

  // ConnectionSending.cpp: frames that leave.
  [[nodiscard]] std::unique_ptr<Outgoing> takeSpare() noexcept;
  void keepSpare(std::unique_ptr<Outgoing> outgoing) noexcept;
  [[nodiscard]] vanto_error_code_t waitForRoomLocked(Lock& lock, const Outgoing& outgoing, Waiter& waiter) noexcept;
  [[nodiscard]] bool hasRoomLocked(const Outgoing& outgoing) const noexcept;
  void submitLocked(std::unique_ptr<Outgoing> outgoing, Afterwards& afterwards, Retry retry) noexcept;
  [[nodiscard]] bool sendAtOnceLocked(std::unique_ptr<Outgoing>& outgoing) noexcept;
  void flushLocked(Afterwards& afterwards, Retry retry) noexcept;
  [[nodiscard]] bool sendNextLocked(Afterwards& afterwards) noexcept;
  [[nodiscard]] SendResult sendPartLocked(Outgoing& outgoing) noexcept;
  [[nodiscard]] SendResult sendControlLocked(FrameHeader header) noexcept;
  void waitForPeerLocked() noexcept;
  void waitForSocketLocked() noexcept;
  void noteProgressLocked() noexcept;
  [[nodiscard]] vanto_error_code_t answer(MessageObject& message, vanto_object_t object) noexcept;
  void finish(MessageObject& message) noexcept;
  void giveCreditBack(std::uint64_t charge) noexcept;
  void forgetOpenLocked(MessageObject& message) noexcept;

  // ConnectionWaiting.cpp: threads that wait.
  void waitLocked(Lock& lock, Waiter& waiter) noexcept;
  [[nodiscard]] bool readUntil(Lock& lock, const Waiter& waiter) noexcept;
  void pollUntil(Lock& lock, std::uint64_t deadline) noexcept;
  [[nodiscard]] vanto_error_code_t awaitReplyLocked(Lock& lock, PendingCall& call, Waiter& waiter,
                                                    Afterwards& afterwards) noexcept;
  void setReceiveTimeout(std::uint64_t timeout) noexcept;

  State state_ = State::Open;
  bool isWatched_ = false;
  /// The workers look for room to write too.
  bool watchesRoom_ = false;
  /// Somebody reads the socket; the socket then stays open, and the assemblies are that thread's.
  bool isReading_ = false;
  /// The workers do not hear of what arrives, since somebody reads.
  bool isMuted_ = false;
  /// When a worker last read, more frames than one were there.
  bool expectsMore_ = false;
  static constexpr std::uint8_t turnsBetweenLooks = 15;
  /// Turns until a worker looks whether more frames than one are there.
  std::uint8_t turnsUntilLook_ = turnsBetweenLooks;
  /// The socket took no more when it was last tried.
  bool isBlocked_ = false;
  /// The process ends with it.
  std::atomic<bool> isOfInstance_{false};
  /// Nobody reads any more what is sent.
  bool isWriteBroken_ = false;
  /// Counted by UserLimit.
  bool isCounted_ = false;
  /// Counted by Activity, since something waits to be sent.
  bool isSending_ = false;
  Fd socket_;
  Ref<ConnectionWatch> watch_;
  ProcessFacts peer_;
  /// Of a client's end, when the service had greeted it (CLOCK_BOOTTIME, nanoseconds); 0 for that of a service.
  std::uint64_t greetedAt_ = 0;
  std::unique_ptr<Handshake> handshake_;
  /// Answered, and to be given to the listener by the reading worker.
  Ref<Listener> admittedBy_;

  std::uint64_t nextId_ = 1;
  std::uint64_t lastReceivedId_ = 0;
  SendCredit sendCredit_;
  ReceiveCredit receiveCredit_;
  SendQueue queue_;
  std::vector<std::uint64_t> cancels_;
  PendingCalls pending_;
  Waiters waiters_;
  ChunkAssemblies assemblies_;
  MessageObject* firstOpen_ = nullptr;
  /// When the timer goes off; UINT64_MAX for not at all.
  std::uint64_t timer_ = UINT64_MAX;
  /// When a closing connection stops sending, and when a socket that could not send is tried again.
  std::uint64_t closingDeadline_ = UINT64_MAX;
  std::uint64_t retryDeadline_ = UINT64_MAX;
  /// While something waits to be sent: when a peer that has taken nothing of it is not waited for by a process that
  /// ends.
  std::uint64_t stallDeadline_ = UINT64_MAX;
  bool wasLeftUnread_ = false;
  /// The socket's own timeout; both belong to who reads.
  std::uint64_t receiveTimeout_ = 0;
  /// Something sent lately, whose memory the next one uses. Owned.
  std::atomic<Outgoing*> spare_{nullptr};
};

}  // namespace vanto
