// SPDX-License-Identifier: Apache-2.0

// A connection goes through these states.
//
//   AwaitingAnswer  a service's end, until its greeting was answered or an early request stands for the answer
//   Open
//   Closing         its user has closed it, and something is still to be sent
//   Ended           nothing goes in or out any more; the last event is queued
//
// One lock guards a connection. Frames are sent while it is held, never waiting. They are received without it, by one
// thread at a time: a worker that found the socket ready, or a thread that waits in vanto_call() or vanto_send(). Who
// reads takes in whatever comes, also what is for others: replies are handed to the threads that wait for them,
// messages are queued as events. A waiting thread that has what it waited for passes the reading on to another one.
// Where a worker finds somebody else reading, it leaves a note and goes; whoever stops reading looks for that note.
//
// Handlers run without the lock and while nobody is kept from reading. The socket is closed by the thread that ends the
// connection, or, if another one is reading, by that one.
#include "ipc/Connection.h"

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <new>
#include <utility>

#include <sys/epoll.h>
#include <sys/socket.h>

#include "ipc/Activity.h"
#include "ipc/Message.h"
#include "ipc/PeerCredentials.h"
#include "ipc/UserLimit.h"
#include "value/ValueStorage.h"
#include "value/limits.h"

namespace vanto {

constinit const Class ConnectionWatch::watchClass{"ConnectionWatch",         &objectClass, NoKind,
                                                  &ConnectionWatch::destroy, nullptr,      nullptr};
constinit const Class Connection::connectionClass{"Connection",         &ipcObjectClass, 0,
                                                  &Connection::destroy, nullptr,         nullptr};

ConnectionWatch::ConnectionWatch(Connection& connection) noexcept
    : Watched(watchClass, &ConnectionWatch::becameReady), connection_(Ref<Connection>::share(&connection)) {}

Ref<ConnectionWatch> ConnectionWatch::create(Connection& connection) noexcept {
  return Ref<ConnectionWatch>::adopt(new (allocate(sizeof(ConnectionWatch))) ConnectionWatch(connection));
}

void ConnectionWatch::becameReady(Watched& self, std::uint32_t events) noexcept {
  static_cast<ConnectionWatch&>(self).connection_->becameReady(events);
}

void ConnectionWatch::destroy(Object& self) noexcept {
  auto& watch = static_cast<ConnectionWatch&>(self);
  watch.~ConnectionWatch();
  deallocate(&watch);
}

Connection::Afterwards::~Afterwards() {
  for (int i = 0; i < endedActivities; i++) Activity::ended();
  if (lettingGo != nullptr) lettingGo->releaseByUser();
}

Connection::Connection(Fd socket, const ProcessFacts& peer, Ref<dispatch_queue_s> queue) noexcept
    : Endpoint(connectionClass, objectKind, std::move(queue)), socket_(std::move(socket)), peer_(peer) {}

Connection::~Connection() {
  isOverForUser();
  const std::unique_ptr<Outgoing> spare(spare_.exchange(nullptr));
}

void Connection::destroy(Object& self) noexcept {
  auto& connection = static_cast<Connection&>(self);
  connection.~Connection();
  deallocate(&connection);
}

Ref<Connection> Connection::createForClient(Fd socket, const ProcessFacts& peer, const Greeting& greeting,
                                            std::uint64_t receiveTimeout, Ref<dispatch_queue_s> queue) noexcept {
  void* memory = allocate(sizeof(Connection));
  auto created = Ref<Connection>::adopt(new (memory) Connection(std::move(socket), peer, std::move(queue)));
  created->sendCredit_.setWindow(greeting.windowMessages, greeting.windowBytes);
  timespec now{};
  clock_gettime(CLOCK_BOOTTIME, &now);
  created->greetedAt_ =
      static_cast<std::uint64_t>(now.tv_sec) * 1'000'000'000 + static_cast<std::uint64_t>(now.tv_nsec);
  created->receiveTimeout_ = receiveTimeout;
  return created;
}

Ref<Connection> Connection::accept(Fd socket, const ProcessFacts& peer, std::unique_ptr<Handshake> handshake,
                                   Ref<dispatch_queue_s> queue, FirstFrame firstFrame) noexcept {
  void* memory = allocate(sizeof(Connection));
  // The first reference is the library's own one of the user's references, see wasDelivered().
  auto* connection = new (memory) Connection(std::move(socket), peer, std::move(queue));
  Afterwards afterwards;
  Lock lock(connection->mutex_);
  connection->state_ = State::AwaitingAnswer;
  connection->isCounted_ = true;
  connection->isOfInstance_ = handshake->isOfInstance;
  connection->setTimerLocked(handshake->deadline);
  connection->handshake_ = std::move(handshake);
  auto accepted = Ref<Connection>::share(connection);
  const bool isAwaited = firstFrame == FirstFrame::IsAwaited;
  if (isAwaited && !connection->watchLocked()) connection->endLocked(VANTO_ERROR_SYSTEM, afterwards);
  return accepted;
}

void Connection::readFirst() noexcept {
  readAsWorker(EPOLLIN);
  watchFirst();
}

void Connection::watchFirst() noexcept {
  Afterwards afterwards;
  Lock lock(mutex_);
  const bool isDone = state_ == State::Ended || isWatched_;
  if (!isDone && !watchLocked()) endLocked(VANTO_ERROR_SYSTEM, afterwards, "epoll_ctl failed");
  settle(lock, Delivery::AtOnce);
}

void Connection::isOverForUser() noexcept {
  if (isOfInstance_.exchange(false)) Listener::endOfInstance();
}

void Connection::wasDelivered() noexcept {
  Lock lock(mutex_);
  keepsItself_ = isResumed_ && !isOver_;
  const bool isKept = keepsItself_;
  lock.unlock();
  if (!isKept) releaseByUser();
}

void Connection::resume() noexcept {
  Afterwards afterwards;
  Lock lock(mutex_);
  if (isResumed_) return;
  isResumed_ = true;
  if (state_ == State::Open && !watchLocked()) endLocked(VANTO_ERROR_SYSTEM, afterwards, "epoll_ctl failed");
  // Events are for the queue's thread, and the caller may hold what its handler needs.
  settle(lock, Delivery::Later);
}

ProcessFacts Connection::peer() noexcept {
  const Lock lock(mutex_);
  if (peer_.startTime == 0) peer_.startTime = readStartTime(peer_.pid);
  return peer_;
}

Fd Connection::openPeer() noexcept {
  const Lock lock(mutex_);
  if (greetedAt_ != 0) return openProcessOfTime(peer_.pid, greetedAt_);
  errno = ESRCH;
  return socket_ ? openPeerProcess(socket_.get(), peer_) : Fd();
}

bool Connection::watchLocked() noexcept {
  if (isWatched_) return true;
  if (!watch_) watch_ = ConnectionWatch::create(*this);
  isMuted_ = isReading_;
  isWatched_ = startWatching(*watch_, socket_.get(), watchedEventsLocked());
  if (isWatched_ && timer_ != UINT64_MAX) setTimer(*watch_, timer_);
  return isWatched_;
}

/// While somebody reads, and while room is looked for, the workers hear of each change once only: what they cannot do
/// anything about must not wake them again and again.
std::uint32_t Connection::watchedEventsLocked() const noexcept {
  if (!isMuted_ && !watchesRoom_) return EPOLLIN;
  std::uint32_t events = EPOLLET;
  if (!isMuted_) events |= EPOLLIN;
  if (watchesRoom_) events |= EPOLLOUT;
  return events;
}

void Connection::changeWatchingLocked() noexcept {
  if (isWatched_) changeWatching(*watch_, socket_.get(), watchedEventsLocked());
}

/// Keeps the workers from what the calling thread, or the one that reads, is going to read.
void Connection::muteLocked() noexcept {
  if (!isWatched_ || std::exchange(isMuted_, true)) return;
  changeWatchingLocked();
}

void Connection::unmuteLocked() noexcept {
  if (std::exchange(isMuted_, false)) changeWatchingLocked();
}

void Connection::setTimerLocked(std::uint64_t deadline) noexcept {
  // A later one is looked up when the earlier one has expired.
  if (deadline >= timer_) return;
  timer_ = deadline;
  if (isWatched_) setTimer(*watch_, deadline);
}

void Connection::becameReady(std::uint32_t events) noexcept {
  if (events == 0) return timerExpired();
  if ((events & EPOLLOUT) != 0) sendAgain();
  if ((events & ~static_cast<std::uint32_t>(EPOLLOUT)) != 0) readAsWorker(events);
}

void Connection::sendAgain() noexcept {
  Afterwards afterwards;
  Lock lock(mutex_);
  if (state_ == State::Ended || !watchesRoom_) return;
  isBlocked_ = false;
  flushLocked(afterwards, Retry::ByWorkers);
  if (state_ != State::Ended && !isBlocked_) {
    // While nothing waits, each packet that the peer takes would wake a worker.
    watchesRoom_ = false;
    changeWatchingLocked();
  }
  settle(lock, Delivery::AtOnce);
}

void Connection::timerExpired() noexcept {
  Afterwards afterwards;
  Lock lock(mutex_);
  if (state_ == State::Ended) return;
  const std::uint64_t now = monotonicNow();
  timer_ = UINT64_MAX;
  if (handshake_ != nullptr && now >= handshake_->deadline) endLocked(VANTO_ERROR_TIMED_OUT, afterwards);
  if (now >= closingDeadline_) endLocked(VANTO_ERROR_CANCELLED, afterwards);
  if (isSending_ && now >= stallDeadline_) {
    stallDeadline_ = deadlineAfter(limits::ipcClosingNanoseconds);
    if (Activity::isEnding()) endLocked(VANTO_ERROR_TIMED_OUT, afterwards);
  }
  while (PendingCall* call = pending_.expired(now)) {
    if (auto unsent = queue_.takeUnsent(call->id)) afterwards.outgoing.append(std::move(unsent));
    resolveLocked(*call, errorObject(VANTO_ERROR_TIMED_OUT));
  }
  if (now >= retryDeadline_) {
    retryDeadline_ = UINT64_MAX;
    isBlocked_ = false;
  }
  flushLocked(afterwards, Retry::ByWorkers);
  setTimerLocked(std::min({handshake_ != nullptr ? handshake_->deadline : UINT64_MAX, closingDeadline_, retryDeadline_,
                           isSending_ ? stallDeadline_ : UINT64_MAX, pending_.earliestDeadline()}));
  settle(lock, Delivery::AtOnce);
}

void Connection::closeConnection() noexcept {
  Afterwards afterwards;
  Lock lock(mutex_);
  afterwards.events = dropEventsLocked();
  if (state_ == State::AwaitingAnswer) endLocked(VANTO_ERROR_CANCELLED, afterwards);
  if (state_ == State::Open) {
    state_ = State::Closing;
    while (PendingCall* call = pending_.first()) resolveLocked(*call, errorObject(VANTO_ERROR_CANCELLED));
    closingDeadline_ = deadlineAfter(limits::ipcClosingNanoseconds);
    setTimerLocked(closingDeadline_);
    flushLocked(afterwards, Retry::ByWorkers);
    if (state_ == State::Closing && !watchLocked()) endLocked(VANTO_ERROR_CANCELLED, afterwards);
  }
  settle(lock, Delivery::Later);
}

/// Ends one outstanding call.
void Connection::resolveLocked(PendingCall& call, Ref<vanto_object> result) noexcept {
  pending_.remove(call);
  if (call.waiter != nullptr) {
    call.waiter->result = std::move(result);
    call.waiter->finish();
  } else {
    addEventLocked({Event::Kind::Reply, std::move(result), call.function, call.context});
    const std::unique_ptr<PendingCall> owned(&call);
  }
  waiters_.finishAll(Waiter::For::Room);
}

void Connection::endLocked(vanto_error_code_t code, Afterwards& afterwards, const char* text, Ender ender) noexcept {
  if (state_ == State::Ended) return;
  if (state_ == State::AwaitingAnswer) afterwards.lettingGo = this;
  if (state_ == State::Closing) code = VANTO_ERROR_CANCELLED;
  state_ = State::Ended;
  // For a call VANTO_ERROR_FULL would mean that nothing of it was sent.
  const vanto_error_code_t codeOfCalls = code == VANTO_ERROR_FULL ? VANTO_ERROR_CLOSED : code;
  while (PendingCall* call = pending_.first()) resolveLocked(*call, errorObject(codeOfCalls, text));
  while (firstOpen_ != nullptr) {
    firstOpen_->isCancelled_.store(true, std::memory_order_release);
    forgetOpenLocked(*firstOpen_);
  }
  addEventLocked({Event::Kind::Error, errorObject(code, text)});
  holdsMessages_ = false;
  afterwards.outgoing = queue_.takeAll();
  afterwards.handshake = std::move(handshake_);
  if (std::exchange(isSending_, false)) afterwards.endedActivities++;
  if (std::exchange(isCounted_, false)) UserLimit::giveConnectionBack(peer_.effectiveUser);
  waiters_.finishAll(Waiter::For::Room);
  closeSocketLocked(ender);
  afterwards.watch = std::move(watch_);
}

/// While somebody reads, that thread closes.
void Connection::closeSocketLocked(Ender ender) noexcept {
  if (std::exchange(isWatched_, false)) stopWatching(*watch_, socket_.get());
  if (isReading_) {
    // Wakes who reads.
    if (ender == Ender::Other) shutdown(socket_.get(), SHUT_RDWR);
  } else {
    socket_.reset();
    assemblies_.clear();
  }
}

/// Gives the lock back and has delivered what there is to deliver.
void Connection::settle(Lock& lock, Delivery delivery) noexcept {
  const bool delivers = beginDeliveryLocked();
  lock.unlock();
  if (delivers) deliver(delivery);
}

}  // namespace vanto
