// SPDX-License-Identifier: Apache-2.0
#include "learning/SocketCalls.h"

#include <algorithm>
#include <array>

#include <netinet/in.h>
#include <sys/socket.h>

namespace vanto::learning {
namespace {

constexpr std::int64_t socketTypes = 0xf;

/// The errors of a connection that was allowed, in contrast to those of arguments.
constexpr std::array<std::string_view, 9> errorsOfNetwork{"EINPROGRESS", "ECONNREFUSED",  "ETIMEDOUT",
                                                          "ENETUNREACH", "EHOSTUNREACH",  "ECONNRESET",
                                                          "EINTR",       "EADDRNOTAVAIL", "EAGAIN"};

bool isInternet(std::optional<std::int64_t> family) noexcept {
  return family == AF_INET || family == AF_INET6;
}

std::optional<std::uint16_t> portIn(const TraceValue& address) {
  auto field = address.field("sin_port");
  if (!field) field = address.field("sin6_port");
  const auto bytes = field ? field->bytes() : std::nullopt;
  if (!bytes || bytes->size() != 2) return std::nullopt;
  return static_cast<std::uint16_t>(static_cast<unsigned char>((*bytes)[0]) << 8U |
                                    static_cast<unsigned char>((*bytes)[1]));
}

bool isTcp(const TraceValue& socket) {
  const auto place = socket.place();
  return place && place->kind.starts_with("TCP");
}

std::optional<std::int64_t> familyOf(const TraceValue& address) {
  const auto family = address.field("sa_family");
  return family ? family->number() : std::nullopt;
}

/// A Unix socket that was sent or connected to.
void reached(const TraceValue& address, const TraceLine& line, RunRecord& record) {
  const auto name = address.field("sun_path");
  if (!name) return;
  if (const auto abstract = name->abstractBytes()) {
    record.abstractUsed.insert(*abstract);
  } else if (const auto path = record.pathOf(line, *name)) {
    record.use(*path, Right::Socket);
  }
}

void readSocket(const TraceLine& line, RunRecord& record) {
  const auto family = line.argument(0).number();
  if (family == AF_UNIX) return;
  const auto protocol = line.argument(2).number();
  const bool isStream = (line.argument(1).number().value_or(0) & socketTypes) == SOCK_STREAM;
  if (isInternet(family) && isStream && (protocol == 0 || protocol == IPPROTO_TCP)) {
    record.facts.hasTcp = true;
  } else {
    record.facts.others |= Right::Network;
  }
}

void readSocketPair(const TraceLine& line, RunRecord& record) {
  if (line.argument(0).number() != AF_UNIX) record.facts.others |= Right::Network;
}

void readBind(const TraceLine& line, RunRecord& record) {
  const TraceValue address = line.argument(1);
  if (isTcp(line.argument(0))) {
    if (const auto port = portIn(address)) record.facts.boundPorts.insert(*port);
    return;
  }
  const auto name = address.field("sun_path");
  if (familyOf(address) != AF_UNIX || !name) return;
  if (const auto abstract = name->abstractBytes()) {
    record.abstractMade.insert(*abstract);
  } else if (const auto path = record.pathOf(line, *name)) {
    record.makeSocket(*path);
  }
}

void readConnect(const TraceLine& line, RunRecord& record) {
  if (!line.hasSucceeded() && std::ranges::find(errorsOfNetwork, line.error) == errorsOfNetwork.end()) return;
  const TraceValue address = line.argument(1);
  if (isTcp(line.argument(0))) {
    if (const auto port = portIn(address)) record.facts.connectedPorts.insert(*port);
  } else if (familyOf(address) == AF_UNIX) {
    reached(address, line, record);
  }
}

void sent(const TraceValue& address, const TraceValue& flags, const TraceLine& line, RunRecord& record) {
  if (familyOf(address) == AF_UNIX) reached(address, line, record);
  if ((flags.number().value_or(0) & MSG_FASTOPEN) == 0 || !isTcp(line.argument(0))) return;
  record.facts.others |= Right::Network;
  record.remark("the whole network is allowed because of sending with MSG_FASTOPEN, which no port allows");
}

void readSendTo(const TraceLine& line, RunRecord& record) {
  sent(line.argument(4), line.argument(3), line, record);
}

TraceValue nameIn(const TraceValue& message) {
  return message.field("msg_name").value_or(TraceValue());
}

void readSendMessage(const TraceLine& line, RunRecord& record) {
  sent(nameIn(line.argument(1)), line.argument(2), line, record);
}

void readSendMessages(const TraceLine& line, RunRecord& record) {
  for (const TraceValue& message : line.argument(1).elements()) {
    sent(nameIn(message.field("msg_hdr").value_or(TraceValue())), line.argument(3), line, record);
  }
}

constexpr std::array readers{
    CallReader{"socket", &readSocket},
    CallReader{"socketpair", &readSocketPair},
    CallReader{"bind", &readBind},
    CallReader{"connect", &readConnect, true},
    CallReader{"sendto", &readSendTo},
    CallReader{"sendmsg", &readSendMessage},
    CallReader{"sendmmsg", &readSendMessages},
};

}  // namespace

std::span<const CallReader> socketCalls() noexcept {
  return readers;
}

}  // namespace vanto::learning
