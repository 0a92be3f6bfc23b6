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
/// What a client in haste allows, and what it asks the service to take: some have not even connected by then.
constexpr int mostHasteMilliseconds = 100;
constexpr int mostSlowMilliseconds = 20;

constexpr Load::Client clients[] = {
    {Service::Shared, Load::Habit::OneByOne}, {Service::Shared, Load::Habit::AtOnce},
    {Service::Shared, Load::Habit::OneByOne}, {Service::Shared, Load::Habit::AtOnce},
    {Service::Shared, Load::Habit::Haste},    {Service::Multiple, Load::Habit::OneByOne},
    {Service::Multiple, Load::Habit::AtOnce}, {Service::Multiple, Load::Habit::Haste},
};

std::int64_t nanosecondsSince(Clock::time_point start) {
  return std::chrono::nanoseconds(Clock::now() - start).count();
}

/// A step that began at `start` and ends now.
Spent spentSince(Clock::time_point start, std::uint64_t allowed = Load::bound) {
  return {static_cast<std::int64_t>(allowed), nanosecondsSince(start)};
}

IpcPointer connect(Service service, std::uint64_t allowed = Load::bound) {
  return IpcPointer(vanto_connect(nameOf(service), nullptr, allowed));
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
    tally.end(number, outcome, spentSince(start));
    const std::lock_guard lock(mutex);
    if (--toEnd == 0) allEnded.notify_all();
  }
  void wait() {
    std::unique_lock lock(mutex);
    // Whatever has not ended by then is lost.
    const auto deadline = start + std::chrono::nanoseconds(2 * Load::bound);
    allEnded.wait_until(lock, deadline, [this] { return toEnd == 0; });
  }
};

}  // namespace

Load::Load(Tally& tally) : tally_(tally) {
  for (const Client& client : clients) {
    const auto seed = static_cast<unsigned>(threads_.size()) + 1;
    threads_.emplace_back([this, client, seed] { run(client, seed); });
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

void Load::run(Client client, unsigned seed) {
  std::minstd_rand random(seed);
  const auto upTo = [&random](int most) {
    return std::uniform_int_distribution(1, most)(random);
  };
  while (enter()) {
    switch (client.habit) {
      case Habit::OneByOne:
        callOneByOne(client.service, upTo(mostRequests));
        break;
      case Habit::AtOnce:
        callAtOnce(client.service, upTo(mostRequests));
        break;
      case Habit::Haste:
        request(client.service, upTo(mostSlowMilliseconds), std::uint64_t{1'000'000} * upTo(mostHasteMilliseconds));
        break;
    }
    leave();
    // A load that goes on for hours, not the most that the machine can do.
    std::this_thread::sleep_for(std::uniform_int_distribution<int>(1, longestPause.count())(random) *
                                std::chrono::milliseconds(1));
  }
}

bool Load::request(Service service, int milliseconds, std::uint64_t allowed) {
  const std::uint64_t number = tally_.begin();
  const IpcPointer request = requestOf(number, milliseconds);
  Clock::time_point start = Clock::now();
  IpcPointer outcome;
  // In one step and in two, which begin differently.
  if (number % 2 == 0) {
    outcome.reset(vanto_call_service(nameOf(service), request.get(), allowed));
  } else {
    outcome = connect(service, allowed);
    if (vanto_kind(outcome.get()) == VANTO_KIND_CONNECTION) {
      tally_.noteStep(spentSince(start, allowed));
      start = Clock::now();
      outcome.reset(vanto_call(outcome.get(), request.get(), allowed));
    }
  }
  tally_.end(number, outcome.get(), spentSince(start, allowed));
  return vanto_kind(outcome.get()) != VANTO_KIND_ERROR;
}

void Load::callOneByOne(Service service, int count) {
  const Clock::time_point start = Clock::now();
  const IpcPointer connection = connect(service);
  if (vanto_kind(connection.get()) != VANTO_KIND_CONNECTION) {
    return tally_.end(tally_.begin(), connection.get(), spentSince(start));
  }
  tally_.noteStep(spentSince(start));
  for (int call = 0; call < count; call++) {
    const std::uint64_t number = tally_.begin();
    const Clock::time_point begin = Clock::now();
    const IpcPointer outcome(vanto_call(connection.get(), requestOf(number, 0).get(), bound));
    tally_.end(number, outcome.get(), spentSince(begin));
    if (vanto_kind(outcome.get()) == VANTO_KIND_ERROR) return;
  }
}

void Load::callAtOnce(Service service, int count) {
  const Clock::time_point start = Clock::now();
  const IpcPointer connection = connect(service);
  if (vanto_kind(connection.get()) != VANTO_KIND_CONNECTION) {
    for (int call = 0; call < count; call++) tally_.end(tally_.begin(), connection.get(), spentSince(start));
    return;
  }
  tally_.noteStep(spentSince(start));
  const auto flight = std::make_shared<Flight>(tally_, count);
  for (int call = 0; call < count; call++) {
    const std::uint64_t number = tally_.begin();
    const auto end = [flight, number](vanto_object_t outcome) {
      flight->end(number, outcome);
    };
    if (vanto_call_async(connection.get(), requestOf(number, 0).get(), bound, end) == 0) {
      // The connection has ended already; there is no code for that but this.
      end(IpcPointer(vanto_error_create(VANTO_ERROR_CLOSED, nullptr)).get());
    }
  }
  flight->wait();
}

}  // namespace vanto::soak
