// SPDX-License-Identifier: Apache-2.0
#include "dispatch/Pool.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <list>
#include <set>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <pthread.h>
#include <sched.h>
#include <sys/epoll.h>
#include <sys/resource.h>
#include <unistd.h>

#include "host/dispatch/Watching.h"
#include "support/Signal.h"

// The pool cannot be ended or made anew, so each of these tests is the whole life of a process of its own.

namespace {

using vanto::Pool;
using vanto::Ref;
using vanto::testing::Signal;
using vanto::testing::Sockets;
using vanto::testing::Watching;

std::set<std::string> threads() {
  std::set<std::string> names;
  for (const auto& entry : std::filesystem::directory_iterator("/proc/self/task")) names.insert(entry.path().string());
  return names;
}

/// How often the given threads gave up their processor because they had to wait.
unsigned long waits(const std::set<std::string>& tasks) {
  unsigned long sum = 0;
  for (const std::string& task : tasks) {
    std::ifstream status(task + "/status");
    std::string line;
    constexpr std::string_view key = "voluntary_ctxt_switches:";
    while (std::getline(status, line)) {
      if (line.starts_with(key)) sum += std::stoul(line.substr(key.size()));
    }
  }
  return sum;
}

/// Something watched whose handler raises a signal and, if it has a gate, waits there.
struct Client {
  explicit Client(Signal& called, Signal* gate = nullptr)
      : object(Watching::create([this, &called, gate](std::uint32_t) {
          static_cast<void>(sockets.receiveAll());
          called.raise();
          if (gate != nullptr) gate->wait();
        })) {
    EXPECT_TRUE(vanto::startWatching(*object, sockets.near(), EPOLLIN | EPOLLET));
  }

  const Sockets sockets;
  const Ref<Watching> object;
};

template <typename Function>
void submit(dispatch_queue_t queue, Function& function) {
  dispatch_queue_submit(queue, &function, [](void* context) { (*static_cast<Function*>(context))(); });
}

class PoolDeathTest : public testing::Test {
 protected:
  /// Ends the new process while its objects still live: handlers may be using them.
  [[noreturn]] static void endProcess() { _exit(HasFailure() ? 1 : 0); }

  /// Runs `function` in a process of its own, in which nothing has used the pool yet.
  template <typename Function>
  static void inNewProcess(Function&& function) {
    EXPECT_EXIT(
        {
          function();
          endProcess();
        },
        testing::ExitedWithCode(0), "");
  }

  /// Threads that the process had before the pool came. The thread sanitizer has one of its own, which it makes with
  /// the first thread of the program.
  std::set<std::string> threadsBefore_ = (std::thread([] {}).join(), threads());

  [[nodiscard]] std::set<std::string> poolThreads() const {
    std::set<std::string> all = threads();
    for (const std::string& name : threadsBefore_) all.erase(name);
    return all;
  }

