// SPDX-License-Identifier: Apache-2.0

// A worker is in one of four states.
//
//   waiting     blocked in epoll_wait on the one epoll set
//   active      runs the handler of an event or the items of a queue
//   monitoring  wakes up each millisecond to see whether the active workers get on
//   parked      asleep until it is claimed
//
// One event is taken at a time, and who takes it runs it. What has to hold is that somebody waits or monitors whenever
// somebody is active: a handler may block for ever and all other descriptors must still be served. A worker that leaves
// its watch as the last one therefore claims a parked worker, or makes one, to monitor in its place.
//
// Why not simply let several workers wait: a peer on the same processor that answers at once sends its next message
// before the worker that wrote to it is back in epoll_wait, the kernel then wakes a second worker, and each message
// costs two more context switches. Measured on one core with a SEQPACKET ping-pong: 4.3 µs a round trip with one thread
// waiting, 5.0 to 6.8 µs with two or four. So in the steady state one worker waits or is active and one monitors, which
// costs the active one two atomic operations an event and no system call: 4.34 µs where a bare epoll loop beside it
// takes 4.23 (bench/DispatchBench.cpp). When a monitor finds that nobody left a watch for a whole tick, then either the
// process is idle or all active workers are stuck; in both cases it waits in the epoll set itself, without ticks: an
// idle process, and one that is blocked for long, never wakes up. Where several processors are there to be used, a
// monitor that finds events nobody has taken waits in the epoll set as well, so that the number of active workers
// follows the load.
//
// A program may want no thread but its own. No worker is then ever made: the main thread, once it has joined, is in
// turn waiting and active, as any worker is that could not get another one to monitor.
#include "dispatch/Pool.h"

#include <algorithm>
#include <cerrno>

#include <poll.h>
#include <pthread.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <VantoService/TemporaryScope.h>

#include "dispatch/Futex.h"
#include "value/Assertion.h"
#include "value/Fd.h"

namespace vanto {

namespace {

constexpr std::uint64_t oneWaiting = 1;
constexpr std::uint64_t oneMonitoring = std::uint64_t{1} << 16;
constexpr std::uint64_t oneTurn = std::uint64_t{1} << 32;

constexpr std::uint64_t shortTick = 1'000'000;
/// While more workers are active than are kept: to make more of them is no hurry.
constexpr std::uint64_t longTick = 10'000'000;

// Names of the pool's own descriptors; those of watched objects are larger than any 32-bit number.
constexpr std::uint64_t wakeName = 0;
constexpr std::uint64_t timerName = 1;

constinit Pool pool;

std::uint32_t waitingIn(std::uint64_t watch) noexcept {
  return static_cast<std::uint16_t>(watch);
}
std::uint32_t monitoringIn(std::uint64_t watch) noexcept {
  return static_cast<std::uint16_t>(watch >> 16);
}
std::uint32_t watchersIn(std::uint64_t watch) noexcept {
  return waitingIn(watch) + monitoringIn(watch);
}
std::uint32_t turnsIn(std::uint64_t watch) noexcept {
  return static_cast<std::uint32_t>(watch >> 32);
}

std::uint32_t usableProcessors() noexcept {
  cpu_set_t set;
  if (sched_getaffinity(0, sizeof set, &set) == 0) return static_cast<std::uint32_t>(std::max(CPU_COUNT(&set), 1));
  return static_cast<std::uint32_t>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L));
}

bool controlSet(int set, int operation, int descriptor, std::uint32_t events, std::uint64_t name) noexcept {
  epoll_event event{};
  event.events = events;
  event.data.u64 = name;
  return epoll_ctl(set, operation, descriptor, &event) == 0;
}

bool addToSet(int set, int descriptor, std::uint32_t events, std::uint64_t name) noexcept {
  return controlSet(set, EPOLL_CTL_ADD, descriptor, events, name);
}

void callReady(WatchTable::Place& place, std::uint32_t events) noexcept {
  const TemporaryScope scope;
  place.object->ready(*place.object, events);
}

}  // namespace

Pool& Pool::shared() noexcept {
  return pool;
}

