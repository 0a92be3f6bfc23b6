// SPDX-License-Identifier: Apache-2.0

// Each thread has at most one loop, which two interfaces know under a name of their own. A thread that has nothing to
// perform sleeps on a condition, so an idle loop never wakes up.
#include <atomic>
#include <condition_variable>
#include <mutex>
#include <new>

#include <unistd.h>

#include <VantoService/Object.h>
#include <VantoService/TemporaryScope.h>

#include "value/Assertion.h"
#include "value/Memory.h"
#include "value/ValueStorage.h"
#include "value/platform/dispatch.h"

namespace {

struct Performance {
  void (*function)(void* context);
  void* context;
  Performance* next;
};

}  // namespace

struct KorRunLoop final : vanto::Object {
 public:
  [[nodiscard]] static vanto::Ref<KorRunLoop> create() noexcept {
    return vanto::Ref<KorRunLoop>::adopt(::new (allocate(sizeof(KorRunLoop))) KorRunLoop);
  }

  void run() noexcept;
  void stop() noexcept;
  void perform(void* context, void (*function)(void*)) noexcept;

  static void destroy(vanto::Object& self) noexcept;

 private:
  KorRunLoop() noexcept;
  ~KorRunLoop();

  [[nodiscard]] bool takeNext(Performance& next) noexcept;

  std::mutex mutex_;
  std::condition_variable changed_;
  /// What follows belongs to the mutex. A stop that no run has obeyed yet.
  bool isStopped_ = false;
  Performance* first_ = nullptr;
  Performance* last_ = nullptr;
};

namespace {

constinit const vanto::Class runLoopClass{
    "KorRunLoop", &vanto::objectClass, vanto::NoKind, &KorRunLoop::destroy, nullptr, nullptr};

/// The loop of the main thread once that has ended. It stays, since other threads may still stop it while the process
/// exits; here tools that look for lost memory find it.
constinit std::atomic<KorRunLoop*> loopLeft = nullptr;

/// The loop of a thread, for as long as the thread lives.
class OwnLoop {
 public:
  constexpr OwnLoop() noexcept = default;
  ~OwnLoop() {
    if (getpid() == gettid()) loopLeft = loop_.leak();
  }

  [[nodiscard]] KorRunLoop& get() noexcept {
    if (!loop_) loop_ = KorRunLoop::create();
    return *loop_;
  }

 private:
  vanto::Ref<KorRunLoop> loop_;
};

constinit thread_local OwnLoop ownLoop;

}  // namespace

KorRunLoop::KorRunLoop() noexcept : Object(runLoopClass) {}

KorRunLoop::~KorRunLoop() {
  while (first_ != nullptr) {
    Performance* const next = first_->next;
    vanto::Memory::free(first_);
    first_ = next;
  }
}

void KorRunLoop::destroy(vanto::Object& self) noexcept {
  auto& loop = static_cast<KorRunLoop&>(self);
  loop.~KorRunLoop();
  deallocate(&loop);
}

/// Waits for something to perform; false when the loop is stopped.
bool KorRunLoop::takeNext(Performance& next) noexcept {
  std::unique_lock lock(mutex_);
  while (!isStopped_ && first_ == nullptr) changed_.wait(lock);
  if (isStopped_) {
    isStopped_ = false;
    return false;
  }
  Performance* const taken = first_;
  first_ = taken->next;
  if (first_ == nullptr) last_ = nullptr;
  next = *taken;
  vanto::Memory::free(taken);
  return true;
}

void KorRunLoop::run() noexcept {
  Performance next;
  while (takeNext(next)) {
    const vanto::TemporaryScope scope;
    next.function(next.context);
  }
}

void KorRunLoop::stop() noexcept {
  const std::lock_guard lock(mutex_);
  isStopped_ = true;
  // Inside the lock, since the stopped thread may end its loop at once.
  changed_.notify_one();
}

void KorRunLoop::perform(void* context, void (*function)(void*)) noexcept {
  void* const memory = vanto::Memory::allocate(sizeof(Performance));
  auto* const added = ::new (memory) Performance{function, context, nullptr};
  const std::lock_guard lock(mutex_);
  (last_ != nullptr ? last_->next : first_) = added;
  last_ = added;
  changed_.notify_one();
}

KorRunLoop* KorRunLoopGetCurrent() {
  return &ownLoop.get();
}

void KorRunLoopRun() {
  ownLoop.get().run();
}

void KorRunLoopStop(KorRunLoop* loop) {
  loop->stop();
}

void KorRunLoopPerform(KorRunLoop* loop, void* context, void (*function)(void*)) {
  VANTO_ASSERT(function != nullptr);
  loop->perform(context, function);
}

QelRunLoop* QelRunLoopCurrentRunLoop() {
  return reinterpret_cast<QelRunLoop*>(&ownLoop.get());
}

void QelRunLoopRun(QelRunLoop* loop) {
  KorRunLoop& own = ownLoop.get();
  VANTO_ASSERT(loop == reinterpret_cast<QelRunLoop*>(&own));
  own.run();
}
