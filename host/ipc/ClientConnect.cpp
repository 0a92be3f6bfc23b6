// SPDX-License-Identifier: Apache-2.0
#include "ipc/ClientConnect.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

#include <sys/socket.h>

#include "ipc/Codec.h"
#include "ipc/Connection.h"
#include "ipc/Domain.h"
#include "ipc/KnownDomains.h"
#include "ipc/PeerCredentials.h"
#include "ipc/PublishedSocket.h"
#include "ipc/Refusal.h"
#include "ipc/SocketName.h"
#include "value/limits.h"

namespace vanto {

namespace {

/// Waits between attempts, when a service went away before it greeted.
constexpr std::uint64_t firstPause = 1'000'000;
constexpr std::uint64_t longestPause = 100'000'000;

/// What is wanted of a service: a connection, or the reply to a request, which is `early` if it may be sent before the
/// service has greeted.
struct Purpose {
  const std::string& file;
  const Ref<dispatch_queue_s>& queue;
  vanto_object_t request = nullptr;
  EncodedObject* early = nullptr;
};

/// What one attempt came to. Without a result, a code; VANTO_ERROR_CLOSED is worth another attempt, unless it is final.
struct Attempt {
  Ref<vanto_object> result;
  vanto_error_code_t code = VANTO_ERROR_NONE;
  bool isFinal = false;
  /// What a refusal said; empty for nothing.
  std::string text;
};

vanto_error_code_t codeOfError(int error) noexcept {
  switch (error) {
    case ENOENT:
    case ECONNREFUSED:
    case ENOTSOCK:
    case EPROTOTYPE:
    case ELOOP:
    case EACCES:
      return VANTO_ERROR_NO_SERVICE;
    case EAGAIN:
      return VANTO_ERROR_TIMED_OUT;
    default:
      return VANTO_ERROR_SYSTEM;
  }
}

/// The first domain where somebody listens under the name counts.
Fd findService(const std::string& file, std::uint64_t deadline, vanto_error_code_t& code) noexcept {
  char path[KnownDomains::pathBytes];
  code = VANTO_ERROR_NONE;
  if (KnownDomains::find(file, monotonicNow(), path)) {
    if (Fd socket = connectToPath(path, deadline)) return socket;
  }
  code = VANTO_ERROR_NO_SERVICE;
  for (const Domain domain : domainsInOrder) {
    const Fd directory = openDomain(domain);
    KnownDomains::keep(domain, directory, monotonicNow());
    if (!directory) continue;
    Fd socket = connectToSocket(directory.get(), file.c_str(), deadline);
    code = socket ? VANTO_ERROR_NONE : codeOfError(errno);
    if (code != VANTO_ERROR_NO_SERVICE) return socket;
  }
  return {};
}

/// How long vanto_connect() may take, and until when that is.
struct TimeLimit {
  std::uint64_t timeout;
  std::uint64_t deadline;