bool Pool::openDescriptors() noexcept {
  if (isOpen_.load(std::memory_order_acquire)) return true;
  Fd set(epoll_create1(EPOLL_CLOEXEC));
  Fd wake(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  Fd timer(timerfd_create(CLOCK_MONOTONIC, TFD_CLOEXEC | TFD_NONBLOCK));
  if (!set || !wake || !timer || !addToSet(set.get(), wake.get(), EPOLLIN | EPOLLET, wakeName) ||
      !addToSet(set.get(), timer.get(), EPOLLIN | EPOLLET, timerName)) {
    return false;
  }
  processors_ = usableProcessors();
  keptWorkers_ = std::clamp(2 * processors_, 4U, maximumWorkers);
  timers_.setDescriptor(timer.get());
  epoll_ = set.release();
  wakeDescriptor_ = wake.release();
  timerDescriptor_ = timer.release();
  isOpen_.store(true, std::memory_order_release);
  return true;
}

bool Pool::start() noexcept {
  if (isOpen_.load(std::memory_order_acquire) && workers_.load() != 0) return true;
  const std::lock_guard lock(mutex_);
  if (!openDescriptors()) return false;
  if (workers_.load() != 0 || hasOnlyMainThread_) return true;
  watch_.fetch_add(oneWaiting);
  if (createThread(Role::Waiting)) return true;
  watch_.fetch_sub(oneWaiting);
  errno = EAGAIN;
  return false;
}

void Pool::useOnlyMainThread() noexcept {
  VANTO_ASSERT(!isOpen_.load() && workers_.load() == 0);
  hasOnlyMainThread_ = true;
  timers_.disarmWhenEmpty();
}

bool Pool::isOnlyWorkerHere() const noexcept {
  return hasOnlyMainThread_ && getpid() == gettid();
}

bool Pool::createThread(Role role) noexcept {
  if (hasOnlyMainThread_) return false;
  std::uint32_t count = workers_.load();
  do {
    if (count >= maximumWorkers) return false;
  } while (!workers_.compare_exchange_weak(count, count + 1));
  void* (*const body)(void*) = role == Role::Waiting ? +[](void*) -> void* {
    pool.work(Role::Waiting, Origin::Made);
    return nullptr;
  }
  : +[](void*) -> void* {
      pool.work(Role::Monitoring, Origin::Made);
      return nullptr;
    };
  pthread_t thread;
  if (pthread_create(&thread, nullptr, body, nullptr) == 0) {
    pthread_detach(thread);
    return true;
  }
  workers_.fetch_sub(1);
  return false;
}

void Pool::join() noexcept {
  {
    const std::lock_guard lock(mutex_);
    // Without these nothing could ever be served.
    VANTO_ASSERT(openDescriptors());
  }
  workers_.fetch_add(1);
  for (;;) work(rejoin(Origin::Adopted), Origin::Adopted);
}

void Pool::work(Role role, Origin origin) noexcept {
  // Queues and events take turns, so that neither starves the other.
  bool isTurnOfEvents = false;
  while (role != Role::Leaving) {
    if (role == Role::Monitoring) {
      monitor();
      watch_.fetch_add(oneWaiting - oneMonitoring);
      role = Role::Waiting;
    }
    const bool ranQueue = !isTurnOfEvents && runOneQueue();
    isTurnOfEvents = ranQueue;
    if (ranQueue || waitForEvent()) role = rejoin(origin);
  }
}

void Pool::monitor() noexcept {
  std::uint32_t turns = turnsIn(watch_.load());
  for (;;) {
    const std::uint32_t calls = calls_.load();
    if (!runnable_.isEmpty() && activeWorkers() < processors_) return;
    waitWhileEqual(calls_, calls, activeWorkers() < keptWorkers_ ? shortTick : longTick);
    if (calls_.load() != calls) return;
    const std::uint64_t watch = watch_.load();
    if (turnsIn(watch) == turns) return;
    turns = turnsIn(watch);
    if (waitingIn(watch) == 0 && activeWorkers() < processors_ && hasBacklog()) return;
  }
}

/// False when nothing was run and the worker is still on watch.
bool Pool::waitForEvent() noexcept {
  epoll_event event;
  // One at a time: a second event would have to wait for the handler of the first.
  const int count = epoll_wait(epoll_, &event, 1, runnable_.isEmpty() ? -1 : 0);
  return count == 1 && handle(event.data.u64, event.events);
}

bool Pool::handle(std::uint64_t name, std::uint32_t events) noexcept {
  if (name == wakeName) return false;
  const bool isTimer = name == timerName;
  WatchTable::Place* const place = isTimer ? timers_.takeDue(table_, monotonicNow()) : table_.pin(name);
  if (place == nullptr) return false;
  leaveWatch();
  callReady(*place, isTimer ? 0 : events);
  table_.unpin(*place);
  return true;
}

bool Pool::runOneQueue() noexcept {
  dispatch_queue_s* const queue = runnable_.takeFirst();
  if (queue == nullptr) return false;
  leaveWatch();
  if (!runnable_.isEmpty()) wakeForQueue(Urgency::WhenConvenient);
  // Nobody needs to be woken for the rest: this worker looks at the list before it does anything else.
  if (!queue->runTurn()) runnable_.append(*queue);
  return true;
}

bool Pool::runQueueInPlace() noexcept {
  dispatch_queue_s* const queue = runnable_.takeFirst();
  if (queue == nullptr) return false;
  if (!queue->runTurn()) runnable_.append(*queue);
  return true;
}

void Pool::leaveWatch() noexcept {
  const std::uint64_t before = watch_.fetch_add(oneTurn - oneWaiting);
  if (watchersIn(before) == 1) promote();
}

void Pool::promote() noexcept {
  do {
    std::uint64_t watch = watch_.load();
    do {
      if (watchersIn(watch) != 0) return;
    } while (!watch_.compare_exchange_weak(watch, watch + oneMonitoring));
    if (claimParked() || createThread(Role::Monitoring)) return;
    // No further thread can be had: the worker that returns first keeps watch. One may have parked meanwhile, because
    // it counted the watcher that there now is not.
    watch_.fetch_sub(oneMonitoring);
  } while (parked_.load() != 0);
}

bool Pool::claimParked() noexcept {
  std::uint32_t count = parked_.load();
  do {
    if (count == 0) return false;
  } while (!parked_.compare_exchange_weak(count, count - 1));
  claims_.fetch_add(1);
  wakeOne(claims_);
  return true;
}

Pool::Role Pool::rejoin(Origin origin) noexcept {
  std::uint64_t watch = watch_.load();
  while (watchersIn(watch) < 2 && runnable_.isEmpty()) {
    // An idle process has two workers waiting; as soon as it is busy again, one is enough.
    const bool isSomebodyWaiting = waitingIn(watch) != 0;
    if (watch_.compare_exchange_weak(watch, watch + (isSomebodyWaiting ? oneMonitoring : oneWaiting))) {
      return isSomebodyWaiting ? Role::Monitoring : Role::Waiting;
    }
  }
  if (!runnable_.isEmpty()) {
    watch_.fetch_add(oneWaiting);
    return Role::Waiting;
  }
  if (origin == Origin::Adopted || workers_.load() <= keptWorkers_) return park();
  workers_.fetch_sub(1);
  promote();
  return Role::Leaving;
}

Pool::Role Pool::park() noexcept {
  parked_.fetch_add(1);
  // Whoever left the watch last, or made a queue runnable, before it could count this thread as parked.
  if (watchersIn(watch_.load()) == 0 || !runnable_.isEmpty()) {
    std::uint32_t count = parked_.load();
    while (count != 0) {
      if (!parked_.compare_exchange_weak(count, count - 1)) continue;
      watch_.fetch_add(oneWaiting);
      return Role::Waiting;
    }
  }
  for (;;) {
    std::uint32_t claims = claims_.load();
    while (claims != 0) {
      if (claims_.compare_exchange_weak(claims, claims - 1)) return Role::Monitoring;
    }
    waitWhileEqual(claims_, 0);
  }
}

std::uint32_t Pool::activeWorkers() const noexcept {
  const std::uint32_t resting = parked_.load() + watchersIn(watch_.load());
  const std::uint32_t all = workers_.load();
  return all > resting ? all - resting : 0;
}

bool Pool::hasBacklog() const noexcept {
  pollfd set{epoll_, POLLIN, 0};
  return poll(&set, 1, 0) == 1;
}

void Pool::serve(dispatch_queue_s& queue, Urgency urgency) noexcept {
  const bool wasEmpty = runnable_.append(queue);
  if (!start()) return;
  // A worker that takes a queue and leaves others wakes the next worker itself.
  if (wasEmpty || urgency == Urgency::AtOnce) wakeForQueue(urgency);
}

void Pool::wakeForQueue(Urgency urgency) noexcept {
  const std::uint64_t watch = watch_.load();
  if (monitoringIn(watch) != 0) {
    // The active workers look at the list when they return; with every processor busy that is soon enough.
    if (urgency == Urgency::WhenConvenient && activeWorkers() >= processors_) return;
    calls_.fetch_add(1);
    wakeOne(calls_);
  } else if (waitingIn(watch) != 0) {
    static_cast<void>(eventfd_write(wakeDescriptor_, 1));
  } else {
    promote();
  }
}

bool Pool::watch(Watched& watched, int descriptor, std::uint32_t events) noexcept {
  if (!start()) return false;
  const std::uint64_t name = table_.add(watched);
  if (addToSet(epoll_, descriptor, events, name)) return true;
  const int error = errno;
  WatchTable::Place* const place = table_.pin(name);
  table_.close(*place, name);
  table_.unpin(*place);
  errno = error;
  return false;
}

void Pool::change(Watched& watched, int descriptor, std::uint32_t events) noexcept {
  const std::uint64_t name = WatchTable::nameOf(watched);
  WatchTable::Place* const place = name != 0 ? table_.pin(name) : nullptr;
  if (place == nullptr) return;
  // Cannot fail for a descriptor that is in the set.
  static_cast<void>(controlSet(epoll_, EPOLL_CTL_MOD, descriptor, events, name));
  table_.unpin(*place);
}

void Pool::unwatch(Watched& watched, int descriptor) noexcept {
  const std::uint64_t name = WatchTable::nameOf(watched);
  WatchTable::Place* const place = name != 0 ? table_.pin(name) : nullptr;
  if (place == nullptr) return;
  if (table_.close(*place, name)) {
    timers_.remove(*place);
    epoll_ctl(epoll_, EPOLL_CTL_DEL, descriptor, nullptr);
  }
  table_.unpin(*place);
}

void Pool::setTimer(Watched& watched, std::uint64_t deadline) noexcept {
  const std::uint64_t name = WatchTable::nameOf(watched);
  WatchTable::Place* const place = name != 0 ? table_.pin(name) : nullptr;
  if (place == nullptr) return;
  timers_.set(*place, deadline);
  table_.unpin(*place);
}

}  // namespace vanto
