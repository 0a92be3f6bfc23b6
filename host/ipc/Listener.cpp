// SPDX-License-Identifier: Apache-2.0
#include "ipc/Listener.h"

#include <cerrno>
#include <new>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <poll.h>
#include <sys/epoll.h>
#include <sys/socket.h>

#include "ipc/Activity.h"
#include "ipc/Connection.h"
#include "ipc/ManagerLink.h"
#include "ipc/PeerCredentials.h"
#include "ipc/PeerJudgement.h"
#include "ipc/Refusal.h"
#include "ipc/UserLimit.h"
#include "process/Termination.h"
#include "value/ValueStorage.h"
#include "value/limits.h"

namespace vanto {

namespace {

/// When accepting is tried again after the kernel could not give a descriptor.
constexpr std::uint64_t retryNanoseconds = 100'000'000;

constinit std::mutex listMutex;
constinit Listener* firstListener = nullptr;
/// The process was asked to end: nothing listens any more.
constinit bool hasStopped = false;

/// Guards what follows, also while it is tried.
constinit std::mutex terminationMutex;
constinit bool awaitsTermination = false;

SendResult sendGreeting(int socket, const Handshake& handshake) noexcept {
  std::uint8_t body[greetingBytes];
  encodeGreeting(handshake.greeting, body);
  const FrameHeader header{.kind = FrameKind::Greeting,
                           .flags = handshake.isValidated ? frameHasNonce : std::uint16_t{0}};
  return sendFrame(socket, header, body, {});
}

}  // namespace

constinit const Class ListenerWatch::watchClass{"ListenerWatch",         &objectClass, NoKind,
                                                &ListenerWatch::destroy, nullptr,      nullptr};
constinit const Class Listener::listenerClass{"Listener", &ipcObjectClass, 0, &Listener::destroy, nullptr, nullptr};

ListenerWatch::ListenerWatch(Listener& listener) noexcept
    : Watched(watchClass, &ListenerWatch::becameReady), listener_(Ref<Listener>::share(&listener)) {}

Ref<ListenerWatch> ListenerWatch::create(Listener& listener) noexcept {
  return Ref<ListenerWatch>::adopt(new (allocate(sizeof(ListenerWatch))) ListenerWatch(listener));
}

void ListenerWatch::becameReady(Watched& self, std::uint32_t) noexcept {
  static_cast<ListenerWatch&>(self).listener_->acceptAll();
}

void ListenerWatch::destroy(Object& self) noexcept {
  auto& watch = static_cast<ListenerWatch&>(self);
  watch.~ListenerWatch();
  deallocate(&watch);
}

Listener::Listener(const char* name, Ref<dispatch_queue_s> queue) noexcept
    : Endpoint(listenerClass, objectKind, std::move(queue)), name_(name) {}

Listener::~Listener() {
  leave();
}

Ref<Listener> Listener::create(const char* name, Ref<dispatch_queue_s> queue) noexcept {
  return Ref<Listener>::adopt(new (allocate(sizeof(Listener))) Listener(name, std::move(queue)));
}

void Listener::destroy(Object& self) noexcept {
  auto& listener = static_cast<Listener&>(self);
  listener.~Listener();
  deallocate(&listener);
}

void Listener::resume() noexcept {
  std::unique_lock lock(mutex_);
  if (std::exchange(isResumed_, true)) return;
  lock.unlock();
  // Who is about to listen is not idle, however long that takes.
  Activity::began();
  // Before anybody can connect: a process that answers can also be asked to end.
  const bool mayListen = join();
  lock.lock();
  if (!mayListen) stopLocked();
  if (!isClosed_) open();
  Activity::ended();
  const bool isOpen = !isClosed_;
  const bool delivers = beginDeliveryLocked();
  lock.unlock();
  if (!isOpen) leave();
  // Events are for the queue's thread, and the caller may hold what its handler needs.
  if (delivers) deliver(Delivery::Later);
}

void Listener::open() noexcept {
  const vanto_error_code_t code = socket_.open(name_);
  if (code == VANTO_ERROR_NONE && socket_.isConnection()) return openForConnectionLocked();
  if (code == VANTO_ERROR_NONE) {
    watch_ = ListenerWatch::create(*this);
    spare_.reset(fcntl(socket_.descriptor(), F_DUPFD_CLOEXEC, 3));
    isWatched_ = startWatching(*watch_, socket_.descriptor(), EPOLLIN | EPOLLET);
    if (isWatched_) {
      if (socket_.isInherited()) tellStartedLocked();
      return;
    }
  }
  const char* text = code == VANTO_ERROR_TOO_LARGE ? "too many listening sockets were handed over" : nullptr;
  addEventLocked({Event::Kind::Error, errorObject(code != VANTO_ERROR_NONE ? code : VANTO_ERROR_SYSTEM, text)});
  stopLocked();
}

/// The evaluator is for a worker, as it is for all who connect later.
void Listener::openForConnectionLocked() noexcept {
  tellStartedLocked();
  retain();
  const Ref<dispatch_queue_s> once = dispatch_queue_s::create("connection handed over");
  dispatch_queue_submit(once.get(), this, [](void* context) {
    const auto listener = Ref<Listener>::adopt(static_cast<Listener*>(context));
    listener->acceptAll();
    if (!listener->hasGreeted_) endOfInstance();
  });
}

void Listener::tellStartedLocked() noexcept {
  isToldOf_ = true;
  ManagerLink::listenerStarted();
}

void Listener::acceptAll() noexcept {
  Turn turn;
  bool again = true;
  while (again) {
    std::unique_lock lock(mutex_);
    if (isAccepting_) mustAcceptAgain_ = true;
    if (isAccepting_ || isClosed_) return;
    isAccepting_ = true;
    mustAcceptAgain_ = false;
    Attempt attempt = Attempt::Accepted;
    while (attempt == Attempt::Accepted && !isClosed_) {
      lock.unlock();
      attempt = acceptOne(turn);
      lock.lock();
    }
    isAccepting_ = false;
    if (isClosed_) closeSocketLocked();
    if (isWatched_ && attempt == Attempt::TryLater) setTimer(*watch_, deadlineAfter(retryNanoseconds));
    again = mustAcceptAgain_;
    lock.unlock();
    // It does not wait for all who come now.
    if (again && turn.spoken) std::exchange(turn.spoken, nullptr)->watchFirst();
  }
  // Runs the handlers of this client, while others may accept.
  if (turn.spoken) turn.spoken->readFirst();
}

Listener::Attempt Listener::acceptOne(Turn& turn) noexcept {
  if (socket_.isConnection()) {
    hasGreeted_ = receive(socket_.takeConnection(), turn);
    return Attempt::Nothing;
  }
  Fd socket(accept4(socket_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
  if (socket) {
    turn.mayGoOn = true;
    static_cast<void>(receive(std::move(socket), turn));
    return turn.mayGoOn ? Attempt::Accepted : Attempt::Nothing;
  }
  switch (errno) {
    case EAGAIN:
      return Attempt::Nothing;
    case EINTR:
    case ECONNABORTED:
      return Attempt::Accepted;
    case EMFILE:
    case ENFILE:
      return turnAway();
    default:
      return Attempt::TryLater;
  }
}

/// There is no descriptor for the next client: takes the spare one to tell it so.
Listener::Attempt Listener::turnAway() noexcept {
  if (!spare_) {
    spare_.reset(fcntl(socket_.descriptor(), F_DUPFD_CLOEXEC, 3));
    return Attempt::TryLater;
  }
  spare_.reset();
  Fd socket(accept4(socket_.descriptor(), nullptr, nullptr, SOCK_CLOEXEC));
  const bool isDone = !socket && errno == EAGAIN;
  const bool wasAccepted = static_cast<bool>(socket);
  if (wasAccepted) sendRefusal(socket.get(), VANTO_ERROR_FULL);
  socket.reset();
  spare_.reset(fcntl(socket_.descriptor(), F_DUPFD_CLOEXEC, 3));
  if (isDone) return Attempt::Nothing;
  return wasAccepted ? Attempt::Accepted : Attempt::TryLater;
}

/// True when the client was taken.
bool Listener::receive(Fd socket, Turn& turn) noexcept {
  ProcessFacts facts;
  if (!socket_.passesCredentialsOn() && !enableSenderCredentials(socket.get())) return false;
  if (!readPeerCredentials(socket.get(), facts)) return false;
  const uid_t user = facts.effectiveUser;
  vanto_error_code_t code = VANTO_ERROR_FULL;
  if (UserLimit::takeConnection(user)) {
    ManagerLink::clientCame();
    code = greet(socket, facts, turn);
    if (code == VANTO_ERROR_NONE) return true;
    UserLimit::giveConnectionBack(user);
    // Who turns strangers away serves, too.
    if (code == VANTO_ERROR_REFUSED) ManagerLink::clientWasGreeted();
  }
  sendRefusal(socket.get(), static_cast<std::uint32_t>(code));
  return false;
}

/// Takes the socket over when the client is greeted. One that has asked already, and need not answer, hears the reply.
vanto_error_code_t Listener::greet(Fd& socket, const ProcessFacts& facts, Turn& turn) noexcept {
  auto handshake = std::make_unique<Handshake>();
  ProcessFacts peer = facts;
  const vanto_error_code_t verdict = judgePeer(socket.get(), peer, *handshake);
  if (verdict != VANTO_ERROR_NONE) return verdict;
  handshake->greeting.windowMessages = ReceiveCredit::windowMessages;
  handshake->greeting.windowBytes = ReceiveCredit::windowBytes;
  handshake->listener = Ref<Listener>::share(this);
  handshake->isOfInstance = socket_.isConnection();
  handshake->deadline = deadlineAfter(limits::ipcGreetingNanoseconds);
  const bool hasSpoken = look(socket.get(), turn);
  handshake->isGreeted = handshake->isValidated || !hasSpoken;
  // Until then the manager of an instance holds the connection, too, and refuses a client whose instance has ended. One
  // that has no greeting then tries again; one that had it would not know what the refusal is to mean.
  if (handshake->isOfInstance) ManagerLink::clientWasGreeted();
  if (handshake->isGreeted && sendGreeting(socket.get(), *handshake) != SendResult::Sent) return VANTO_ERROR_CLOSED;
  ManagerLink::clientWasGreeted();
  const bool isRead = hasSpoken && !turn.mayGoOn && !turn.spoken;
  const auto firstFrame = isRead ? Connection::FirstFrame::IsThere : Connection::FirstFrame::IsAwaited;
  Ref<Connection> client = Connection::accept(std::move(socket), peer, std::move(handshake), queue(), firstFrame);
  if (isRead) turn.spoken = std::move(client);
  return VANTO_ERROR_NONE;
}

/// Whether a client has sent something. Looks for the next one on the way: for an accept that finds none the kernel
/// makes a whole socket first.
bool Listener::look(int client, Turn& turn) const noexcept {
  pollfd sockets[2] = {{client, POLLIN, 0}, {socket_.isConnection() ? -1 : socket_.descriptor(), POLLIN, 0}};
  if (poll(sockets, 2, 0) < 0) return false;
  turn.mayGoOn = sockets[1].revents != 0;
  // One that has gone is found out by the greeting.
  return sockets[0].revents == POLLIN;
}

void Listener::admit(Connection& connection) noexcept {
  std::unique_lock lock(mutex_);
  const bool isAdmitted = !isClosedByUser_;
  if (isAdmitted) addEventLocked({Event::Kind::Connection, Ref<vanto_object>::share(&connection)});
  const bool delivers = beginDeliveryLocked();
  lock.unlock();
  if (!isAdmitted) connection.wasDelivered();
  if (delivers) deliver(Delivery::AtOnce);
}

void Listener::closeListener() noexcept {
  std::unique_lock lock(mutex_);
  const std::vector<Event> dropped = dropEventsLocked();
  isClosedByUser_ = true;
  if (!isClosed_) addEventLocked({Event::Kind::Error, errorObject(VANTO_ERROR_CANCELLED)});
  stopLocked();
  const bool delivers = beginDeliveryLocked();
  lock.unlock();
  leave();
  for (const Event& event : dropped) {
    if (event.kind == Event::Kind::Connection) static_cast<Connection*>(event.object.get())->wasDelivered();
  }
  if (delivers) deliver(Delivery::Later);
}

void Listener::stopLocked() noexcept {
  isClosed_ = true;
  closeSocketLocked();
  // The watch keeps the listener alive; somebody else does too as long as this runs.
  watch_ = nullptr;
}

void Listener::closeSocketLocked() noexcept {
  if (std::exchange(isWatched_, false)) stopWatching(*watch_, socket_.descriptor());
  if (isAccepting_) {
    // Left to who accepts, and the process is not to end before that.
    if (!std::exchange(mustClose_, true)) Activity::began();
    return;
  }
  socket_.close();
  spare_.reset();
  if (std::exchange(isToldOf_, false)) ManagerLink::listenerStopped();
  if (std::exchange(mustClose_, false)) Activity::ended();
}

/// Listed, it stops accepting when the process is asked to end. False when it was already.
bool Listener::join() noexcept {
  {
    const std::lock_guard lock(terminationMutex);
    if (!awaitsTermination) awaitsTermination = onTermination(&Listener::stopAll, nullptr);
    ManagerLink::begin({[]() noexcept { stopAll(nullptr); }, &Listener::retireIfIdle});
  }
  const std::lock_guard lock(listMutex);
  if (hasStopped) return false;
  next_ = firstListener;
  if (firstListener != nullptr) firstListener->previous_ = this;
  firstListener = this;
  isListed_ = true;
  return true;
}

void Listener::leave() noexcept {
  const std::lock_guard lock(listMutex);
  if (!std::exchange(isListed_, false)) return;
  (previous_ != nullptr ? previous_->next_ : firstListener) = next_;
  if (next_ != nullptr) next_->previous_ = previous_;
}

void Listener::stopAll(void*) noexcept {
  {
    const std::lock_guard listLock(listMutex);
    hasStopped = true;
    for (Listener* listener = firstListener; listener != nullptr; listener = listener->next_) {
      const std::lock_guard lock(listener->mutex_);
      if (!listener->isClosed_) listener->stopLocked();
    }
  }
  Activity::endWhenIdle();
}

/// Who was accepted is counted before its worker gives the lock of its listener back; so while all of these are held,
/// and nobody is accepting, nobody can have been accepted and not be seen.
bool Listener::retireIfIdle(std::uint64_t nanoseconds) noexcept {
  {
    const std::lock_guard listLock(listMutex);
    std::vector<std::unique_lock<std::mutex>> locks;
    for (Listener* listener = firstListener; listener != nullptr; listener = listener->next_) {
      locks.emplace_back(listener->mutex_);
      if (listener->isAccepting_) return false;
    }
    const std::uint64_t since = Activity::idleSince();
    if (since == UINT64_MAX || monotonicNow() - since < nanoseconds) return false;
    hasStopped = true;
    for (Listener* listener = firstListener; listener != nullptr; listener = listener->next_) {
      if (!listener->isClosed_) listener->stopLocked();
    }
  }
  Activity::endWhenIdle();
  return true;
}

void Listener::endOfInstance() noexcept {
  // The caller may hold locks, and be called by a handler.
  const Ref<dispatch_queue_s> once = dispatch_queue_s::create("end of the instance");
  dispatch_queue_submit(once.get(), nullptr, &Listener::stopAll);
}

}  // namespace vanto
