// SPDX-License-Identifier: Apache-2.0
#include "soak/Tally.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

#include "soak/Load.h"

namespace vanto::soak {

namespace {

/// The stage in "LABEL: not started: STAGE: …"; empty in other texts.
std::string_view stageIn(std::string_view text) {
  constexpr std::string_view before = "not started: ";
  const std::size_t begin = text.find(before);
  if (begin == std::string_view::npos) return {};
  const std::string_view rest = text.substr(begin + before.size());
  return rest.substr(0, rest.find(':'));
}

std::string kindOf(vanto_object_t error) {
  const vanto_error_code_t code = vanto_error_get_code(error);
  const std::string_view stage = stageIn(vanto_error_get_text(error));
  return std::to_string(code) + " " + (stage.empty() ? vanto_error_text(code) : "not started: " + std::string(stage));
}

/// Beyond a client's bound, in nanoseconds: what a loaded machine may need to run it again.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
constexpr std::int64_t slack = 5'000'000'000;
#else
constexpr std::int64_t slack = 2'000'000'000;
#endif

/// Of a client who does not wait as long as a service may need, when its time was really over.
bool isOwnTimeOut(vanto_error_code_t code, Spent last) {
  return code == VANTO_ERROR_TIMED_OUT && last.bound < static_cast<std::int64_t>(Load::bound) &&
         last.time >= last.bound;
}

/// What a client has to live with while services and managers come and go: nobody listens for a moment, or the
/// connection ends, or the manager says why there is no service. All else, a time-out of one who waits too, is a fault.
bool isExpected(vanto_error_code_t code) {
  return code == VANTO_ERROR_NO_SERVICE || code == VANTO_ERROR_CLOSED || code == VANTO_ERROR_START;
}

bool hasNobodySeen(vanto_error_code_t code) {
  return code == VANTO_ERROR_NO_SERVICE || code == VANTO_ERROR_START;
}

bool print(const char* what, std::uint64_t count, bool isGood) {
  std::printf("  %-48s %10" PRIu64 "%s\n", what, count, isGood ? "" : "   WRONG");
  return isGood;
}

}  // namespace

struct Tally::Counts {
  std::uint64_t answered = 0;
  std::uint64_t failed = 0;
  std::uint64_t lost = 0;
  /// Carried out more than once.
  std::uint64_t doubled = 0;
  /// Answered, and not carried out.
  std::uint64_t invented = 0;
  /// Carried out, and its client was told that there is no service.
  std::uint64_t denied = 0;
};

// Zeroed memory, so pages that are not used cost nothing.
Tally::Tally() : ends_(std::make_unique<std::atomic<End>[]>(Ledger::capacity)) {}

void Tally::noteStep(Spent step) {
  const std::lock_guard lock(mutex_);
  longest_ = std::max(longest_, step.time);
  mostBeyond_ = std::max(mostBeyond_, step.time - step.bound);
}

void Tally::end(std::uint64_t number, vanto_object_t outcome, Spent last) {
  const bool isError = vanto_kind(outcome) == VANTO_KIND_ERROR;
  const End end = !isError                                       ? End::Answered
                  : hasNobodySeen(vanto_error_get_code(outcome)) ? End::Untouched
                                                                 : End::Failed;
  if (ends_[number].exchange(end) != End::None) endedTwice_++;
  noteStep(last);
  const std::lock_guard lock(mutex_);
  if (isError) {
    const vanto_error_code_t code = vanto_error_get_code(outcome);
    errorsByKind_[kindOf(outcome)]++;
    if (isOwnTimeOut(code, last)) {
      timeOuts_++;
      return;
    }
    errors_++;
    if (!isExpected(code)) unexpected_++;
  } else if (vanto_int64_get_value(outcome) != static_cast<std::int64_t>(number)) {
    wrongReplies_++;
  }
}

Tally::Counts Tally::count(const Ledger& ledger) const {
  Counts counts;
  for (std::uint64_t number = 0; number < next_; number++) {
    const End end = ends_[number];
    const unsigned times = ledger.timesCarriedOut(number);
    counts.answered += end == End::Answered ? 1 : 0;
    counts.failed += end == End::Failed || end == End::Untouched ? 1 : 0;
    counts.lost += end == End::None ? 1 : 0;
    counts.doubled += times > 1 ? 1 : 0;
    counts.invented += end == End::Answered && times == 0 ? 1 : 0;
    counts.denied += end == End::Untouched && times > 0 ? 1 : 0;
  }
  return counts;
}

bool Tally::reportTimes() const {
  const bool isGood = mostBeyond_ <= slack;
  // The shortest times that clients allow must run out now and then, or this says nothing.
  const bool hasRunOut = timeOuts_ > 0;
  print("times that ran out for clients in haste", timeOuts_, hasRunOut);
  print("longest step of a request, ms", static_cast<std::uint64_t>(longest_ / 1'000'000), true);
  std::printf("  %-48s %10.2f%s\n", "most that a step took beyond its bound, ms",
              static_cast<double>(mostBeyond_) / 1e6, isGood ? "" : "   WRONG");
  return isGood && hasRunOut;
}

bool Tally::report(const Ledger& ledger) const {
  const Counts counts = count(ledger);
  const std::lock_guard lock(mutex_);
  bool good = print("requests", begun(), begun() > 0);
  good = print("answered", counts.answered, counts.answered > 0) && good;
  for (const Service service : services) {
    const std::uint64_t times = ledger.requests(service);
    good = print(("carried out by " + std::string(nameOf(service))).c_str(), times, times > 0) && good;
  }
  print("typed errors", counts.failed, true);
  for (const auto& [kind, times] : errorsByKind_) print(("  " + kind).c_str(), times, true);
  good = print("errors of other codes", unexpected_, unexpected_ == 0) && good;
  good = print("lost: no answer and no error in time", counts.lost, counts.lost == 0) && good;
  good = print("doubled: carried out more than once", counts.doubled, counts.doubled == 0) && good;
  good = print("doubled: more than one answer or error", endedTwice_, endedTwice_ == 0) && good;
  good = print("answered with the reply to another request", wrongReplies_, wrongReplies_ == 0) && good;
  good = print("answered without being carried out", counts.invented, counts.invented == 0) && good;
  good = print("carried out, though there was no service", counts.denied, counts.denied == 0) && good;
  return reportTimes() && good;
}

}  // namespace vanto::soak
