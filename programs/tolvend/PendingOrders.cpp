// SPDX-License-Identifier: Apache-2.0
#include "tolvend/PendingOrders.h"

#include <algorithm>

#include "dispatch/Workers.h"
#include "tolvend/DictionaryBuilder.h"

namespace vanto::manager {

namespace {

/// A process that does not say that it listens counts as started when it was executed so long ago.
constexpr std::uint64_t quietStart = 1'000'000'000;
/// No order waits longer than this, whatever becomes of its job.
constexpr std::uint64_t longest = 60'000'000'000;

bool hasAny(const std::vector<JobController::Instance>& instances, const std::vector<InstanceId>& old) {
  return std::any_of(instances.begin(), instances.end(), [&](const JobController::Instance& instance) {
    return std::find(old.begin(), old.end(), instance.id) != old.end();
  });
}

}  // namespace

void PendingOrders::add(vanto_object_t message, const std::string& label, Goal goal) {
  Order order;
  order.message = Ref<vanto_object>::share(message);
  order.label = label;
  order.goal = goal;
  order.time = monotonicNow();
  order.deadline = deadlineAfter(longest);
  if (const JobController* job = jobs_.find(label)) {
    order.failures = job->failures();
    for (const JobController::Instance& instance : job->instances()) {
      const bool isLeaving = instance.state == InstanceRecord::State::Stopping;
      if (isLeaving || goal != Goal::Started) order.old.push_back(instance.id);
    }
  }
  orders_.push_back(std::move(order));
  alarm_.set(0);
}

void PendingOrders::look() {
  const std::uint64_t now = monotonicNow();
  std::uint64_t next = UINT64_MAX;
  for (auto order = orders_.begin(); order != orders_.end();) {
    if (settle(*order, now) == State::Done) {
      order = orders_.erase(order);
      continue;
    }
    const bool isQuiet = order->executed != 0;
    next = std::min({next, order->deadline, isQuiet ? order->executed + quietStart : UINT64_MAX});
    ++order;
  }
  alarm_.set(next);
}

PendingOrders::State PendingOrders::settle(Order& order, std::uint64_t now) {
  if (vanto_message_is_cancelled(order.message.get())) return State::Done;
  if (now >= order.deadline) return fail(order, "this is not done after 60 seconds, and goes on");
  if (order.goal == Goal::Unloaded) return jobs_.isEnding(order.label) ? State::Waiting : succeed(order, 0);
  const JobController* job = jobs_.find(order.label);
  if (job == nullptr) return fail(order, "the job was unloaded meanwhile");
  if (!job->hasBegun()) return State::Waiting;
  if (order.goal != Goal::Started && hasAny(job->instances(), order.old)) return State::Waiting;
  return order.goal == Goal::Ended ? succeed(order, 0) : settleStart(order, *job, now);
}

PendingOrders::State PendingOrders::settleStart(Order& order, const JobController& job, std::uint64_t now) {
  const std::vector<JobController::Instance> instances = job.instances();
  // Where each connection has a process of its own there is none to wait for.
  if (job.job().isMultiple) return succeed(order, 0);
  const auto fresh = std::find_if(instances.begin(), instances.end(), [](const JobController::Instance& instance) {
    return instance.state != InstanceRecord::State::Stopping;
  });
  if (fresh != instances.end()) {
    if (fresh->state == InstanceRecord::State::Running) return succeed(order, fresh->pid);
    if (fresh->isExecuted && order.instance != fresh->id) {
      order.instance = fresh->id;
      order.executed = now;
    }
    return fresh->isExecuted && now >= order.executed + quietStart ? succeed(order, fresh->pid) : State::Waiting;
  }
  if (job.state() == LifeCycle::State::Held) return fail(order, "the job was held meanwhile");
  const StartFailure* failure = job.lastFailure();
  if (failure != nullptr && job.failures() != order.failures) return fail(order, failureText(*failure));
  return job.isStartWanted() ? State::Waiting : settleEnd(order, job);
}

/// Nothing accepts, and nothing is going to.
PendingOrders::State PendingOrders::settleEnd(const Order& order, const JobController& job) {
  const StartFailure* end = job.lastEnd();
  const bool isOfThis = end != nullptr && end->time >= order.time &&
                        std::find(order.old.begin(), order.old.end(), end->instance) == order.old.end();
  return fail(order, isOfThis ? failureText(*end) : "the job was stopped meanwhile");
}

PendingOrders::State PendingOrders::succeed(const Order& order, pid_t pid) {
  DictionaryBuilder reply;
  reply.text("label", order.label);
  if (pid != 0) reply.number("pid", pid);
  static_cast<void>(vanto_reply(order.message.get(), reply.take().get()));
  return State::Done;
}

PendingOrders::State PendingOrders::fail(const Order& order, const std::string& error) {
  DictionaryBuilder reply;
  reply.text("error", error);
  static_cast<void>(vanto_reply(order.message.get(), reply.take().get()));
  return State::Done;
}

}  // namespace vanto::manager
