// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Subscriptions.h"

#include <algorithm>

#include "dispatch/Workers.h"
#include "tolvend/DictionaryBuilder.h"
#include "tolvend/JobReport.h"

namespace vanto::manager {

namespace {

constexpr std::uint64_t interval = 100'000'000;

Ref<vanto_object> removedReport(const std::string& label) {
  DictionaryBuilder removed;
  return removed.text("label", label).truth("removed", true).take();
}

}  // namespace

void Subscriptions::add(std::list<Watcher>& list, vanto_object_t connection, const std::string& label,
                        const LogRing* log) {
  const bool isThere = std::any_of(list.begin(), list.end(), [&](const Watcher& watcher) {
    return watcher.connection.get() == connection && watcher.label == label && watcher.log == log;
  });
  if (!isThere) list.push_back({Ref<vanto_object>::share(connection), label, log});
}

void Subscriptions::watch(vanto_object_t connection, const std::string& label) {
  add(watchers_, connection, label, nullptr);
}

void Subscriptions::follow(vanto_object_t connection, JobController& job) {
  const LogRing& log = job.log();
  add(followers_, connection, job.job().label, &log);
  job.log().follow([this, &log](const LogLine* line) { line != nullptr ? tellLine(log, *line) : tellEnd(log); });
}

void Subscriptions::forget(vanto_object_t connection) {
  const auto isOf = [=](const Watcher& watcher) {
    return watcher.connection.get() == connection;
  };
  watchers_.remove_if(isOf);
  followers_.remove_if(isOf);
}

void Subscriptions::changed(const std::string& label) {
  if (watchers_.empty()) return;
  changed_.insert(label);
  if (!alarm_.isSet()) alarm_.set(0);
}

void Subscriptions::tellWatchers() {
  const std::uint64_t now = monotonicNow();
  std::erase_if(earliest_, [now](const auto& entry) { return entry.second <= now; });
  std::uint64_t next = UINT64_MAX;
  for (auto label = changed_.begin(); label != changed_.end();) {
    if (const auto place = earliest_.find(*label); place != earliest_.end()) {
      next = std::min(next, place->second);
      ++label;
      continue;
    }
    tellOf(*label);
    earliest_[*label] = now + interval;
    label = changed_.erase(label);
  }
  alarm_.set(next);
}

void Subscriptions::tellOf(const std::string& label) {
  Ref<vanto_object> message;
  if (const JobController* job = jobs_.find(label)) {
    message = jobState(*job);
  } else {
    message = removedReport(label);
  }
  for (const Watcher& watcher : watchers_) {
    if (watcher.label.empty() || watcher.label == label) send(watcher.connection.get(), message.get());
  }
}

void Subscriptions::tellLine(const LogRing& log, const LogLine& line) {
  Ref<vanto_object> message;
  for (const Watcher& follower : followers_) {
    if (follower.log != &log) continue;
    if (!message) message = lineReport(line);
    send(follower.connection.get(), message.get());
  }
}

void Subscriptions::tellEnd(const LogRing& log) {
  for (auto follower = followers_.begin(); follower != followers_.end();) {
    if (follower->log != &log) {
      ++follower;
      continue;
    }
    send(follower->connection.get(), removedReport(follower->label).get());
    follower = followers_.erase(follower);
  }
}

void Subscriptions::send(vanto_object_t connection, vanto_object_t message) {
  // The end of the connection comes as an event, with which it is forgotten.
  if (vanto_send(connection, message, 0) == VANTO_ERROR_FULL) vanto_close(connection);
}

}  // namespace vanto::manager
