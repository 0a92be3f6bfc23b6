// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Jobs.h"

#include <algorithm>
#include <utility>

#include "value/limits.h"

namespace vanto::manager {

Jobs::Jobs(JobSurroundings surroundings, JobStore& store, FormerProcesses& former, BoundSockets& sockets, Domain domain,
           int directory)
    : surroundings_(surroundings),
      store_(store),
      former_(former),
      sockets_(sockets),
      domain_(domain),
      directory_(directory),
      telling_(surroundings.alarms, [this] { tell(); }) {}

std::unique_ptr<JobController> Jobs::make(Job job) {
  const std::string label = job.label;
  return std::make_unique<JobController>(std::move(job), surroundings_, [this, label] { note(label); });
}

std::string Jobs::open(JobController& job, PublishedSocket::Rival rival) const {
  using Access = PublishedSocket::Access;
  return job.open(directory_, domain_ == Domain::System ? Access::Everybody : Access::Owner, rival);
}

std::vector<std::string> Jobs::restore() {
  std::vector<std::string> problems;
  JobStore::Contents contents = store_.read(domain_);
  for (const JobStore::Damage& damage : contents.damages) problems.push_back(damage.file + ": " + damage.reason);
  for (JobStore::StoredJob& stored : contents.jobs) {
    const std::string label = stored.job.label;
    if (jobs_.size() >= limits::managerJobs) {
      problems.push_back(label + ": not loaded: the manager has as many jobs as it takes");
      continue;
    }
    std::unique_ptr<JobController> job = make(std::move(stored.job));
    // Processes of the manager before may still have the sockets that it bound.
    const bool isOurs = sockets_.has(job->file()) || former_.hasAny(job->file());
    const auto rival = isOurs ? PublishedSocket::Rival::Replace : PublishedSocket::Rival::Respect;
    if (const std::string error = open(*job, rival); !error.empty()) {
      problems.push_back(label + ": not loaded: " + error);
      continue;
    }
    if (stored.isHeld) job->hold();
    jobs_.emplace(label, std::move(job));
  }
  beginWhatCan();
  return problems;
}

void Jobs::beginWhatCan() {
  forgetEnded();
  for (const auto& [label, job] : jobs_) {
    if (!job->hasBegun() && !former_.hasAny(job->file()) && !isEnding(label)) job->begin();
  }
}

Jobs::Result Jobs::load(Job job) {
  if (isRetired_) return {"the manager is ending"};
  if (JobController* const old = find(job.label)) return replace(*old, std::move(job));
  if (jobs_.size() >= limits::managerJobs) return {"the manager has as many jobs as it takes; unload one first"};
  const std::string label = job.label;
  std::unique_ptr<JobController> added = make(job);
  if (std::string error = open(*added, PublishedSocket::Rival::Respect); !error.empty()) return {std::move(error)};
  if (const StoreFailure failure = store_.putJob(job)) {
    added->retire(StartFailure::Stage::Removed);
    sockets_.remove(added->file());
    return {storeFailureText(failure)};
  }
  jobs_.emplace(label, std::move(added));
  beginWhatCan();
  note(label);
  return {};
}

Jobs::Result Jobs::replace(JobController& old, Job job) {
  if (old.job().data == job.data) return {};
  if (old.job().isMultiple != job.isMultiple) {
    return {"the job that is loaded differs in \"MultipleInstances\"; unload it first"};
  }
  if (const StoreFailure failure = store_.putJob(job)) return {storeFailureText(failure)};
  old.replace(std::move(job));
  note(old.job().label);
  return {.error = {}, .hasReplaced = true};
}

Jobs::Result Jobs::unload(const std::string& label) {
  const auto place = jobs_.find(label);
  if (const StoreFailure failure = store_.removeJob(label)) return {storeFailureText(failure)};
  place->second->retire(StartFailure::Stage::Removed);
  sockets_.remove(place->second->file());
  ending_.push_back(std::move(place->second));
  jobs_.erase(place);
  note(label);
  return {};
}

Jobs::Result Jobs::hold(JobController& job) {
  if (const StoreFailure failure = store_.putHeld(job.job().label)) return {storeFailureText(failure)};
  job.hold();
  return {};
}

Jobs::Result Jobs::start(JobController& job) {
  if (const StoreFailure failure = store_.removeHeld(job.job().label)) return {storeFailureText(failure)};
  job.start();
  return {};
}

Jobs::Result Jobs::restart(JobController& job) {
  if (const StoreFailure failure = store_.removeHeld(job.job().label)) return {storeFailureText(failure)};
  job.restart();
  return {};
}

void Jobs::fileTouched(const std::string& file) {
  for (const auto& [label, job] : jobs_) {
    if (file.empty() || job->file() == file) job->lookAfterSocket();
  }
}

JobController* Jobs::find(const std::string& label) const {
  const auto place = jobs_.find(label);
  return place != jobs_.end() ? place->second.get() : nullptr;
}

bool Jobs::isEnding(const std::string& label) const {
  return std::any_of(ending_.begin(), ending_.end(), [&](const auto& job) { return job->job().label == label; });
}

void Jobs::retireAll() {
  isRetired_ = true;
  for (auto& [label, job] : jobs_) {
    job->retire(StartFailure::Stage::Manager);
    sockets_.remove(job->file());
    ending_.push_back(std::move(job));
    note(label);
  }
  jobs_.clear();
}

bool Jobs::isEmpty() const noexcept {
  const auto isEmpty = [](const auto& job) {
    return job->isEmpty();
  };
  return std::all_of(ending_.begin(), ending_.end(), isEmpty) &&
         std::all_of(jobs_.begin(), jobs_.end(), [](const auto& entry) { return entry.second->isEmpty(); });
}

void Jobs::note(const std::string& label) {
  if (std::find(changed_.begin(), changed_.end(), label) == changed_.end()) changed_.push_back(label);
  // Not here: a life cycle is in the middle of something.
  if (!telling_.isSet()) telling_.set(0);
}

void Jobs::forgetEnded() {
  std::erase_if(ending_, [this](const auto& job) {
    const bool hasEnded = job->isEmpty() && !former_.hasAny(job->file());
    if (!hasEnded) return false;
    note(job->job().label);
    job->log().end();
    return true;
  });
}

void Jobs::tell() {
  beginWhatCan();
  for (const std::string& label : std::exchange(changed_, {})) {
    if (observer_) observer_(label);
  }
}

}  // namespace vanto::manager
