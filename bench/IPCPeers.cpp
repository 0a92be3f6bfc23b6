// SPDX-License-Identifier: Apache-2.0
#include "IPCPeers.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <sys/epoll.h>
#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

namespace vanto::bench {

namespace {

int answerDictionary(sd_bus_message* message, void*, sd_bus_error*) {
  // What is asked is read, entry by entry, and sent back.
  sd_bus_message* reply = nullptr;
  check(sd_bus_message_new_method_return(message, &reply), "new_method_return");
  check(sd_bus_message_enter_container(message, 'a', "{sv}"), "enter");
  check(sd_bus_message_open_container(reply, 'a', "{sv}"), "open");
  while (sd_bus_message_enter_container(message, 'e', "sv") > 0) {
    const char* key = nullptr;
    char kind = 0;
    const char* contents = nullptr;
    check(sd_bus_message_read(message, "s", &key), "read");
    check(sd_bus_message_peek_type(message, &kind, &contents), "peek");
    check(sd_bus_message_enter_container(message, 'v', contents), "variant");
    if (*contents == 's') {
      const char* text = nullptr;
      check(sd_bus_message_read(message, "s", &text), "read");
      check(sd_bus_message_append(reply, "{sv}", key, "s", text), "append");
    } else if (*contents == 'x') {
      std::int64_t number = 0;
      check(sd_bus_message_read(message, "x", &number), "read");
      check(sd_bus_message_append(reply, "{sv}", key, "x", number), "append");
    } else if (*contents == 'b') {
      int flag = 0;
      check(sd_bus_message_read(message, "b", &flag), "read");
      check(sd_bus_message_append(reply, "{sv}", key, "b", flag), "append");
    } else {
      double number = 0;
      check(sd_bus_message_read(message, "d", &number), "read");
      check(sd_bus_message_append(reply, "{sv}", key, "d", number), "append");
    }
    check(sd_bus_message_exit_container(message), "exit");
    check(sd_bus_message_exit_container(message), "exit");
  }
  check(sd_bus_message_exit_container(message), "exit");
  check(sd_bus_message_close_container(reply), "close");
  const int result = sd_bus_send(nullptr, reply, nullptr);
  sd_bus_message_unref(reply);
  return result;
}

}  // namespace

void serveBare(int socket) {
  passCredentials(socket);
  const int set = epoll_create1(EPOLL_CLOEXEC);
  epoll_event event{};
  event.events = EPOLLIN;
  check(epoll_ctl(set, EPOLL_CTL_ADD, socket, &event), "epoll_ctl");
  char bytes[bareBytes];
  for (;;) {
    check(epoll_wait(set, &event, 1, -1), "epoll_wait");
    const ssize_t size = receivePacket(socket, bytes, MSG_DONTWAIT);
    if (size <= 0 || send(socket, bytes, static_cast<std::size_t>(size), MSG_NOSIGNAL) < 0) _exit(0);
  }
}

double timeBare(int socket, int count, int inFlight) {
  passCredentials(socket);
  char bytes[bareBytes] = {};
  const double start = nanosecondsNow();
  for (int i = 0; i < inFlight; i++) check(static_cast<int>(send(socket, bytes, sizeof bytes, 0)), "send");
  for (int i = 0; i < count; i++) {
    check(static_cast<int>(receivePacket(socket, bytes, 0)), "recvmsg");
    if (i + inFlight < count) check(static_cast<int>(send(socket, bytes, sizeof bytes, 0)), "send");
  }
  return (nanosecondsNow() - start) / count;
}

void serveBus(int socket) {
  sd_bus* bus = nullptr;
  static const sd_bus_vtable table[] = {
      SD_BUS_VTABLE_START(0), SD_BUS_METHOD("Echo", "a{sv}", "a{sv}", answerDictionary, SD_BUS_VTABLE_UNPRIVILEGED),
      SD_BUS_VTABLE_END};
  sd_id128_t id;
  check(sd_id128_randomize(&id), "id128");
  check(sd_bus_new(&bus), "sd_bus_new");
  check(sd_bus_set_fd(bus, socket, socket), "set_fd");
  check(sd_bus_set_server(bus, 1, id), "set_server");
  check(sd_bus_add_object_vtable(bus, nullptr, "/", "org.example.Echo", table, nullptr), "vtable");
  check(sd_bus_start(bus), "start");
  for (;;) {
    const int result = sd_bus_process(bus, nullptr);
    if (result < 0) _exit(0);
    if (result == 0 && sd_bus_wait(bus, UINT64_MAX) < 0) _exit(0);
  }
}

BusClient::BusClient(int socket) {
  sd_bus* bus = nullptr;
  check(sd_bus_new(&bus), "sd_bus_new");
  check(sd_bus_set_fd(bus, socket, socket), "set_fd");
  check(sd_bus_start(bus), "start");
  bus_ = bus;
}

BusClient::~BusClient() {
  sd_bus_flush_close_unref(static_cast<sd_bus*>(bus_));
}

double BusClient::time(int count) {
  const double start = nanosecondsNow();
  for (int i = 0; i < count; i++) {
    sd_bus_message* reply = nullptr;
    check(sd_bus_call_method(static_cast<sd_bus*>(bus_), nullptr, "/", "org.example.Echo", "Echo", nullptr, &reply,
                             "a{sv}", 5, "name", "s", "org.example.service", "count", "x", std::int64_t{42}, "enabled",
                             "b", 1, "ratio", "d", 0.5, "path", "s", "/usr/share/example"),
          "call_method");
    sd_bus_message_unref(reply);
  }
  return (nanosecondsNow() - start) / count;
}

}  // namespace vanto::bench
