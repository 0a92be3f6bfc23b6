// SPDX-License-Identifier: Apache-2.0

// The service of the tests of the manager. The name of its file is BEHAVIOUR@SERVICE; beside it, it writes down each
// start in a file SERVICE.starts.
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <VantoService/VantoService.h>

namespace {

/// What was handed over.
constexpr int listenerDescriptor = 3;
constexpr int managerDescriptor = 4;

/// Records to the manager.
constexpr std::uint32_t listening = 16;
constexpr std::uint32_t idle = 18;

std::string behaviour;
std::string service;

void noteStart(const std::string& path) {
  std::FILE* file = std::fopen((path.substr(0, path.rfind('/') + 1) + service + ".starts").c_str(), "a");
  if (file == nullptr) std::_Exit(98);
  std::fprintf(file, "%d\n", getpid());
  std::fclose(file);
}

void tellAway() {
  setsid();
  std::printf("away %d\n", getpid());
  std::fflush(stdout);
}

/// Leaves a process behind that nothing of this one's end reaches but its manager.
void forkAway() {
  if (fork() != 0) return;
  tellAway();
  for (;;) pause();
}

/// Leaves a process to the manager while this one runs: its parent ends at once.
void forkTwice() {
  const pid_t child = fork();
  if (child != 0) {
    waitpid(child, nullptr, 0);
    return;
  }
  if (fork() != 0) _exit(0);
  tellAway();
  for (;;) pause();
}

/// Leaves processes behind of which each is the parent of the next, each in a session of its own.
void nest() {
  for (int i = 0; i < 6; i++) {
    if (fork() != 0) {
      if (i == 0) return;
      for (;;) pause();
    }
    tellAway();
  }
  for (;;) pause();
}

/// Has another program run beside this one.
void runChild() {
  const pid_t child = fork();
  if (child == 0) {
    execlp("sleep", "sleep", "777", nullptr);
    _exit(96);
  }
  std::printf("child %d\n", child);
  std::fflush(stdout);
}

/// Has a process write lines as fast as they are taken, until this one ends.
void flood() {
  if (fork() != 0) return;
  const std::string line(500, 'x');
  for (;;) {
    if (std::puts(line.c_str()) == EOF) std::_Exit(1);
  }
}

void tellManager(std::uint32_t kind) {
  const std::uint32_t record[4] = {kind, 0, 0, 0};
  if (send(managerDescriptor, record, sizeof record, MSG_NOSIGNAL) < 0) std::_Exit(95);
}

/// Serves nobody, and says what a service says.
[[noreturn]] void feign() {
  tellManager(listening);
  usleep(1'100'000);
  tellManager(idle);
  usleep(50'000);
  std::_Exit(0);
}

/// Serves without the library, one client after the other, who gets a byte when it is done.
[[noreturn]] void labour() {
  for (;;) {
    pollfd set{listenerDescriptor, POLLIN, 0};
    static_cast<void>(poll(&set, 1, -1));
    const int client = accept4(listenerDescriptor, nullptr, nullptr, SOCK_CLOEXEC);
    if (client < 0) continue;
    usleep(5'000);
    static_cast<void>(!send(client, "x", 1, MSG_NOSIGNAL));
    close(client);
  }
}

/// Says to the manager that it is idle, as often as that can be said.
void chatter() {
  if (fork() != 0) return;
  for (;;) tellManager(idle);
}

void obey(vanto_object_t message) {
  const vanto_object_t body = vanto_message_get_body(message);
  const char* text = vanto_string_get_text(body);
  const std::string order = text != nullptr ? text : "";
  if (order == "crash") std::abort();
  if (order == "leave") std::exit(0);
  if (order == "away") forkAway();
  if (order == "twice") forkTwice();
  if (order == "nest") nest();
  if (order == "child") runChild();
  if (order == "shut down") shutdown(listenerDescriptor, SHUT_RDWR);
  if (order == "flood") flood();
  if (order == "chatter") chatter();
  if (order.rfind("say ", 0) == 0) {
    std::printf("%s\n", order.c_str() + 4);
    std::fflush(stdout);
  }
  const vanto_object_t pid = vanto_int64_create(getpid());
  vanto_reply(message, pid);
  vanto_release(pid);
}

void receive(vanto_object_t, vanto_object_t event, void*) {
  if (vanto_kind(event) == VANTO_KIND_MESSAGE) obey(event);
}

void accept(vanto_object_t, vanto_object_t event, void*) {
  if (vanto_kind(event) != VANTO_KIND_CONNECTION) return;
  if (behaviour == "crashes-when-greeted") std::abort();
  vanto_connection_set_event_function(event, receive, nullptr, nullptr);
  vanto_connection_resume(event);
}

[[noreturn]] void serve() {
  const vanto_object_t listener = vanto_connection_create_listener(service.c_str(), nullptr);
  vanto_connection_set_event_function(listener, accept, nullptr, nullptr);
  if (behaviour == "tracked") vanto_track_activity();
  vanto_connection_resume(listener);
  dispatch_main();
}

}  // namespace

int main(int, char** argv) {
  const std::string path = argv[0];
  const std::string file = path.substr(path.rfind('/') + 1);
  behaviour = file.substr(0, file.find('@'));
  service = file.substr(file.find('@') + 1);
  noteStart(path);
  if (behaviour == "exits-0") return 0;
  if (behaviour == "exits-3") {
    std::fputs("cannot go on\n", stderr);
    return 3;
  }
  if (behaviour == "explains") {
    std::fputs("reads its settings\nline 7: no such word\nsee the manual\ncannot go on\n", stderr);
    return 3;
  }
  if (behaviour == "blocks") {
    fcntl(listenerDescriptor, F_SETFL, 0);
    return 1;
  }
  if (behaviour == "shuts-down") {
    shutdown(listenerDescriptor, SHUT_RDWR);
    for (;;) pause();
  }
  if (behaviour == "feigns") feign();
  if (behaviour == "labours") labour();
  if (behaviour == "silent") {
    for (;;) pause();
  }
  if (behaviour == "stubborn") std::signal(SIGTERM, SIG_IGN);
  if (behaviour == "probe") {
    execl((path.substr(0, path.rfind('/') + 1) + "probe").c_str(), "probe", nullptr);
    return 97;
  }
  serve();
}
