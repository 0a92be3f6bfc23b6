// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>

#include <dlfcn.h>
#include <fcntl.h>
#include <linux/landlock.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include <VantoService/VantoService.h>

// The service program of the system tests. The first argument says which kind of service it is.

namespace {

void echo(vanto_object_t, vanto_object_t event) {
  if (vanto_kind(event) != VANTO_KIND_CONNECTION) return;
  vanto_connection_set_event_handler(event, [](vanto_object_t, vanto_object_t received) {
    if (vanto_kind(received) == VANTO_KIND_MESSAGE) vanto_reply(received, vanto_message_get_body(received));
  });
  vanto_connection_resume(event);
}

/// What comes of "read PATH", "write PATH", "socket", "fork" or "log": 0 or errno.
int outcomeOf(const std::string& order) {
  const std::size_t space = order.find(' ');
  const std::string path = space == std::string::npos ? "" : order.substr(space + 1);
  const std::string_view what(order.data(), std::min(space, order.size()));
  int result = 0;
  if (what == "read") result = open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (what == "write") result = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  if (what == "socket") result = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (what == "fork" && (result = fork()) == 0) _exit(0);
  if (what == "log") syslog(LOG_INFO, "a line of a service");
  return result < 0 ? errno : 0;
}

/// Replies to each order with what came of it.
void obey(vanto_object_t, vanto_object_t event) {
  if (vanto_kind(event) != VANTO_KIND_CONNECTION) return;
  vanto_connection_set_event_handler(event, [](vanto_object_t, vanto_object_t received) {
    if (vanto_kind(received) != VANTO_KIND_MESSAGE) return;
    const vanto_object_t reply = vanto_int64_create(outcomeOf(vanto_string_get_text(vanto_message_get_body(received))));
    vanto_reply(received, reply);
    vanto_release(reply);
  });
  vanto_connection_resume(event);
}

void fail(vanto_object_t, vanto_object_t) {
  throw std::runtime_error("a handler that throws");
}

/// Tells where the crash annotation record of this process is.
void logAnnotations() {
  syslog(LOG_DEBUG, "annotations at %llu",
         static_cast<unsigned long long>(reinterpret_cast<std::uintptr_t>(dlsym(RTLD_DEFAULT, "gCRAnnotations"))));
}

/// Work for more threads than the library has of its own: all but one piece wait, so the last is only reached when the
/// main thread serves the queues too. It is then known to.
void submitMoreThanTheWorkersCanDo() {
  static std::atomic<bool> reached{false};
  for (int i = 0; i < 256; ++i) {
    dispatch_queue_submit(dispatch_queue_create("org.vanto.test.work", nullptr), nullptr, [](void*) {
      if (gettid() != getpid()) {
        reached.wait(false);
        return;
      }
      syslog(LOG_DEBUG, "the main thread serves the queues");
      std::_Exit(0);
    });
  }
}

/// What runs when the main thread's run loop does; the loop then ends.
void performOnRunLoop() {
  KorRunLoop* loop = KorRunLoopGetCurrent();
  KorRunLoopPerform(loop, loop, [](void* context) {
    syslog(LOG_DEBUG, "the run loop runs");
    KorRunLoopStop(static_cast<KorRunLoop*>(context));
  });
}

/// Enters a domain of Landlock that takes nothing away but the sight of processes outside of it.
void enterEmptyDomain() {
  const landlock_ruleset_attr rights{.handled_access_fs = LANDLOCK_ACCESS_FS_MAKE_CHAR};
  const int rules = static_cast<int>(syscall(SYS_landlock_create_ruleset, &rights, sizeof rights, 0));
  if (rules < 0 || prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 || syscall(SYS_landlock_restrict_self, rules, 0) != 0) {
    std::_Exit(97);
  }
  close(rules);
}

}  // namespace

int main(int argc, char** argv) {
  const std::string_view kind = argc > 1 ? argv[1] : "";
  if (kind == "echo") return vanto_service_main(argc, argv, echo);
  if (kind == "obeying") return vanto_service_main(argc, argv, obey);
  if (kind == "threaded") {
    std::thread([] { pause(); }).detach();
    return vanto_service_main(argc, argv, obey);
  }
  if (kind == "confined-echo") {
    enterEmptyDomain();
    return vanto_service_main(argc, argv, echo);
  }
  if (kind == "throwing") return vanto_service_main(argc, argv, fail);
  if (kind == "without-handler") {
    logAnnotations();
    return vanto_service_main(argc, argv, nullptr);
  }
  if (kind == "ending-loop") {
    performOnRunLoop();
    return vanto_service_main(argc, argv, echo);
  }
  if (kind == "run-loop") performOnRunLoop();
  if (kind == "queues") submitMoreThanTheWorkersCanDo();
  _vanto_main();
  syslog(LOG_DEBUG, "_vanto_main returned");
  return 0;
}
