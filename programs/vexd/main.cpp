// SPDX-License-Identifier: Apache-2.0
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include <sys/resource.h>
#include <unistd.h>

#include <VantoService/VantoService.h>

#include "value/Fd.h"
#include "vexd/Examiner.h"
#include "vexd/Reply.h"

// The code-signing service: tells other services whose code a process executes. This process sees every process that
// its user may see, and so understands nothing of what others wrote; another one, which can reach nothing, does.
namespace {

using vanto::vexd::Examiner;
using vanto::vexd::Failure;
using vanto::vexd::Report;

std::string digesterProgram() {
  char self[PATH_MAX];
  const ssize_t length = readlink("/proc/self/exe", self, sizeof self);
  const std::string path(self, length > 0 ? static_cast<std::size_t>(length) : 0);
  return path.substr(0, path.rfind('/') + 1) + "vexd-digester";
}

Examiner& examiner() {
  static auto* const shared =
      std::make_unique<Examiner>(digesterProgram(), vanto::vexd::TrustFiles::placesOfProcess()).release();
  return *shared;
}

void reply(vanto_object_t message, const Report& report) {
  const vanto_object_t answer = vanto::vexd::createReply(report);
  // Who does not wait any more does not get it.
  static_cast<void>(vanto_reply(message, answer));
  vanto_release(answer);
}

void handleRequest(vanto_object_t connection, vanto_object_t message) {
  const vanto::Fd process(vanto::vexd::copyProcessOf(vanto_message_get_body(message)));
  if (!process) return reply(message, {{Failure::Unknown, "the request names no process"}, {}});
  vanto_identity_t asker{};
  static_cast<void>(vanto_peer_identity(connection, &asker));
  const std::shared_ptr<vanto_object> kept(vanto_retain(message), vanto_release);
  examiner().examine(
      process.get(), asker.uid, [kept](const Report& report) { reply(kept.get(), report); },
      [kept] { return !vanto_message_is_cancelled(kept.get()); });
}

void handleEvent(vanto_object_t, vanto_object_t event) {
  if (vanto_kind(event) == VANTO_KIND_ERROR) {
    // Nobody can reach a service that cannot listen.
    std::fprintf(stderr, "vexd: cannot listen: %s\n", vanto_error_get_text(event));
    std::exit(1);
  }
  if (vanto_kind(event) != VANTO_KIND_CONNECTION) return;
  // Of its own, so that one that is waited for does not hold up others.
  vanto_connection_set_queue(event, nullptr);
  vanto_connection_set_event_handler(event, [](vanto_object_t connection, vanto_object_t received) {
    if (vanto_kind(received) == VANTO_KIND_MESSAGE && vanto_message_expects_reply(received)) {
      handleRequest(connection, received);
    }
  });
  vanto_connection_resume(event);
}

/// Each executable that waits takes some.
void allowAllDescriptors() noexcept {
  rlimit limit{};
  if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

}  // namespace

int main(int argc, char** argv) {
  allowAllDescriptors();
  static_cast<void>(examiner());
  return vanto_service_main(argc, argv, handleEvent);
}