  /// True when there comes a while in which none of the pool's threads wakes up; a pool that ticks has none.
  [[nodiscard]] bool becomesQuiet() const {
    for (int attempt = 0; attempt < 50; ++attempt) {
      const std::set<std::string> tasks = poolThreads();
      const unsigned long before = waits(tasks);
      std::this_thread::sleep_for(std::chrono::milliseconds(100));
      if (waits(tasks) == before && poolThreads() == tasks) return true;
    }
    return false;
  }
};

TEST_F(PoolDeathTest, HasNoThreadBeforeItsFirstUse) {
  inNewProcess([&] {
    const dispatch_queue_t queue = dispatch_queue_create("org.vanto.test", nullptr);
    vanto::runOnQueue(queue, nullptr, [](void*) {});
    EXPECT_EQ(poolThreads().size(), 0U);
    EXPECT_EQ(Pool::shared().workerCount(), 0U);
    Signal ran;
    auto item = [&] {
      ran.raise();
    };
    submit(queue, item);
    ran.wait();
    EXPECT_GE(poolThreads().size(), 1U);
    endProcess();
  });
}

TEST_F(PoolDeathTest, MakesItsFirstThreadWhenSomethingIsWatched) {
  inNewProcess([&] {
    Signal called;
    const Client client(called);
    EXPECT_EQ(poolThreads().size(), 1U);
    EXPECT_EQ(Pool::shared().workerCount(), 1U);
    endProcess();
  });
}

TEST_F(PoolDeathTest, NeverWakesUpWhileItIsIdle) {
  inNewProcess([&] {
    Signal called;
    const Client client(called);
    for (int i = 0; i < 1'000; ++i) {
      client.sockets.send();
      called.wait();
    }
    EXPECT_TRUE(becomesQuiet());
    endProcess();
  });
}

TEST_F(PoolDeathTest, NeverWakesUpWhileItsHandlersBlock) {
  inNewProcess([&] {
    Signal called;
    Signal gate;
    std::list<Client> clients;
    for (int i = 0; i < 12; ++i) {
      clients.emplace_back(called, &gate).sockets.send();
      called.wait();
    }
    EXPECT_TRUE(becomesQuiet());
    endProcess();
  });
}

TEST_F(PoolDeathTest, MakesNoMoreThanItsMaximumOfThreads) {
  inNewProcess([&] {
    Signal called;
    Signal gate;
    std::list<Client> clients;
    const std::uint32_t clientCount = Pool::maximumWorkers + 20;
    for (std::uint32_t i = 0; i < clientCount; ++i) clients.emplace_back(called, &gate).sockets.send();
    for (std::uint32_t i = 0; i < Pool::maximumWorkers; ++i) called.wait();
    EXPECT_EQ(Pool::shared().workerCount(), Pool::maximumWorkers);
    // The others are served as soon as one of these returns.
    for (std::uint32_t i = 0; i < 20; ++i) {
      gate.raise();
      called.wait();
    }
    EXPECT_EQ(Pool::shared().workerCount(), Pool::maximumWorkers);
    for (std::uint32_t i = 0; i < Pool::maximumWorkers; ++i) gate.raise();
    // When all have returned only some of the threads are kept, and these still serve.
    while (Pool::shared().workerCount() > std::max(4U, 2 * std::thread::hardware_concurrency())) sched_yield();
    EXPECT_TRUE(becomesQuiet());
    Client last(called);
    last.sockets.send();
    called.wait();
    endProcess();
  });
}

TEST_F(PoolDeathTest, FailsWithoutDescriptors) {
  inNewProcess([&] {
    const Sockets sockets;
    const Ref<Watching> object = Watching::create([](std::uint32_t) {});
    rlimit limit{};
    getrlimit(RLIMIT_NOFILE, &limit);
    const rlim_t usual = limit.rlim_cur;
    limit.rlim_cur = 0;
    setrlimit(RLIMIT_NOFILE, &limit);
    const bool isWatched = vanto::startWatching(*object, sockets.near(), EPOLLIN | EPOLLET);
    const int error = errno;
    limit.rlim_cur = usual;
    setrlimit(RLIMIT_NOFILE, &limit);
    EXPECT_FALSE(isWatched);
    EXPECT_EQ(error, EMFILE);
    EXPECT_EQ(object->referenceCount(), 1U);
    EXPECT_TRUE(vanto::startWatching(*object, sockets.near(), EPOLLIN | EPOLLET));
    endProcess();
  });
}

/// While it lives no thread can be made: none could have such a stack.
class NoThreads {
 public:
  NoThreads() {
    pthread_getattr_default_np(&usual_);
    pthread_attr_t attributes;
    pthread_getattr_default_np(&attributes);
    EXPECT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{1} << 50), 0);
    EXPECT_EQ(pthread_setattr_default_np(&attributes), 0);
  }
  ~NoThreads() { pthread_setattr_default_np(&usual_); }

 private:
  pthread_attr_t usual_;
};

TEST_F(PoolDeathTest, WatchesNothingWithoutAThread) {
  inNewProcess([&] {
    const Sockets sockets;
    const Ref<Watching> object = Watching::create([](std::uint32_t) {});
    {
      const NoThreads noThreads;
      errno = 0;
      EXPECT_FALSE(vanto::startWatching(*object, sockets.near(), EPOLLIN | EPOLLET));
      EXPECT_EQ(errno, EAGAIN);
    }
    EXPECT_TRUE(vanto::startWatching(*object, sockets.near(), EPOLLIN | EPOLLET));
    endProcess();
  });
}

TEST_F(PoolDeathTest, KeepsWorkItemsUntilThereIsAThread) {
  inNewProcess([&] {
    const dispatch_queue_t queue = dispatch_queue_create("org.vanto.test", nullptr);
    const dispatch_queue_t other = dispatch_queue_create("org.vanto.test.other", nullptr);
    Signal ran;
    auto item = [&] {
      ran.raise();
    };
    {
      const NoThreads noThreads;
      submit(queue, item);
      // An idle queue needs no thread for this.
      dispatch_queue_submit_and_wait(other, &ran, [](void* context) { static_cast<Signal*>(context)->raise(); });
      ran.wait();
      EXPECT_EQ(Pool::shared().workerCount(), 0U);
    }
    submit(other, item);
    ran.wait();
    ran.wait();
    endProcess();
  });
}

TEST_F(PoolDeathTest, ServesAllWithASingleThread) {
  inNewProcess([&] {
    Signal called;
    Signal gate;
    std::list<Client> clients;
    clients.emplace_back(called, &gate);
    const NoThreads noThreads;
    for (int i = 0; i < 5; ++i) clients.emplace_back(called, &gate);
    for (const Client& client : clients) client.sockets.send();
    for (std::size_t i = 0; i < clients.size(); ++i) {
      called.wait();
      EXPECT_EQ(Pool::shared().workerCount(), 1U);
      gate.raise();
    }
    endProcess();
  });
}

