// SPDX-License-Identifier: Apache-2.0
#include <cstdio>

#include <poll.h>

#include "code/Cryptography.h"
#include "code/Digest.h"
#include "vexd/DigesterSandbox.h"
#include "vexd/DigesterSocket.h"
#include "vexd/Digestion.h"
#include "vexd/Record.h"
#include "vexd/limits.h"

namespace {

/// Who asked may have ended by force, and then waits for nothing more.
bool isWanted() noexcept {
  pollfd set{vanto::vexd::digesterSocket, 0, 0};
  return poll(&set, 1, 0) == 0;
}

}  // namespace

// The process that understands what others wrote: executables, signatures, Info files, keys. It answers on a socket
// until that is closed, and can reach nothing else.
int main() {
  using namespace vanto::vexd;
  // What the cryptographic library looks up in files, it has found then.
  vanto::code::prepareCryptography();
  if (!vanto::code::digestOf("")) return 1;
#ifndef __SANITIZE_THREAD__
  // That sanitizer has a thread of its own, and only a process with one thread can be confined.
  if (const std::string problem = enterDigesterSandbox(); !problem.empty()) {
    std::fprintf(stderr, "vexd-digester: cannot be confined: %s\n", problem.c_str());
    return 1;
  }
#endif
  for (Record record; receiveRecord(digesterSocket, limits::requestBytes, UINT64_MAX, record);) {
    const std::optional<DigestRequest> request = DigestRequest::read(std::move(record));
    if (!request) return 1;
    if (!sendRecord(digesterSocket, answerTo(*request, isWanted).bytes(), {}, UINT64_MAX)) return 1;
  }
  return 0;
}
