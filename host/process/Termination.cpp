// SPDX-License-Identifier: Apache-2.0

// SIGTERM takes two steps: the signal handler, which may do next to nothing, writes to an event descriptor, and a
// worker that watches this descriptor calls the functions.
#include "process/Termination.h"

#include <atomic>
#include <cerrno>
#include <csignal>
#include <mutex>
#include <new>

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include "dispatch/Workers.h"
#include "value/Fd.h"
#include "value/Memory.h"
#include "value/ValueStorage.h"

namespace vanto {

namespace {

struct Listener {
  void (*function)(void* context);
  void* context;
  Listener* next;
};

enum class State : std::uint8_t { Untouched, NotOurs, Watching, Terminating };

constinit std::mutex mutex;
// What follows belongs to the mutex.
constinit State state = State::Untouched;
constinit Listener* listeners = nullptr;

// What the signal handler reads; written before it is installed.
constinit std::atomic<int> eventDescriptor{-1};
constinit std::atomic<pid_t> ownProcess{0};

constinit const Class terminationClass{"Termination", &objectClass, NoKind, nullptr, nullptr, nullptr};

void callListeners() noexcept {
  Listener* first;
  {
    const std::lock_guard lock(mutex);
    state = State::Terminating;
    first = std::exchange(listeners, nullptr);
  }
  while (first != nullptr) {
    Listener* const next = first->next;
    first->function(first->context);
    Memory::free(first);
    first = next;
  }
}

/// Watched for the life of the process.
class Termination final : public Watched {
 public:
  [[nodiscard]] static Ref<Termination> create() noexcept {
    return Ref<Termination>::adopt(::new (allocate(sizeof(Termination))) Termination);
  }

 private:
  Termination() noexcept : Watched(terminationClass, &becomeReady) {}

  static void becomeReady(Watched&, std::uint32_t) noexcept {
    // What stands in the descriptor tells a signal from an event that means nothing.
    eventfd_t count = 0;
    if (eventfd_read(eventDescriptor.load(std::memory_order_relaxed), &count) == 0) callListeners();
  }
};

void handleSignal(int signal) noexcept {
  const int error = errno;
  if (getpid() == ownProcess.load(std::memory_order_relaxed)) {
    static_cast<void>(eventfd_write(eventDescriptor.load(std::memory_order_relaxed), 1));
  } else {
    // A child that has not executed its program yet: the signal is for it alone.
    std::signal(signal, SIG_DFL);
    std::raise(signal);
  }
  errno = error;
}

/// Takes the signal over if the program leaves it alone.
State takeOver() noexcept {
  struct sigaction action;
  if (sigaction(SIGTERM, nullptr, &action) != 0) return State::NotOurs;
  if ((action.sa_flags & SA_SIGINFO) != 0 || action.sa_handler != SIG_DFL) return State::NotOurs;
  Fd event(eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK));
  const Ref<Termination> termination = Termination::create();
  if (!event || !startWatching(*termination, event.get(), EPOLLIN | EPOLLET)) return State::Untouched;
  eventDescriptor.store(event.release(), std::memory_order_relaxed);
  ownProcess.store(getpid(), std::memory_order_relaxed);
  struct sigaction own {};
  own.sa_handler = &handleSignal;
  own.sa_flags = SA_RESTART;
  sigemptyset(&own.sa_mask);
  return sigaction(SIGTERM, &own, nullptr) == 0 ? State::Watching : State::NotOurs;
}

}  // namespace

bool onTermination(void (*function)(void*), void* context) noexcept {
  {
    const std::lock_guard lock(mutex);
    if (state == State::Untouched) state = takeOver();
    if (state == State::Watching) {
      listeners = ::new (Memory::allocate(sizeof(Listener))) Listener{function, context, listeners};
    }
    if (state != State::Terminating) return state != State::Untouched;
  }
  function(context);
  return true;
}

}  // namespace vanto
