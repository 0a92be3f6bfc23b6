// SPDX-License-Identifier: Apache-2.0
#include "ipc/PeerJudgement.h"

#include <atomic>
#include <cerrno>
#include <utility>

#include <sys/random.h>

#include <VantoService/TemporaryScope.h>

#include "ipc/Connection.h"
#include "ipc/PeerCredentials.h"
#include "process/PendingPeer.h"

namespace vanto {

namespace {

constinit std::atomic<vanto_peer_evaluator_t> peerEvaluator{nullptr};

bool isOutOfDescriptors() noexcept {
  return errno == EMFILE || errno == ENFILE;
}

bool makeNonce(std::uint8_t* nonce) noexcept {
  return getrandom(nonce, nonceBytes, 0) == static_cast<ssize_t>(nonceBytes);
}

}  // namespace

void setPeerEvaluator(vanto_peer_evaluator_t evaluator) noexcept {
  peerEvaluator.store(evaluator, std::memory_order_release);
}

vanto_error_code_t judgePeer(int socket, ProcessFacts& facts, Handshake& handshake) noexcept {
  const vanto_peer_evaluator_t evaluator = peerEvaluator.load(std::memory_order_acquire);
  if (evaluator == nullptr) return VANTO_ERROR_NONE;
  Fd process = openPeerProcess(socket, facts);
  const bool isKnown = readProcessFacts(facts, process);
  if (!isKnown && isOutOfDescriptors()) return VANTO_ERROR_FULL;
  // Where the kernel gives none for a socket, the start time is needed for one.
  if (!process) process = openPeerProcess(socket, facts);
  if (!process && isOutOfDescriptors()) return VANTO_ERROR_FULL;
  const PendingPeer pending(facts.pid, process);
  {
    const TemporaryScope scope;
    if (!evaluator(makeAuditToken(facts))) return VANTO_ERROR_REFUSED;
  }
  // An evaluator that does not look at the client's code believes what it was told; for one that does, all of this has
  // to be known and to hold.
  if (!pending.wasCodeAsked()) return VANTO_ERROR_NONE;
  if (!isKnown || !isRunning(process)) return VANTO_ERROR_REFUSED;
  handshake.isValidated = true;
  // What was judged counts; where the evaluator was told nothing and admits nevertheless, what is executed now.
  handshake.executable = pending.executable();
  if (!handshake.executable.isKnown()) handshake.executable = readExecutable(facts.pid);
  handshake.process = std::move(process);
  return makeNonce(handshake.greeting.nonce) ? VANTO_ERROR_NONE : VANTO_ERROR_SYSTEM;
}

}  // namespace vanto
