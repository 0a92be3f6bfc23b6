// SPDX-License-Identifier: Apache-2.0
#include <VantoServiceTest/FakeHost.h>

#include <algorithm>
#include <utility>

#include <VantoService/TemporaryScope.h>

#include "support/fakehost/FakeConnection.h"
#include "support/fakehost/HostState.h"

namespace vanto::test {
namespace {

HostState& state() noexcept {
  return HostState::shared();
}

/// The listener of that name that was made last, if it takes clients.
Ref<FakeConnection> openListener(std::string_view name) {
  const std::unique_lock lock(state().mutex);
  const auto listeners = state().listeners;
  const auto found = std::find_if(listeners.rbegin(), listeners.rend(),
                                  [name](const auto& listener) { return listener->name() == name; });
  return found == listeners.rend() ? nullptr : *found;
}

bool isAdmitted(vanto_peer_evaluator_t evaluator, const FakePeer& peer) {
  const TemporaryScope scope;
  return evaluator == nullptr || evaluator(peer.token());
}

}  // namespace

FakeHost::FakeHost() {
  if (std::exchange(state().hasHost, true)) refuseUse("there is", "another host already");
  state().reset();
}

FakeHost::~FakeHost() {
  state().reset();
  state().hasHost = false;
}

FakeAnswers& FakeHost::answers() noexcept {
  return state().answers;
}

void FakeHost::fail(std::string_view function) {
  checkFailing(function);
  const std::lock_guard lock(state().mutex);
  state().failing.emplace(function);
}

void FakeHost::succeed(std::string_view function) {
  checkFailing(function);
  const std::lock_guard lock(state().mutex);
  state().failing.erase(std::string(function));
}

void FakeHost::whileRunning(std::function<void()> function) {
  state().whileRunning = std::move(function);
}

void FakeHost::performWork() {
  performQueues();
}

std::vector<FakeCall> FakeHost::calls() const {
  const std::lock_guard lock(state().mutex);
  return state().calls;
}

std::vector<std::string> FakeHost::lines() const {
  std::vector<std::string> result;
  for (const FakeCall& call : calls()) result.push_back(call.text());
  return result;
}

std::size_t FakeHost::count(std::string_view function) const {
  checkName(function);
  const auto all = calls();
  return static_cast<std::size_t>(
      std::count_if(all.begin(), all.end(), [function](const FakeCall& call) { return call.function == function; }));
}

void FakeHost::onCall(std::function<void(const FakeCall&)> function) {
  const std::lock_guard lock(state().mutex);
  state().observer = std::move(function);
}

void FakeHost::note(std::string_view function, std::string_view arguments) {
  write({std::string(function), std::string(arguments)});
}

vanto_peer_evaluator_t FakeHost::evaluator() const {
  const std::lock_guard lock(state().mutex);
  return state().evaluator;
}

FakeClient FakeHost::connect(std::string_view name, const FakePeer& peer) {
  const Ref<FakeConnection> listener = openListener(name);
  if (!listener || !listener->isResumed() || listener->isClosed()) return FakeClient(nullptr, VANTO_ERROR_NO_SERVICE);
  if (!isAdmitted(evaluator(), peer)) return FakeClient(nullptr, VANTO_ERROR_REFUSED);
  Ref<FakeConnection> connection =
      FakeConnection::create(VANTO_KIND_CONNECTION, std::string(name), listener->queue(), peer);
  {
    const std::lock_guard lock(state().mutex);
    state().connections.push_back(connection);
  }
  listener->deliver(connection);
  performQueues();
  return FakeClient(connection, VANTO_ERROR_NONE);
}

void FakeHost::reportListenerError(std::string_view name, vanto_error_code_t code) {
  const Ref<FakeConnection> listener = openListener(name);
  if (!listener) refuseUse("there is no listener", name);
  listener->close(code);
  performQueues();
}

void FakeHost::provideService(std::string_view name, FakeResponder responder) {
  state().services.insert_or_assign(std::string(name), std::move(responder));
}

}  // namespace vanto::test
