// SPDX-License-Identifier: Apache-2.0
#include <array>
#include <cstddef>
#include <cstring>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <sys/un.h>

#include "host/sandbox/EscapeScene.h"

namespace vanto::testing {
namespace {

constexpr int protocolMptcp = 262;
constexpr int protocolSctp = 132;
constexpr int familySmc = 43;

int tryMake(int family, int type, int protocol) {
  const Fd made(socket(family, type | SOCK_CLOEXEC, protocol));
  return made ? 0 : errno;
}

int tryPair(EscapeScene&) {
  int ends[2];
  return outcomeOf(socketpair(AF_INET, SOCK_STREAM, 0, ends));
}

sockaddr_in loopback(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

int connectTo(int made, std::uint16_t port) {
  const sockaddr_in address = loopback(port);
  return outcomeOf(connect(made, reinterpret_cast<const sockaddr*>(&address), sizeof address));
}

int tryConnect(std::uint16_t port) {
  const Fd made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  return made ? connectTo(made.get(), port) : errno;
}

int tryConnectMapped(EscapeScene& scene) {
  const Fd made(socket(AF_INET6, SOCK_STREAM | SOCK_CLOEXEC, 0));
  sockaddr_in6 address{};
  address.sin6_family = AF_INET6;
  address.sin6_port = htons(scene.otherPort());
  inet_pton(AF_INET6, "::ffff:127.0.0.1", &address.sin6_addr);
  return made ? outcomeOf(connect(made.get(), reinterpret_cast<sockaddr*>(&address), sizeof address)) : errno;
}

int tryBind(EscapeScene& scene) {
  const Fd made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  // In use, which is found out behind the rules.
  const sockaddr_in address = loopback(scene.otherPort());
  return made ? outcomeOf(bind(made.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address)) : errno;
}

int tryListen(EscapeScene&) {
  const Fd made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  return made ? outcomeOf(listen(made.get(), 1)) : errno;
}

int trySendFast(EscapeScene& scene) {
  const Fd made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!made) return errno;
  const sockaddr_in address = loopback(scene.otherPort());
  return outcomeOf(
      sendto(made.get(), "x", 1, MSG_FASTOPEN, reinterpret_cast<const sockaddr*>(&address), sizeof address));
}

/// A message to a port that the profile does not name.
struct OutgoingMessage {
  explicit OutgoingMessage(const EscapeScene& scene) : address(loopback(scene.otherPort())) {
    header.msg_name = &address;
    header.msg_namelen = sizeof address;
    header.msg_iov = &part;
    header.msg_iovlen = 1;
  }
  OutgoingMessage(const OutgoingMessage&) = delete;
  OutgoingMessage& operator=(const OutgoingMessage&) = delete;

  sockaddr_in address;
  char byte = 'x';
  iovec part{&byte, 1};
  msghdr header{};
};

int trySendMessageFast(EscapeScene& scene) {
  const Fd made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!made) return errno;
  const OutgoingMessage message(scene);
  return outcomeOf(sendmsg(made.get(), &message.header, MSG_FASTOPEN));
}

int trySendMessagesFast(EscapeScene& scene) {
  const Fd made(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!made) return errno;
  const OutgoingMessage message(scene);
  mmsghdr messages{message.header, 0};
  return outcomeOf(sendmmsg(made.get(), &messages, 1, MSG_FASTOPEN));
}

int trySendDatagram(EscapeScene& scene) {
  const sockaddr_in address = loopback(scene.otherPort());
  return outcomeOf(sendto(scene.udpSocket, "x", 1, 0, reinterpret_cast<const sockaddr*>(&address), sizeof address));
}

struct UnixAddress {
  UnixAddress(const std::string& name, bool isAbstract) {
    address.sun_family = AF_UNIX;
    std::memcpy(address.sun_path + (isAbstract ? 1 : 0), name.data(), name.size());
    size = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size() + 1);
  }
  [[nodiscard]] const sockaddr* generic() const { return reinterpret_cast<const sockaddr*>(&address); }

  sockaddr_un address{};
  socklen_t size;
};

