// SPDX-License-Identifier: Apache-2.0

// What dispatch costs: a work item on a queue, and a message that a worker answers, beside a bare epoll loop on the
// same core. Prints one line for each figure; the ratio is what counts.
#include <algorithm>
#include <array>
#include <cstdio>
#include <cstdlib>
#include <semaphore>

#include <sched.h>
#include <sys/epoll.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <VantoService/dispatch.h>

#include "dispatch/Workers.h"

namespace {

constexpr int rounds = 9;
constexpr int messagesPerRound = 20'000;
constexpr int itemsPerRound = 200'000;
constexpr std::size_t messageSize = 64;

void useOneProcessor() {
  cpu_set_t set;
  CPU_ZERO(&set);
  CPU_SET(sched_getcpu(), &set);
  if (sched_setaffinity(0, sizeof set, &set) != 0) std::perror("sched_setaffinity");
}

template <typename Function>
std::uint64_t timeOf(Function&& function) {
  const std::uint64_t begin = vanto::monotonicNow();
  function();
  return vanto::monotonicNow() - begin;
}

/// The least time of all rounds for one of `count` calls, in nanoseconds.
template <typename Function>
double leastTime(int count, Function&& round) {
  std::uint64_t least = UINT64_MAX;
  for (int i = 0; i < rounds; ++i) least = std::min(least, timeOf(round));
  return static_cast<double>(least) / count;
}

/// Answers everything that can be read now.
void echo(int descriptor) {
  std::array<char, messageSize> buffer;
  for (;;) {
    const ssize_t length = recv(descriptor, buffer.data(), buffer.size(), MSG_DONTWAIT);
    if (length == 0) _exit(0);
    if (length < 0) return;
    static_cast<void>(send(descriptor, buffer.data(), static_cast<std::size_t>(length), MSG_NOSIGNAL));
  }
}

struct Echo final : vanto::Watched {
  explicit Echo(int socket)
      : Watched(classDescriptor(),
                [](Watched& self, std::uint32_t) noexcept { echo(static_cast<Echo&>(self).descriptor); }),
        descriptor(socket) {}
  const int descriptor;
};

[[noreturn]] void serveBare(int descriptor) {
  const int set = epoll_create1(EPOLL_CLOEXEC);
  epoll_event event{};
  event.events = EPOLLIN | EPOLLET;
  epoll_ctl(set, EPOLL_CTL_ADD, descriptor, &event);
  for (;;) {
    if (epoll_wait(set, &event, 1, -1) == 1) echo(descriptor);
  }
}

[[noreturn]] void serveByWorkers(int descriptor) {
  Echo echoing(descriptor);
  if (!vanto::startWatching(echoing, descriptor, EPOLLIN | EPOLLET)) _exit(1);
  dispatch_main();
}

/// A server in a child process, and one end of the connection to it.
class Server {
 public:
  explicit Server(void (*serve)(int)) {
    std::array<int, 2> ends;
    if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends.data()) != 0) std::abort();
    child_ = fork();
    if (child_ == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      close(ends[0]);
      serve(ends[1]);
    }
    close(ends[1]);
    socket_ = ends[0];
  }
  ~Server() {
    close(socket_);
    waitpid(child_, nullptr, 0);
  }

  void round() const {
    std::array<char, messageSize> buffer{};
    for (int i = 0; i < messagesPerRound; ++i) {
      if (send(socket_, buffer.data(), buffer.size(), 0) < 0 || recv(socket_, buffer.data(), buffer.size(), 0) <= 0) {
        std::abort();
      }
    }
  }

 private:
  int socket_;
  pid_t child_;
};

void printRoundTrips(const char* where) {
  const Server bare(&serveBare);
  const Server workers(&serveByWorkers);
  // In turns, so that both see the same machine.
  std::uint64_t leastBare = UINT64_MAX;
  std::uint64_t leastWorkers = UINT64_MAX;
  for (int i = 0; i < rounds; ++i) {
    leastBare = std::min(leastBare, timeOf([&] { bare.round(); }));
    leastWorkers = std::min(leastWorkers, timeOf([&] { workers.round(); }));
  }
  const double bareTime = static_cast<double>(leastBare) / messagesPerRound / 1e3;
  const double workersTime = static_cast<double>(leastWorkers) / messagesPerRound / 1e3;
  std::printf("round trip, %-30s bare epoll %6.2f us   workers %6.2f us   ratio %.3f\n", where, bareTime, workersTime,
              workersTime / bareTime);
}

void printQueueCosts() {
  const dispatch_queue_t queue = dispatch_queue_create("org.vanto.bench", nullptr);
  const auto nothing = [](void*) {
  };
  const double inlineTime = leastTime(itemsPerRound, [&] {
    for (int i = 0; i < itemsPerRound; ++i) vanto::runOnQueue(queue, nullptr, nothing);
  });
  std::binary_semaphore done{0};
  const double submitted = leastTime(itemsPerRound, [&] {
    for (int i = 0; i < itemsPerRound; ++i) dispatch_queue_submit(queue, nullptr, nothing);
    dispatch_queue_submit(queue, &done, [](void* context) { static_cast<std::binary_semaphore*>(context)->release(); });
    done.acquire();
  });
  constexpr int wakeUps = 10'000;
  const double woken = leastTime(wakeUps, [&] {
    for (int i = 0; i < wakeUps; ++i) {
      dispatch_queue_submit(queue, &done,
                            [](void* context) { static_cast<std::binary_semaphore*>(context)->release(); });
      done.acquire();
    }
  });
  std::printf("work item: at once on an idle queue %.1f ns, submitted and run %.1f ns, each with a wake-up %.0f ns\n",
              inlineTime, submitted, woken);
  dispatch_queue_release(queue);
}

}  // namespace

int main() {
  printRoundTrips("all processors:");
  useOneProcessor();
  printRoundTrips("both ends on one processor:");
  printQueueCosts();
  return 0;
}
