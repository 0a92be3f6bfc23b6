// SPDX-License-Identifier: Apache-2.0
#include "learning/RunObserver.h"

#include <algorithm>
#include <span>
#include <utility>

#include "learning/DescriptorCalls.h"
#include "learning/FileCalls.h"
#include "learning/ProcessCalls.h"
#include "learning/RefusedCalls.h"
#include "learning/SocketCalls.h"

namespace vanto::learning {
namespace {

using Readers = std::map<std::string_view, CallReader>;

const Readers& readers() {
  static const Readers all = [] {
    Readers found;
    for (const auto calls : {descriptorCalls(), fileCalls(), processCalls(), socketCalls(), refusedCalls()}) {
      for (const CallReader& reader : calls) found.emplace(reader.name, reader);
    }
    return found;
  }();
  return all;
}

/// The thread that a call has made, 0 for none.
std::int64_t threadMadeBy(const TraceLine& line) {
  const bool isMaker = line.name == "fork" || line.name == "vfork" || line.name.starts_with("clone");
  return isMaker && line.hasSucceeded() ? line.result.number().value_or(0) : 0;
}

}  // namespace

std::vector<std::string_view> RunObserver::calls() {
  std::vector<std::string_view> names;
  for (const auto& [name, reader] : readers()) names.push_back(name);
  return names;
}

RunObserver::Outcome RunObserver::take(std::string_view text) {
  const auto part = TraceLinePart::of(text);
  if (!part) {
    const auto line = TraceLine::of(text);
    return line ? takeWhole(*line, text) : Outcome::NotUnderstood;
  }
  if (part->kind == TraceLinePart::Kind::Begin) return keepBegin(part->process, text.substr(0, part->text.size()));
  auto begin = begins_.extract(part->process);
  if (begin.empty()) return Outcome::NotUnderstood;
  // The tracer can lose the result of a program that takes the place of other threads; it has begun then.
  const bool isSuccessor = successors_.erase(part->process) != 0;
  const std::string whole = std::move(begin.mapped()) + (isSuccessor ? ") = 0" : std::string(part->text));
  const auto line = TraceLine::of(whole);
  return line && line->name == part->name ? takeWhole(*line, whole) : Outcome::NotUnderstood;
}

RunObserver::Outcome RunObserver::keepBegin(std::int64_t process, std::string_view text) {
  if (begins_.size() == limits::waitingCalls) return Outcome::TooMuch;
  return begins_.emplace(process, text).second ? Outcome::Taken : Outcome::NotUnderstood;
}

RunObserver::Outcome RunObserver::takeWhole(const TraceLine& line, std::string_view text) {
  if (line.kind != TraceLine::Kind::Call) begins_.erase(line.process);
  if (line.kind == TraceLine::Kind::Superseded) return supersede(line);
  if (!record_.processes.isKnown(line.process)) return wait(line, text);
  read(line);
  readWaiting(threadMadeBy(line));
  return record_.facts.count() <= limits::facts ? Outcome::Taken : Outcome::TooMuch;
}

/// The call that executes returns in the thread that it was not made by.
RunObserver::Outcome RunObserver::supersede(const TraceLine& line) {
  auto begin = begins_.extract(line.successor);
  if (begin.empty()) return Outcome::Taken;
  const std::size_t number = begin.mapped().find_first_not_of("0123456789");
  begins_.emplace(line.process, std::to_string(line.process) + begin.mapped().substr(number));
  successors_.insert(line.process);
  return Outcome::Taken;
}

void RunObserver::read(const TraceLine& line) {
  if (line.kind == TraceLine::Kind::End) return record_.processes.end(line.process);
  record_.takePlaces(line);
  if (!hasBegun() && line.name == "execve") beginError_ = line.error;
  const auto reader = readers().find(line.name);
  if (reader == readers().end()) return;
  if (line.hasSucceeded() || reader->second.readsFailed) reader->second.read(line, record_);
}

RunObserver::Outcome RunObserver::wait(const TraceLine& line, std::string_view text) {
  if (waitingCount_ == limits::waitingCalls) return Outcome::TooMuch;
  waiting_[line.process].emplace_back(text);
  ++waitingCount_;
  return Outcome::Taken;
}

/// Also those of threads that these calls turn out to have made.
void RunObserver::readWaiting(std::int64_t process) {
  std::vector<std::int64_t> made{process};
  while (!made.empty()) {
    auto calls = waiting_.extract(made.back());
    made.pop_back();
    if (calls.empty()) continue;
    waitingCount_ -= calls.mapped().size();
    for (const std::string& text : calls.mapped()) {
      const auto line = TraceLine::of(text);
      read(*line);
      made.push_back(threadMadeBy(*line));
    }
  }
}

RunFacts RunObserver::finish() {
  if (waitingCount_ != 0) {
    record_.remark("what some processes did is left out, since it could not be seen who made them");
  }
  const auto isOutside = [this](std::int64_t process) {
    return process != 0 && !record_.processes.hasBeen(process < 0 ? -process : process);
  };
  if (std::ranges::any_of(record_.signalled, isOutside)) record_.facts.others |= Right::Signal;
  if (!std::ranges::includes(record_.abstractMade, record_.abstractUsed)) record_.facts.others |= Right::Abstract;
  return std::move(record_.facts);
}

}  // namespace vanto::learning
