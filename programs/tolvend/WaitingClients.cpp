// SPDX-License-Identifier: Apache-2.0
#include "tolvend/WaitingClients.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>

#include <linux/netlink.h>
#include <linux/sock_diag.h>
#include <linux/unix_diag.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include "value/Fd.h"

namespace vanto::manager {

namespace {

/// More than the kernel ever puts into one answer, which has room for one or two thousand clients.
constexpr std::size_t answerBytes = std::size_t{16} << 10;

struct Question {
  nlmsghdr header;
  unix_diag_req request;
};

Question questionOf(ino_t socket, std::uint32_t shown) noexcept {
  Question question{};
  question.header.nlmsg_len = sizeof question;
  question.header.nlmsg_type = SOCK_DIAG_BY_FAMILY;
  question.header.nlmsg_flags = NLM_F_REQUEST;
  question.request.sdiag_family = AF_UNIX;
  question.request.udiag_states = UINT32_MAX;
  question.request.udiag_ino = static_cast<std::uint32_t>(socket);
  question.request.udiag_show = shown;
  // No cookie: the number alone names it.
  std::ranges::fill(question.request.udiag_cookie, UINT32_MAX);
  return question;
}

/// Reads the attributes of an answer.
std::optional<WaitingClients> clientsIn(const char* bytes, std::size_t count) {
  WaitingClients clients;
  clients.isCounted = false;
  while (count >= sizeof(nlattr)) {
    nlattr attribute;
    std::memcpy(&attribute, bytes, sizeof attribute);
    if (attribute.nla_len < sizeof attribute || attribute.nla_len > count) break;
    const std::size_t size = attribute.nla_len - sizeof attribute;
    const char* const value = bytes + sizeof attribute;
    if (attribute.nla_type == UNIX_DIAG_RQLEN && size >= sizeof(unix_diag_rqlen)) {
      unix_diag_rqlen lengths;
      std::memcpy(&lengths, value, sizeof lengths);
      clients.count = lengths.udiag_rqueue;
      clients.isCounted = true;
    } else if (attribute.nla_type == UNIX_DIAG_ICONS) {
      const std::size_t known = size / sizeof(std::uint32_t);
      clients.sockets.resize(known);
      // Of nobody there is no place either.
      if (known != 0) std::memcpy(clients.sockets.data(), value, known * sizeof(std::uint32_t));
    }
    const std::size_t whole = std::min<std::size_t>(NLA_ALIGN(attribute.nla_len), count);
    bytes += whole;
    count -= whole;
  }
  return clients.isCounted ? std::optional(std::move(clients)) : std::nullopt;
}

std::optional<WaitingClients> ask(const Fd& kernel, ino_t socket, std::uint32_t shown) {
  const Question question = questionOf(socket, shown);
  alignas(nlmsghdr) char answer[answerBytes];
  if (send(kernel.get(), &question, sizeof question, 0) != sizeof question) return std::nullopt;
  const ssize_t count = recv(kernel.get(), answer, sizeof answer, MSG_DONTWAIT);
  constexpr std::size_t facts = NLMSG_SPACE(sizeof(unix_diag_msg));
  if (count < static_cast<ssize_t>(facts)) return std::nullopt;
  nlmsghdr header;
  std::memcpy(&header, answer, sizeof header);
  if (header.nlmsg_type != SOCK_DIAG_BY_FAMILY) return std::nullopt;
  const std::size_t size = std::min<std::size_t>(header.nlmsg_len, static_cast<std::size_t>(count));
  return size < facts ? std::nullopt : clientsIn(answer + facts, size - facts);
}

std::optional<WaitingClients> diagnosed(int listener) {
  struct stat facts {};
  const Fd kernel(socket(AF_NETLINK, SOCK_RAW | SOCK_CLOEXEC, NETLINK_SOCK_DIAG));
  if (!kernel || fstat(listener, &facts) != 0) return std::nullopt;
  auto clients = ask(kernel, facts.st_ino, UDIAG_SHOW_RQLEN | UDIAG_SHOW_ICONS);
  // Too many for one answer.
  if (!clients) clients = ask(kernel, facts.st_ino, UDIAG_SHOW_RQLEN);
  return clients;
}

}  // namespace

WaitingClients readWaitingClients(int listener) {
  if (auto clients = diagnosed(listener)) return *std::move(clients);
  pollfd set{listener, POLLIN, 0};
  while (poll(&set, 1, 0) < 0 && errno == EINTR) {
  }
  return {.count = (set.revents & POLLIN) != 0 ? std::size_t{1} : 0, .sockets = {}, .isCounted = false};
}

WaitingChange changeOf(const WaitingClients& before, const WaitingClients& now) noexcept {
  if (before.count == 0) return now.count == 0 ? WaitingChange::Nobody : WaitingChange::Come;
  if (now.count == 0) return WaitingChange::Accepted;
  // For a moment there may be no descriptor to count with.
  if (before.isCounted && now.isCounted && now.count < before.count) return WaitingChange::Accepted;
  // Whoever is accepted was the first, and all others move up. One who has left keeps his place.
  const std::size_t known = std::min(before.sockets.size(), now.sockets.size());
  for (std::size_t i = 0; i < known; i++) {
    if (now.sockets[i] != before.sockets[i] && now.sockets[i] != 0) return WaitingChange::Accepted;
  }
  return WaitingChange::Same;
}

}  // namespace vanto::manager
