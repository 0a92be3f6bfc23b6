// SPDX-License-Identifier: Apache-2.0
#include "soak/Load.h"

#include <chrono>
#include <memory>
#include <random>

#include "soak/Ledger.h"
#include "support/RunningManager.h"

namespace vanto::soak {

namespace {

using test::IpcPointer;
using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds longestPause{3};
constexpr int mostRequests = 6;

double nanosecondsSince(Clock::time_point start) {
  return static_cast<double>(std::chrono::nanoseconds(Clock::now() - start).count());
}

IpcPointer connect() {
  return IpcPointer(vanto_connect(Ledger::serviceName, nullptr, Load::bound));
}

IpcPointer requestOf(std::uint64_t number, int milliseconds) {
  IpcPointer request(vanto_dictionary_create(nullptr, nullptr, 0));
  vanto_dictionary_set_value(request.get(), "number",
                             IpcPointer(vanto_int64_create(static_cast<std::int64_t>(number))).get());
  vanto_dictionary_set_value(request.get(), "slow", IpcPointer(vanto_int64_create(milliseconds)).get());
  return request;
}

/// Requests in flight. Kept by each of them, so that one which ends too late, or once more, still finds it.
struct Flight {
  Tally& tally;
  const Clock::time_point start = Clock::now();
  std::mutex mutex;
  std::condition_variable allEnded;
  int toEnd;

  Flight(Tally& all, int count) : tally(all), toEnd(count) {}

  void end(std::uint64_t number, vanto_object_t outcome) {
    tally.end(number, outcome, nanosecondsSince(start));
    const std::lock_guard lock(mutex);
    if (--toEnd == 0) allEnded.notify_all();
  }
  void wait() {
    std::unique_lock lock(mutex);
    const auto deadline = start + std::chrono::nanoseconds(2 * Load::bound + Load::slack);
    allEnded.wait_until(lock, deadline, [this] { return toEnd == 0; });
  }
};

}  // namespace

Load::Load(Tally& tally, int clients) : tally_(tally) {
  for (int client = 0; client < clients; client++) {
    threads_.emplace_back([this, client] { run(client); });
  }
}

Load::~Load() {
  {
    const std::lock_guard lock(mutex_);
    isEnding_ = true;
  }
  changed_.notify_all();
  for (std::thread& thread : threads_) thread.join();
}

void Load::pause() {
  std::unique_lock lock(mutex_);
  isPaused_ = true;
  changed_.wait(lock, [this] { return inside_ == 0; });
}

void Load::resume() {
  {
    const std::lock_guard lock(mutex_);
    isPaused_ = false;
  }
  changed_.notify_all();
}

bool Load::enter() {
  std::unique_lock lock(mutex_);
  changed_.wait(lock, [this] { return !isPaused_ || isEnding_; });
  if (isEnding_) return false;
  inside_++;
  return true;
}

void Load::leave() {
  {
    const std::lock_guard lock(mutex_);
    inside_--;
  }
  changed_.notify_all();
}

void Load::run(int client) {
  std::minstd_rand random(static_cast<unsigned>(client) + 1);
  while (enter()) {
    const int count = std::uniform_int_distribution(1, mostRequests)(random);
    if (client % 2 == 0) {
      callOneByOne(count);
    } else {
      callAtOnce(count);
    }
    leave();
    // A load that goes on for hours, not the most that the machine can do.
    std::this_thread::sleep_for(std::uniform_int_distribution<int>(1, longestPause.count())(random) *
                                std::chrono::milliseconds(1));
  }
}

bool Load::request(int milliseconds) {
  const std::uint64_t number = tally_.begin();
  const Clock::time_point start = Clock::now();
  const IpcPointer request = requestOf(number, milliseconds);
  IpcPointer outcome;
  // In one step and in two, which begin differently.
  if (number % 2 == 0) {
    outcome.reset(vanto_call_service(Ledger::serviceName, request.get(), bound));
  } else {
    outcome = connect();
    if (vanto_kind(outcome.get()) == VANTO_KIND_CONNECTION) {
      outcome.reset(vanto_call(outcome.get(), request.get(), bound));
    }
  }
  tally_.end(number, outcome.get(), nanosecondsSince(start));
  return vanto_kind(outcome.get()) != VANTO_KIND_ERROR;
}

void Load::callOneByOne(int count) {
  std::uint64_t number = tally_.begin();
  Clock::time_point start = Clock::now();
  const IpcPointer connection = connect();
  if (vanto_kind(connection.get()) != VANTO_KIND_CONNECTION) {
    return tally_.end(number, connection.get(), nanosecondsSince(start));
  }
  for (int call = 0; call < count; call++) {
    const IpcPointer outcome(vanto_call(connection.get(), requestOf(number, 0).get(), bound));
    tally_.end(number, outcome.get(), nanosecondsSince(start));
    if (call + 1 == count || vanto_kind(outcome.get()) == VANTO_KIND_ERROR) return;
    number = tally_.begin();
    start = Clock::now();
  }
}

void Load::callAtOnce(int count) {
  const auto flight = std::make_shared<Flight>(tally_, count);
  std::vector<std::uint64_t> numbers;
  for (int call = 0; call < count; call++) numbers.push_back(tally_.begin());
  const IpcPointer connection = connect();
  for (const std::uint64_t number : numbers) {
    const auto end = [flight, number](vanto_object_t outcome) {
      flight->end(number, outcome);
    };
    if (vanto_kind(connection.get()) != VANTO_KIND_CONNECTION) {
      end(connection.get());
    } else if (vanto_call_async(connection.get(), requestOf(number, 0).get(), bound, end) == 0) {
      // The connection has ended already; there is no code for that but this.
      end(IpcPointer(vanto_error_create(VANTO_ERROR_CLOSED, nullptr)).get());
    }
  }
  flight->wait();
}

}  // namespace vanto::soak