  /// How long to wait next. All of it where next to none has passed, so that the call that may follow, which often has
  /// the same timeout, finds the socket's timeout set.
  [[nodiscard]] std::uint64_t nextWait() const noexcept {
    constexpr std::uint64_t next = 1'000'000;
    const std::uint64_t remaining = remainingUntil(deadline);
    return remaining != 0 && timeout - remaining < next && timeout > 100 * next ? timeout : remaining;
  }
};

/// A client's end before there is a connection.
struct ClientEnd {
  Fd socket;
  /// The timeout that the socket was given; 0 for none.
  std::uint64_t receiveTimeout = 0;
};

/// Waits for the service's first frame.
ReceiveResult receiveFirst(ClientEnd& end, const TimeLimit& limit, FrameBuffer& buffer, ReceivedFrame& frame) noexcept {
  for (;;) {
    const std::uint64_t wait = limit.nextWait();
    if (wait == 0) return ReceiveResult::Nothing;
    if (wait != UINT64_MAX && wait != end.receiveTimeout)
      setReceiveTimeout(end.socket.get(), end.receiveTimeout = wait);
    const ReceiveResult result = receiveFrame(end.socket.get(), Waiting::SocketTimeout, buffer, nullptr, frame);
    if (result != ReceiveResult::Nothing) return result;
  }
}

vanto_error_code_t codeOfResult(ReceiveResult result) noexcept {
  switch (result) {
    case ReceiveResult::Frame:
      return VANTO_ERROR_NONE;
    case ReceiveResult::Nothing:
      return VANTO_ERROR_TIMED_OUT;
    case ReceiveResult::Ended:
      return VANTO_ERROR_CLOSED;
    case ReceiveResult::Malformed:
      return VANTO_ERROR_PROTOCOL;
    case ReceiveResult::Cut:
    case ReceiveResult::Failed:
      break;
  }
  return VANTO_ERROR_SYSTEM;
}

vanto_error_code_t takeRefusal(const ReceivedFrame& frame, Attempt& attempt) noexcept {
  Refusal refusal;
  if (!decodeRefusal(frame.payload, refusal)) return VANTO_ERROR_PROTOCOL;
  attempt.isFinal = true;
  attempt.text = refusal.text;
  const bool isKnown = refusal.code != VANTO_ERROR_NONE && refusal.code <= VANTO_ERROR_LARGEST;
  return isKnown ? static_cast<vanto_error_code_t>(refusal.code) : VANTO_ERROR_REFUSED;
}

vanto_error_code_t answer(int socket, const FrameHeader& header, const Greeting& greeting) noexcept {
  Greeting ours;
  ours.windowMessages = ReceiveCredit::windowMessages;
  ours.windowBytes = ReceiveCredit::windowBytes;
  std::memcpy(ours.nonce, greeting.nonce, nonceBytes);
  std::uint8_t body[greetingBytes];
  encodeGreeting(ours, body);
  const FrameHeader answerHeader{.kind = FrameKind::Answer, .flags = header.flags};
  return sendFrame(socket, answerHeader, body, {}) == SendResult::Sent ? VANTO_ERROR_NONE : VANTO_ERROR_CLOSED;
}

/// Who answers: the kernel tells it with the greeting. What the socket itself says is who called listen(), which for an
/// inherited one may be somebody else.
ProcessFacts factsOf(int socket, const FrameSender& sender) noexcept {
  ProcessFacts facts;
  if (!readPeerCredentials(socket, facts) || facts.pid != sender.pid) {
    facts = {sender.pid, sender.uid, sender.gid, sender.uid, sender.gid, 0};
  }
  facts.realUser = sender.uid;
  facts.realGroup = sender.gid;
  return facts;
}

Ref<Connection> createConnection(ClientEnd& end, const ProcessFacts& facts, const Greeting& greeting,
                                 const Purpose& purpose) noexcept {
  return Connection::createForClient(std::move(end.socket), facts, greeting, end.receiveTimeout, purpose.queue);
}

vanto_error_code_t readGreeting(const ReceivedFrame& frame, Greeting& greeting) noexcept {
  if (frame.header.kind != FrameKind::Greeting || !decodeGreeting(frame.payload.data(), greeting)) {
    return VANTO_ERROR_PROTOCOL;
  }
  const bool isKnown = greeting.lowestVersion <= wireVersion && greeting.highestVersion >= wireVersion;
  return isKnown ? VANTO_ERROR_NONE : VANTO_ERROR_VERSION;
}

/// Sends a request that stands for the answer too, with `header`. False when that was not possible.
bool askEarly(int socket, EncodedObject& request, const TimeLimit& limit, FrameHeader& header) noexcept {
  header = {.kind = FrameKind::EarlyRequest,
            .id = 1,
            .deadline = limit.deadline != UINT64_MAX ? std::max<std::uint64_t>(remainingUntil(limit.deadline), 1) : 0,
            .creditMessages = ReceiveCredit::windowMessages,
            .creditBytes = ReceiveCredit::windowBytes,
            .length = request.bytes().size()};
  return sendFrameInPlace(socket, header, request.prefix(), header.length) == SendResult::Sent;
}

/// Waits for the reply to an early request that was taken: `first` says so, being anything but a greeting with a nonce.
vanto_error_code_t takeEarly(ClientEnd& end, const Purpose& purpose, const FrameHeader& request, ReceivedFrame& first,
                             const TimeLimit& limit, Attempt& attempt) noexcept {
  Greeting greeting{.windowMessages = ReceiveCredit::windowMessages, .windowBytes = ReceiveCredit::windowBytes};
  const bool isGreeting = first.header.kind == FrameKind::Greeting;
  if (isGreeting) {
    const vanto_error_code_t code = readGreeting(first, greeting);
    if (code != VANTO_ERROR_NONE) return code;
  }
  const FrameSender& sender = first.sender;
  const ProcessFacts facts{sender.pid, sender.uid, sender.gid, sender.uid, sender.gid, 0};
  const Ref<Connection> connection = createConnection(end, facts, greeting, purpose);
  attempt.result = connection->awaitEarlyReply(request, isGreeting ? nullptr : &first, limit.nextWait());
  const bool wasLeftUnread = first.wasLeftUnread || connection->wasLeftUnread();
  // With what came and was not asked for.
  connection->closeConnection();
  if (!wasLeftUnread || vanto_error_get_code(attempt.result.get()) != VANTO_ERROR_CLOSED) return VANTO_ERROR_NONE;
  // It went without having taken the request after all.
  attempt.result = nullptr;
  return VANTO_ERROR_CLOSED;
}

/// Answers the greeting.
vanto_error_code_t takeGreeting(ClientEnd& end, const Purpose& purpose, const ReceivedFrame& frame,
                                const TimeLimit& limit, Attempt& attempt) noexcept {
  Greeting greeting;
  vanto_error_code_t code = readGreeting(frame, greeting);
  if (code == VANTO_ERROR_NONE) code = answer(end.socket.get(), frame.header, greeting);
  if (code != VANTO_ERROR_NONE) return code;
  const ProcessFacts facts = factsOf(end.socket.get(), frame.sender);
  Ref<Connection> connection = createConnection(end, facts, greeting, purpose);
  if (purpose.request == nullptr) {
    attempt.result = std::move(connection);
  } else {
    attempt.result = connection->call(purpose.request, limit.nextWait());
    connection->closeConnection();
  }
  return VANTO_ERROR_NONE;
}

Attempt attemptOnce(const Purpose& purpose, const TimeLimit& limit) noexcept {
  Attempt attempt;
  ClientEnd end{findService(purpose.file, limit.deadline, attempt.code)};
  if (!end.socket) return attempt;
  FrameHeader request;
  // Where it cannot be sent the service may have refused already, or is asked once it has greeted.
  const bool hasAsked = purpose.early != nullptr && askEarly(end.socket.get(), *purpose.early, limit, request);
  FrameBuffer buffer;
  ReceivedFrame first;
  const ReceiveResult result = receiveFirst(end, limit, buffer, first);
  attempt.code = codeOfResult(result);
  if (result != ReceiveResult::Frame) {
    // A request that was read may have been dealt with.
    attempt.isFinal = hasAsked && !first.wasLeftUnread;
  } else if (first.header.kind == FrameKind::Refusal) {
    attempt.code = takeRefusal(first, attempt);
  } else if (hasAsked && (first.header.kind != FrameKind::Greeting || (first.header.flags & frameHasNonce) == 0)) {
    attempt.code = takeEarly(end, purpose, request, first, limit, attempt);
  } else {
    attempt.code = takeGreeting(end, purpose, first, limit, attempt);
  }
  return attempt;
}

void pauseFor(std::uint64_t nanoseconds) noexcept {
  const timespec time{static_cast<time_t>(nanoseconds / 1'000'000'000), static_cast<long>(nanoseconds % 1'000'000'000)};
  nanosleep(&time, nullptr);
}

/// Tries until the service has answered, one way or another, or the time is over.
Ref<vanto_object> approach(const Purpose& purpose, std::uint64_t timeout) noexcept {
  const TimeLimit limit{timeout, timeout == VANTO_WAIT_FOREVER ? UINT64_MAX : deadlineAfter(timeout)};
  std::uint64_t pause = firstPause;
  for (;;) {
    Attempt attempt = attemptOnce(purpose, limit);
    if (attempt.result) return std::move(attempt.result);
    const std::uint64_t remaining = remainingUntil(limit.deadline);
    if (attempt.code != VANTO_ERROR_CLOSED || attempt.isFinal || remaining == 0) {
      return errorObject(attempt.code, attempt.text.empty() ? nullptr : attempt.text.c_str());
    }
    pauseFor(std::min(pause, remaining));
    pause = std::min(pause * 2, longestPause);
  }
}

}  // namespace

Ref<vanto_object> connectToService(const char* name, Ref<dispatch_queue_s> queue, std::uint64_t timeout) noexcept {
  const std::string file = socketFileName(name);
  return file.empty() ? errorObject(VANTO_ERROR_NAME) : approach({file, queue}, timeout);
}

Ref<vanto_object> callService(const char* name, vanto_object_t request, std::uint64_t timeout) noexcept {
  const std::string file = socketFileName(name);
  if (file.empty()) return errorObject(VANTO_ERROR_NAME);
  EncodedObject encoded;
  const vanto_error_code_t code = encoded.encode(request);
  if (code != VANTO_ERROR_NONE) return errorObject(code);
  const bool mayBeEarly = encoded.descriptors().empty() && encoded.bytes().size() <= limits::ipcInlineBytes;
  const Ref<dispatch_queue_s> noQueue;
  return approach({file, noQueue, request, mayBeEarly ? &encoded : nullptr}, timeout);
}

}  // namespace vanto
