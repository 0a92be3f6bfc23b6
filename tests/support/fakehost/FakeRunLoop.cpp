// SPDX-License-Identifier: Apache-2.0
#include <deque>
#include <functional>
#include <utility>

#include "support/fakehost/HostState.h"
#include "value/platform/dispatch.h"

/// The run loop of a thread. HostState's mutex guards it.
struct KorRunLoop {
  std::deque<std::function<void()>> functions;
  bool isStopped = false;
};

namespace {

using vanto::test::HostState;
using vanto::test::performQueues;
using vanto::test::record;

KorRunLoop& currentLoop() noexcept {
  static thread_local KorRunLoop loop;
  return loop;
}

/// The next function of a loop that was not stopped; none when there is nothing left to do.
std::function<void()> takeFunction(KorRunLoop& loop) {
  const std::lock_guard lock(HostState::shared().mutex);
  if (loop.isStopped || loop.functions.empty()) return {};
  std::function<void()> function = std::move(loop.functions.front());
  loop.functions.pop_front();
  return function;
}

void run() {
  HostState& state = HostState::shared();
  if (state.whileRunning) state.whileRunning();
  performQueues();
  KorRunLoop& loop = currentLoop();
  while (const auto function = takeFunction(loop)) {
    function();
    performQueues();
  }
  const std::lock_guard lock(state.mutex);
  loop.isStopped = false;
}

}  // namespace

KorRunLoop* KorRunLoopGetCurrent() {
  record("KorRunLoopGetCurrent");
  return &currentLoop();
}

void KorRunLoopRun() {
  record("KorRunLoopRun");
  run();
}

void KorRunLoopStop(KorRunLoop* loop) {
  record("KorRunLoopStop");
  const std::lock_guard lock(HostState::shared().mutex);
  loop->isStopped = true;
}

void KorRunLoopPerform(KorRunLoop* loop, void* context, void (*function)(void* context)) {
  record("KorRunLoopPerform");
  const std::lock_guard lock(HostState::shared().mutex);
  loop->functions.emplace_back([context, function] { function(context); });
}

QelRunLoop* QelRunLoopCurrentRunLoop() {
  record("QelRunLoopCurrentRunLoop");
  return reinterpret_cast<QelRunLoop*>(&currentLoop());
}

void QelRunLoopRun(QelRunLoop* loop) {
  const bool isCurrent = reinterpret_cast<KorRunLoop*>(loop) == &currentLoop();
  record("QelRunLoopRun", {isCurrent ? "current" : "another thread's"});
  if (!isCurrent) vanto::test::refuseUse("the run loop belongs to", "another thread");
  run();
}
