// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <utility>

#include <fcntl.h>
#include <sys/epoll.h>

#include "ipc/Activity.h"
#include "ipc/Codec.h"
#include "ipc/Connection.h"
#include "ipc/Message.h"
#include "ipc/PeerCredentials.h"
#include "ipc/WireBytes.h"
#include "signing/CodeService.h"

namespace vanto {

namespace {

/// After so many frames a worker runs what it has read.
constexpr int framesPerTurn = 64;

using Wanted = ChunkAssemblies::Wanted;

}  // namespace

void Connection::readAsWorker(std::uint32_t events) noexcept {
  Lock lock(mutex_);
  if (state_ == State::Ended) return;
  if (isReading_) return muteLocked();
  const bool isFirst = state_ == State::AwaitingAnswer;
  if (isFirst) {
    // In hand from before it is read: what a process that ends leaves unread, its client may ask the next one.
    Activity::began();
    if (Activity::isOver()) {
      Activity::ended();
      return muteLocked();
    }
  }
  isReading_ = true;
  // Where each edge is told once, the socket has to be emptied.
  const bool mustEmpty = watchesRoom_;
  // Who answers a greeting mostly asks at once.
  bool isAnswer = isFirst;
  lock.unlock();
  int count = 0;
  while (count < framesPerTurn && readFrame(Waiting::Never) == Step::Frame) {
    if (std::exchange(isAnswer, false) && lastReceivedId_ == 0) continue;
    count++;
    if (!mustEmpty && !mayBeMore(events, count)) break;
  }
  expectsMore_ = count > 1;
  lock.lock();
  // Has the workers told of the rest.
  if (mustEmpty && count == framesPerTurn) isMuted_ = true;
  endReadingLocked(lock);
  const Ref<Listener> listener = std::exchange(admittedBy_, nullptr);
  settle(lock, Delivery::AtOnce);
  if (listener) listener->admit(*this);
  if (isFirst) Activity::ended();
}

/// Whether to look for another frame. A look that finds nothing costs a fortieth of a round trip, so where a peer waits
/// for each answer, the workers' next wait does it; only now and then is it seen whether that is still so.
bool Connection::mayBeMore(std::uint32_t events, int count) noexcept {
  if (expectsMore_ || count > 1 || (events & (EPOLLHUP | EPOLLRDHUP | EPOLLERR)) != 0) return true;
  if (turnsUntilLook_-- != 0) return false;
  turnsUntilLook_ = turnsBetweenLooks;
  return !isDrained(socket_.get());
}

/// Stops reading, and lets another thread do it or the workers.
void Connection::endReadingLocked(Lock&) noexcept {
  if (state_ == State::Ended) {
    isReading_ = false;
    closeSocketLocked(Ender::Reader);
  } else if (Waiter* waiter = waiters_.first()) {
    waiter->isReader = true;
    muteLocked();
    waiter->wake();
  } else {
    isReading_ = false;
    unmuteLocked();
    waitForPeerLocked();
  }
}

/// For the thread that reads.
void Connection::endBecause(vanto_error_code_t code, const char* text) noexcept {
  Afterwards afterwards;
  const Lock lock(mutex_);
  // A peer that has closed hears nothing any more.
  if (code != VANTO_ERROR_CLOSED && state_ != State::Ended) sendCode(socket_.get(), FrameKind::Goodbye, code);
  endLocked(code, afterwards, text, Ender::Reader);
}

/// Receives one frame and takes in what it brings. For the thread that reads, without the lock.
Connection::Step Connection::readFrame(Waiting waiting) noexcept {
  FrameBuffer buffer;
  ReceivedFrame frame;
  const ReceiveResult result = receiveFrame(socket_.get(), waiting, buffer, assemblies_.target(), frame);
  // Once something was received that is given credit for, it may be that credit which was not read.
  wasLeftUnread_ = wasLeftUnread_ || (frame.wasLeftUnread && lastReceivedId_ == 0);
  switch (result) {
    case ReceiveResult::Frame:
      if (take(frame)) return Step::Frame;
      endBecause(VANTO_ERROR_PROTOCOL);
      return Step::Ended;
    case ReceiveResult::Nothing:
      return Step::Nothing;
    case ReceiveResult::Ended:
      endBecause(VANTO_ERROR_CLOSED);
      return Step::Ended;
    case ReceiveResult::Malformed:
      endBecause(VANTO_ERROR_PROTOCOL);
      return Step::Ended;
    case ReceiveResult::Cut:
      endBecause(VANTO_ERROR_SYSTEM, "no room for further descriptors");
      return Step::Ended;
    case ReceiveResult::Failed:
      break;
  }
  endBecause(VANTO_ERROR_SYSTEM, "recvmsg failed");
  return Step::Ended;
}

bool Connection::isPeer(const FrameSender& sender) const noexcept {
  return sender.pid == peer_.pid && sender.uid == peer_.realUser;
}

/// False when the frame breaks the protocol.
bool Connection::take(ReceivedFrame& frame) noexcept {
  Afterwards afterwards;
  Lock lock(mutex_);
  const FrameHeader& header = frame.header;
  if (state_ == State::Ended) return true;
  if (state_ == State::AwaitingAnswer) {
    lock.unlock();
    return header.kind == FrameKind::EarlyRequest ? takeEarlyRequest(frame) : takeAnswer(frame);
  }
  if (!isPeer(frame.sender) || !takeCreditLocked(header, afterwards)) return false;
  Wanted wanted = Wanted::Yes;
  switch (header.kind) {
    case FrameKind::Message:
    case FrameKind::Request:
      if (!beginMessageLocked(header)) return false;
      if (state_ != State::Open || Activity::isEnding()) wanted = Wanted::No;
      lock.unlock();
      return takeStart(frame, wanted);
    case FrameKind::Reply:
      // Ids are never used again: a reply to a call that was given up is late, one to a call that never was is wrong.
      if (header.id >= nextId_) return false;
      if (pending_.find(header.id) == nullptr) wanted = Wanted::No;
      lock.unlock();
      return takeStart(frame, wanted);
    case FrameKind::Chunk:
      lock.unlock();
      return takeChunk(frame);
    case FrameKind::Cancel:
      return takeCancelLocked(header);
    case FrameKind::Credit:
      return true;
    case FrameKind::Goodbye: {
      const std::uint32_t code = load32(frame.payload.data());
      const bool isTold = code == VANTO_ERROR_PROTOCOL || code == VANTO_ERROR_FULL || code == VANTO_ERROR_REFUSED;
      endLocked(isTold ? static_cast<vanto_error_code_t>(code) : VANTO_ERROR_CLOSED, afterwards, nullptr,
                Ender::Reader);
      return true;
    }
    default:
      return false;
  }
}

/// The first frame of a client. Before it nothing of the client is believed.
bool Connection::takeAnswer(const ReceivedFrame& frame) noexcept {
  Greeting answer;
  if (frame.header.kind != FrameKind::Answer || frame.sender.pid != peer_.pid ||
      !decodeGreeting(frame.payload.data(), answer) || answer.lowestVersion != answer.highestVersion ||
      answer.highestVersion != wireVersion) {
    return false;
  }
  const std::optional<ExecutableFile> executable = executableOfClient();
  Afterwards afterwards;
  Lock lock(mutex_);
  if (state_ != State::AwaitingAnswer) return true;
  const vanto_error_code_t code = checkAnswerLocked(frame, answer, executable);
  if (code != VANTO_ERROR_NONE) {
    lock.unlock();
    endBecause(code);
    return true;
  }
  openLocked(frame.sender, answer.windowMessages, answer.windowBytes, afterwards);
  return true;
}

/// Stands for the answer too. Who is judged by its code has to answer, and to ask again after that.
bool Connection::takeEarlyRequest(ReceivedFrame& frame) noexcept {
  FrameHeader& header = frame.header;
  Afterwards afterwards;
  Lock lock(mutex_);
  if (state_ != State::AwaitingAnswer) return true;
  if (frame.sender.pid != peer_.pid || std::exchange(handshake_->hasAskedEarly, true)) return false;
  if (handshake_->isValidated) return true;
  openLocked(frame.sender, header.creditMessages, header.creditBytes, afterwards);
  header.kind = FrameKind::Request;
  header.creditMessages = header.creditBytes = 0;
  if (!beginMessageLocked(header)) return false;
  lock.unlock();
  // Taken also by a process that was asked to end: its client could not know.
  return takeStart(frame, Wanted::Yes);
}

void Connection::openLocked(const FrameSender& client, std::uint32_t windowMessages, std::uint32_t windowBytes,
                            Afterwards& afterwards) noexcept {
  peer_.realUser = client.uid;
  peer_.realGroup = client.gid;
  sendCredit_.setWindow(windowMessages, windowBytes);
  state_ = State::Open;
  admittedBy_ = handshake_->listener;
  afterwards.handshake = std::move(handshake_);
}

/// What a client that was judged by its code executes now. A confined process cannot see that and has it looked up,
/// which takes its time and so is done without the lock. None when that fails.
std::optional<ExecutableFile> Connection::executableOfClient() noexcept {
  Fd process;
  {
    const Lock lock(mutex_);
    if (state_ != State::AwaitingAnswer || !handshake_->isValidated) return ExecutableFile{};
    const ExecutableFile seen = readExecutable(peer_.pid);
    if (seen.isKnown() || !handshake_->executable.isKnown()) return seen;
    process.reset(fcntl(handshake_->process.get(), F_DUPFD_CLOEXEC, 3));
  }
  return process ? lookUpExecutable(process) : std::nullopt;
}

/// Whether a client that was judged is still the one that it was.
vanto_error_code_t Connection::checkAnswerLocked(const ReceivedFrame& frame, const Greeting& answer,
                                                 std::optional<ExecutableFile> executable) noexcept {
  if (!handshake_->isGreeted) return VANTO_ERROR_PROTOCOL;
  if (!handshake_->isValidated) return frame.header.flags == 0 ? VANTO_ERROR_NONE : VANTO_ERROR_PROTOCOL;
  if (frame.header.flags != frameHasNonce || frame.sender.uid != peer_.realUser ||
      std::memcmp(answer.nonce, handshake_->greeting.nonce, nonceBytes) != 0) {
    return VANTO_ERROR_PROTOCOL;
  }
  // Looked at last: the process that runs now is the one whose executable was seen before.
  if (!isRunning(handshake_->process)) return VANTO_ERROR_PROTOCOL;
  // The client has kept to the protocol: it is turned away as one who could not be judged in the first place.
  if (!executable) return VANTO_ERROR_REFUSED;
  return *executable == handshake_->executable ? VANTO_ERROR_NONE : VANTO_ERROR_PROTOCOL;
}

bool Connection::beginMessageLocked(const FrameHeader& header) noexcept {
  if (header.id <= lastReceivedId_ || !receiveCredit_.start(header)) return false;
  lastReceivedId_ = header.id;
  return true;
}

bool Connection::takeCreditLocked(const FrameHeader& header, Afterwards& afterwards) noexcept {
  if (header.creditMessages == 0 && header.creditBytes == 0) return true;
  if (!sendCredit_.giveBack(header)) return false;
  if (!queue_.isEmpty()) flushLocked(afterwards, isWatched_ ? Retry::ByWorkers : Retry::ByCaller);
  return true;
}

bool Connection::takeStart(ReceivedFrame& frame, Wanted wanted) noexcept {
  if (frame.header.length <= frame.payload.size()) {
    return wanted == Wanted::No || takeBody(frame.header, frame.payload, frame.descriptors, {});
  }
  BodyRoom room;
  if (wanted == Wanted::Yes) room = BodyRoom::take(peer_.effectiveUser, frame.header.length);
  if (wanted == Wanted::No || room) return assemblies_.start(frame, wanted, std::move(room));
  // To wait instead would let a body that never goes on hold up those of its sender's other processes.
  endBecause(VANTO_ERROR_FULL, "too many large messages of one user");
  return true;
}

bool Connection::takeChunk(ReceivedFrame& frame) noexcept {
  std::optional<ChunkAssembly> completed;
  if (!assemblies_.add(frame, completed)) return false;
  if (!completed) return true;
  FrameHeader& header = completed->header;
  if (completed->bytes == nullptr) {
    // One that was dropped has been dealt with; replies have no credit.
    if (header.kind != FrameKind::Reply) giveCreditBack(ReceiveCredit::chargeOf(header));
    return true;
  }
  const std::uint64_t now = monotonicNow();
  if (header.deadline != 0) header.deadline = std::max(completed->deadline, now + 1) - now;
  return takeBody(header, completed->body(), completed->descriptors, std::move(completed->room));
}

bool Connection::takeBody(const FrameHeader& header, std::span<const std::uint8_t> body, std::vector<Fd>& descriptors,
                          BodyRoom room) noexcept {
  Ref<vanto_object> object = decodeObject(body, descriptors);
  if (!object) return false;
  if (header.kind == FrameKind::Reply) {
    takeReply(header, std::move(object));
  } else {
    takeMessage(header, std::move(object), std::move(room));
  }
  return true;
}

void Connection::takeMessage(const FrameHeader& header, Ref<vanto_object> body, BodyRoom room) noexcept {
  Ref<MessageObject> message = MessageObject::create(*this, header, std::move(body), std::move(room));
  // Should the connection have ended meanwhile, the message goes when the lock is free again.
  const Lock lock(mutex_);
  if (state_ != State::Open) return;
  if (header.kind == FrameKind::Request) {
    message->nextOpen_ = firstOpen_;
    if (firstOpen_ != nullptr) firstOpen_->previousOpen_ = message.get();
    firstOpen_ = message.get();
  }
  addEventLocked({Event::Kind::Message, std::move(message)});
}

void Connection::takeReply(const FrameHeader& header, Ref<vanto_object> body) noexcept {
  const Lock lock(mutex_);
  if (PendingCall* call = pending_.find(header.id)) resolveLocked(*call, std::move(body));
}

bool Connection::takeCancelLocked(const FrameHeader& header) noexcept {
  if (header.id > lastReceivedId_) return false;
  assemblies_.drop(header.id);
  for (MessageObject* message = firstOpen_; message != nullptr; message = message->nextOpen_) {
    if (message->id_ == header.id) message->isCancelled_.store(true, std::memory_order_release);
  }
  return true;
}

}  // namespace vanto
