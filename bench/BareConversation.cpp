// SPDX-License-Identifier: Apache-2.0
#include "BareConversation.h"

#include <cstring>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include "BarePackets.h"
#include "Medians.h"

namespace vanto::bench {

namespace {

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  require(path.size() < sizeof address.sun_path, "the path of a socket is too long");
  std::memcpy(address.sun_path, path.c_str(), path.size());
  return address;
}

void watch(int set, int socket) {
  epoll_event event{};
  event.events = EPOLLIN;
  event.data.fd = socket;
  check(epoll_ctl(set, EPOLL_CTL_ADD, socket, &event), "epoll_ctl");
}

void acceptClient(int set, int listener) {
  const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
  check(client, "accept4");
  passCredentials(client);
  ucred peer;
  socklen_t size = sizeof peer;
  check(getsockopt(client, SOL_SOCKET, SO_PEERCRED, &peer, &size), "SO_PEERCRED");
  watch(set, client);
}

}  // namespace

Fd listenAt(const std::string& path) {
  Fd listener(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  passCredentials(listener.get());
  const sockaddr_un address = addressOf(path);
  check(bind(listener.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), "bind");
  check(listen(listener.get(), SOMAXCONN), "listen");
  return listener;
}

void serveConversations(int listener) {
  const int set = epoll_create1(EPOLL_CLOEXEC);
  watch(set, listener);
  for (;;) {
    epoll_event event;
    check(epoll_wait(set, &event, 1, -1), "epoll_wait");
    if (event.data.fd == listener) {
      acceptClient(set, listener);
      continue;
    }
    char bytes[bareBytes];
    const ssize_t size = receivePacket(event.data.fd, bytes, 0);
    if (size <= 0) {
      close(event.data.fd);
    } else {
      check(static_cast<int>(send(event.data.fd, bytes, static_cast<std::size_t>(size), MSG_NOSIGNAL)), "send");
    }
  }
}

void converse(const std::string& path) {
  const Fd client(socket(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0));
  passCredentials(client.get());
  const sockaddr_un address = addressOf(path);
  check(connect(client.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address), "connect");
  char bytes[bareBytes] = {};
  check(static_cast<int>(send(client.get(), bytes, sizeof bytes, MSG_NOSIGNAL)), "send");
  require(receivePacket(client.get(), bytes, 0) == sizeof bytes, "no reply came");
}

}  // namespace vanto::bench