TEST_F(PoolDeathTest, MakesTheMainThreadAWorker) {
  EXPECT_EXIT(
      {
        static Signal called;
        static Signal gate;
        static Client blocked(called, &gate);
        // The only other thread is blocked and no further one can be made, so the main thread has to serve.
        static const NoThreads noThreads;
        blocked.sockets.send();
        called.wait();
        static auto exitFromMain = [] {
          _exit(getpid() == gettid() ? 0 : 1);
        };
        const dispatch_queue_t queue = dispatch_queue_create("org.vanto.test", nullptr);
        submit(queue, exitFromMain);
        dispatch_main();
      },
      testing::ExitedWithCode(0), "");
}

/// What the tests of a program with one thread share. Lives as long as its process.
struct OneThread {
  static void submitTo(dispatch_queue_t queue, void (*function)(void*)) {
    dispatch_queue_submit(queue, nullptr, function);
  }
  [[nodiscard]] static std::size_t threadCount() { return threads().size(); }
  [[nodiscard]] static bool isMain() { return getpid() == gettid(); }

  static inline std::atomic<int> steps{0};
  static inline dispatch_queue_t first = nullptr;
  static inline dispatch_queue_t second = nullptr;
};

TEST_F(PoolDeathTest, ServesEverythingOnTheMainThreadWhereThatIsWanted) {
  EXPECT_EXIT(
      {
        Pool::shared().useOnlyMainThread();
        static const std::size_t before = OneThread::threadCount();
        OneThread::first = dispatch_queue_create("first", nullptr);
        OneThread::second = dispatch_queue_create("second", nullptr);
        static const Sockets sockets;
        // A queue has the descriptor become ready, that sets the timer, and that ends the process from the other queue.
        static Ref<Watching> object = Watching::create([](std::uint32_t events) {
          OneThread::steps += OneThread::isMain() ? 1 : 100;
          if (events != 0) {
            static_cast<void>(sockets.receiveAll());
            return vanto::setTimer(*object, vanto::deadlineAfter(1'000'000));
          }
          OneThread::submitTo(OneThread::second, [](void*) {
            const bool isAlone = OneThread::threadCount() == before && Pool::shared().workerCount() == 1;
            _exit(isAlone && OneThread::isMain() ? OneThread::steps.load() : 100);
          });
        });
        if (!vanto::startWatching(*object, sockets.near(), EPOLLIN | EPOLLET)) _exit(101);
        OneThread::submitTo(OneThread::first, [](void*) {
          OneThread::steps += OneThread::isMain() ? 1 : 100;
          sockets.send();
        });
        if (OneThread::threadCount() != before || OneThread::steps != 0) _exit(102);
        dispatch_main();
      },
      testing::ExitedWithCode(3), "");
}

TEST_F(PoolDeathTest, NeverWakesUpOnTheMainThreadAlone) {
  EXPECT_EXIT(
      {
        Pool::shared().useOnlyMainThread();
        static const std::string self = "/proc/self/task/" + std::to_string(getpid());
        OneThread::first = dispatch_queue_create("first", nullptr);
        OneThread::submitTo(OneThread::first, [](void*) { ++OneThread::steps; });
        std::thread([] {
          // Of the program's own, to look at the other one from outside.
          for (int attempt = 0; attempt < 50; ++attempt) {
            const unsigned long before = waits({self});
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            if (waits({self}) == before && OneThread::steps == 1) {
              // It wakes up for what other threads give it.
              return OneThread::submitTo(OneThread::first, [](void*) { _exit(OneThread::isMain() ? 0 : 1); });
            }
          }
          _exit(2);
        }).detach();
        dispatch_main();
      },
      testing::ExitedWithCode(0), "");
}

TEST_F(PoolDeathTest, WaitsForAnItemOnTheMainThreadAloneByRunningIt) {
  EXPECT_EXIT(
      {
        Pool::shared().useOnlyMainThread();
        OneThread::first = dispatch_queue_create("first", nullptr);
        OneThread::second = dispatch_queue_create("second", nullptr);
        OneThread::submitTo(OneThread::first, [](void*) { ++OneThread::steps; });
        OneThread::submitTo(OneThread::second, [](void*) {
          // Its queue waits behind another one, which this makes wait too.
          OneThread::submitTo(OneThread::first, [](void*) { ++OneThread::steps; });
          dispatch_queue_submit_and_wait(OneThread::first, nullptr, [](void*) { ++OneThread::steps; });
          _exit(OneThread::steps);
        });
        dispatch_queue_submit_and_wait(OneThread::first, nullptr, [](void*) { ++OneThread::steps; });
        if (OneThread::steps != 2) _exit(100);
        dispatch_main();
      },
      testing::ExitedWithCode(4), "");
}

TEST_F(PoolDeathTest, IsForTheMainThreadFromTheStartOrNotAtAll) {
  EXPECT_EXIT(
      {
        Signal called;
        const Client client(called);
        Pool::shared().useOnlyMainThread();
      },
      testing::KilledBySignal(SIGABRT), "");
}

TEST_F(PoolDeathTest, MakesNoOtherThreadThanTheMainThreadAWorker) {
  EXPECT_EXIT(
      {
        std::thread thread([] { dispatch_main(); });
        thread.join();
      },
      testing::KilledBySignal(SIGABRT), "");
}

}  // namespace