int tryConnectUnix(const UnixAddress& address) {
  const Fd made(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  return outcomeOf(connect(made.get(), address.generic(), address.size));
}

int trySendUnix(const UnixAddress& address) {
  const Fd made(socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
  return outcomeOf(sendto(made.get(), "x", 1, MSG_DONTWAIT, address.generic(), address.size));
}

constexpr auto table = std::to_array<NamedProbe>({
    {"socket-tcp",
     [](EscapeScene&) {
       return tryMake(AF_INET, SOCK_STREAM, 0);
     }},
    {"socket-tcp6",
     [](EscapeScene&) {
       return tryMake(AF_INET6, SOCK_STREAM, 0);
     }},
    {"socket-udp",
     [](EscapeScene&) {
       return tryMake(AF_INET, SOCK_DGRAM, 0);
     }},
    {"socket-raw",
     [](EscapeScene&) {
       return tryMake(AF_INET, SOCK_RAW, IPPROTO_ICMP);
     }},
    {"socket-netlink",
     [](EscapeScene&) {
       return tryMake(AF_NETLINK, SOCK_RAW, 0);
     }},
    {"socket-packet",
     [](EscapeScene&) {
       return tryMake(AF_PACKET, SOCK_RAW, 0);
     }},
    {"socket-vsock",
     [](EscapeScene&) {
       return tryMake(AF_VSOCK, SOCK_STREAM, 0);
     }},
    {"socket-crypto",
     [](EscapeScene&) {
       return tryMake(AF_ALG, SOCK_SEQPACKET, 0);
     }},
    {"socket-mptcp",
     [](EscapeScene&) {
       return tryMake(AF_INET, SOCK_STREAM, protocolMptcp);
     }},
    {"socket-pair", &tryPair},
    {"open-socket-udp",
     [](EscapeScene&) {
       return tryMake(AF_INET, SOCK_DGRAM, 0);
     }},
    {"open-socket-udp6",
     [](EscapeScene&) {
       return tryMake(AF_INET6, SOCK_DGRAM, 0);
     }},
    {"open-socket-raw",
     [](EscapeScene&) {
       return tryMake(AF_INET, SOCK_RAW, IPPROTO_TCP);
     }},
    {"open-socket-netlink",
     [](EscapeScene&) {
       return tryMake(AF_NETLINK, SOCK_RAW, 0);
     }},
    {"open-socket-vsock",
     [](EscapeScene&) {
       return tryMake(AF_VSOCK, SOCK_STREAM, 0);
     }},
    {"open-socket-mptcp",
     [](EscapeScene&) {
       return tryMake(AF_INET, SOCK_STREAM, protocolMptcp);
     }},
    {"open-socket-sctp",
     [](EscapeScene&) {
       return tryMake(AF_INET, SOCK_STREAM, protocolSctp);
     }},
    {"open-socket-smc",
     [](EscapeScene&) {
       return tryMake(familySmc, SOCK_STREAM, 0);
     }},
    {"connect-allowed-port",
     [](EscapeScene& s) {
       return tryConnect(s.allowedPort());
     }},
    {"connect-other-port",
     [](EscapeScene& s) {
       return tryConnect(s.otherPort());
     }},
    {"connect-mapped-address", &tryConnectMapped},
    {"connect-old-socket",
     [](EscapeScene& s) {
       return connectTo(s.tcpSocket, s.otherPort());
     }},
    {"connect-by-sending", &trySendFast},
    {"connect-by-sending-message", &trySendMessageFast},
    {"connect-by-sending-messages", &trySendMessagesFast},
    {"bind-other-port", &tryBind},
    {"listen-unbound", &tryListen},
    {"send-old-udp-socket", &trySendDatagram},
    {"unix-connect",
     [](EscapeScene& s) {
       return tryConnectUnix({s.outside("stream"), false});
     }},
    {"unix-send",
     [](EscapeScene& s) {
       return trySendUnix({s.outside("datagram"), false});
     }},
    {"abstract-connect",
     [](EscapeScene& s) {
       return tryConnectUnix({s.abstractName(), true});
     }},
    {"abstract-send",
     [](EscapeScene& s) {
       return trySendUnix({s.abstractName() + "-d", true});
     }},
});

}  // namespace

EscapeProbes socketProbes() {
  return {table.begin(), table.end()};
}

}  // namespace vanto::testing
