// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/Handover.h"

#include <cerrno>
#include <charconv>
#include <climits>

#include <fcntl.h>

#include "vantoproxy/SystemCall.h"
#include "vantoproxy/Variables.h"

namespace vanto {

namespace {

/// The number that is the whole text, or -1 when it is none or not between 0 and `largest`.
int numberIn(const char* text, int largest) noexcept {
  const std::string_view all = text;
  int number = -1;
  const auto [rest, error] = std::from_chars(all.data(), all.data() + all.size(), number);
  return error == std::errc() && rest == all.data() + all.size() && number <= largest ? number : -1;
}

bool isForAnother(char* const* environment) noexcept {
  const char* receiver = findValue(environment, "LISTEN_PID");
  return receiver != nullptr && numberIn(receiver, INT_MAX) != systemCall(SYS_getpid);
}

Failure wrongListeners(int error, const char* reason) noexcept {
  return {ExecStage::Handover, error, reason, "correct what the manager sets LISTEN_FDS to"};
}

Failure wrongStatus(int error, const char* reason) noexcept {
  return {ExecStage::Handover, error, reason, "correct what the manager sets VANTO_EXEC_STATUS to"};
}

Failure readListeners(char* const* environment, int& listeners) noexcept {
  const char* text = findValue(environment, "LISTEN_FDS");
  if (text == nullptr || isForAnother(environment)) return {};
  const int count = numberIn(text, maximumListeners);
  if (count < 0) return wrongListeners(EINVAL, "LISTEN_FDS is not a number from 0 to 64");
  for (int i = 0; i < count; i++) {
    const int error = errorIn(systemCall(SYS_fcntl, firstListener + i, F_GETFD));
    if (error != 0) return wrongListeners(error, "LISTEN_FDS counts a descriptor that is closed");
  }
  listeners = count;
  return {};
}

Failure readStatus(char* const* environment, int& status) noexcept {
  const char* text = findValue(environment, execStatusVariable);
  if (text == nullptr) return {};
  const int descriptor = numberIn(text, INT_MAX);
  if (descriptor < firstListener) return wrongStatus(EINVAL, "VANTO_EXEC_STATUS is not a number above 2");
  const int error = errorIn(systemCall(SYS_fcntl, descriptor, F_SETFD, FD_CLOEXEC));
  if (error != 0) return wrongStatus(error, "VANTO_EXEC_STATUS names a descriptor that is closed");
  status = descriptor;
  return {};
}

}  // namespace

Failure readHandover(char* const* environment, Handover& handover) noexcept {
  const Failure ofStatus = readStatus(environment, handover.status);
  const Failure ofListeners = readListeners(environment, handover.listeners);
  if (ofStatus) return ofStatus;
  if (ofListeners) return ofListeners;
  if (handover.status < 0 || handover.status >= firstListener + handover.listeners) return {};
  // A record in it would go to whoever is at the other end of the service's descriptor.
  handover.status = -1;
  return wrongStatus(EINVAL, "VANTO_EXEC_STATUS names a descriptor that is for the service");
}

}  // namespace vanto
