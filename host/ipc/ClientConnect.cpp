// SPDX-License-Identifier: Apache-2.0
#include "ipc/ClientConnect.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ctime>
#include <string>
#include <utility>

#include <sys/socket.h>

#include "ipc/Connection.h"
#include "ipc/Domain.h"
#include "ipc/KnownDomains.h"
#include "ipc/PeerCredentials.h"
#include "ipc/PublishedSocket.h"
#include "ipc/Refusal.h"
#include "ipc/SocketName.h"

namespace vanto {

namespace {

/// Waits between attempts, when a service went away before it greeted.
constexpr std::uint64_t firstPause = 1'000'000;
constexpr std::uint64_t longestPause = 100'000'000;

/// What one attempt came to. Without a connection, a code; VANTO_ERROR_CLOSED is worth another attempt, unless that is
/// what the service has said.
struct Attempt {
  Ref<Connection> connection;
  vanto_error_code_t code = VANTO_ERROR_NONE;
  bool isRefused = false;
  /// What a refusal said; empty for nothing.
  std::string text;
};

/// What is known of a service that has greeted.
struct ServiceEnd {
  Greeting greeting;
  FrameSender sender;
  /// The timeout that the socket was given; 0 for none.
  std::uint64_t receiveTimeout = 0;
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

/// Waits for the service's first frame. `set` becomes the socket's own timeout, 0 for none.
vanto_error_code_t receiveFirst(int socket, const TimeLimit& limit, FrameBuffer& buffer, ReceivedFrame& frame,
                                std::uint64_t& set) noexcept {
  for (;;) {
    const std::uint64_t wait = limit.nextWait();
    if (wait == 0) return VANTO_ERROR_TIMED_OUT;
    if (wait != UINT64_MAX && wait != set) setReceiveTimeout(socket, set = wait);
    switch (receiveFrame(socket, Waiting::SocketTimeout, buffer, nullptr, frame)) {
      case ReceiveResult::Frame:
        return VANTO_ERROR_NONE;
      case ReceiveResult::Nothing:
        break;
      case ReceiveResult::Ended:
        return VANTO_ERROR_CLOSED;
      case ReceiveResult::Malformed:
        return VANTO_ERROR_PROTOCOL;
      case ReceiveResult::Cut:
      case ReceiveResult::Failed:
        return VANTO_ERROR_SYSTEM;
    }
  }
}

vanto_error_code_t takeRefusal(const ReceivedFrame& frame, Attempt& attempt) noexcept {
  Refusal refusal;
  if (!decodeRefusal(frame.payload, refusal)) return VANTO_ERROR_PROTOCOL;
  attempt.isRefused = true;
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

vanto_error_code_t shakeHands(int socket, const TimeLimit& limit, ServiceEnd& service, Attempt& attempt) noexcept {
  FrameBuffer buffer;
  ReceivedFrame frame;
  const vanto_error_code_t code = receiveFirst(socket, limit, buffer, frame, service.receiveTimeout);
  if (code != VANTO_ERROR_NONE) return code;
  if (frame.header.kind == FrameKind::Refusal) return takeRefusal(frame, attempt);
  Greeting& greeting = service.greeting;
  if (frame.header.kind != FrameKind::Greeting || !decodeGreeting(frame.payload.data(), greeting)) {
    return VANTO_ERROR_PROTOCOL;
  }
  if (greeting.lowestVersion > wireVersion || greeting.highestVersion < wireVersion) return VANTO_ERROR_VERSION;
  service.sender = frame.sender;
  return answer(socket, frame.header, greeting);
}

Attempt attemptOnce(const std::string& file, const Ref<dispatch_queue_s>& queue, const TimeLimit& limit) noexcept {
  Attempt attempt;
  Fd socket = findService(file, limit.deadline, attempt.code);
  if (!socket) return attempt;
  ServiceEnd service;
  attempt.code = shakeHands(socket.get(), limit, service, attempt);
  if (attempt.code != VANTO_ERROR_NONE) return attempt;
  const ProcessFacts facts = factsOf(socket.get(), service.sender);
  attempt.connection =
      Connection::createForClient(std::move(socket), facts, service.greeting, service.receiveTimeout, queue);
  return attempt;
}

void pauseFor(std::uint64_t nanoseconds) noexcept {
  const timespec time{static_cast<time_t>(nanoseconds / 1'000'000'000), static_cast<long>(nanoseconds % 1'000'000'000)};
  nanosleep(&time, nullptr);
}

}  // namespace

Ref<vanto_object> connectToService(const char* name, Ref<dispatch_queue_s> queue, std::uint64_t timeout) noexcept {
  const std::string file = socketFileName(name);
  if (file.empty()) return errorObject(VANTO_ERROR_NAME);
  const TimeLimit limit{timeout, timeout == VANTO_WAIT_FOREVER ? UINT64_MAX : deadlineAfter(timeout)};
  std::uint64_t pause = firstPause;
  for (;;) {
    Attempt attempt = attemptOnce(file, queue, limit);
    if (attempt.connection) return std::move(attempt.connection);
    const std::uint64_t remaining = remainingUntil(limit.deadline);
    if (attempt.code != VANTO_ERROR_CLOSED || attempt.isRefused || remaining == 0) {
      return errorObject(attempt.code, attempt.text.empty() ? nullptr : attempt.text.c_str());
    }
    pauseFor(std::min(pause, remaining));
    pause = std::min(pause * 2, longestPause);
  }
}

}  // namespace vanto
