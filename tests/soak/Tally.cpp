// SPDX-License-Identifier: Apache-2.0
#include "soak/Tally.h"

#include <algorithm>
#include <cinttypes>
#include <cstdio>

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

/// What a client has to live with while services and managers come and go: nobody listens for a moment, or the
/// connection ends, or the manager says why there is no service. All else, a time-out too, is a fault.
bool isExpected(vanto_error_code_t code) {
  return code == VANTO_ERROR_NO_SERVICE || code == VANTO_ERROR_CLOSED || code == VANTO_ERROR_START;
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
};

// Zeroed memory, so pages that are not used cost nothing.
Tally::Tally() : ends_(std::make_unique<std::atomic<End>[]>(Ledger::capacity)) {}

void Tally::end(std::uint64_t number, vanto_object_t outcome, double nanoseconds) {
  const bool isError = vanto_kind(outcome) == VANTO_KIND_ERROR;
  if (ends_[number].exchange(isError ? End::Failed : End::Answered) != End::None) endedTwice_++;
  const std::lock_guard lock(mutex_);
  longest_ = std::max(longest_, nanoseconds);
  if (isError) {
    errors_++;
    errorsByKind_[kindOf(outcome)]++;
    if (!isExpected(vanto_error_get_code(outcome))) unexpected_++;
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
    counts.failed += end == End::Failed ? 1 : 0;
    counts.lost += end == End::None ? 1 : 0;
    counts.doubled += times > 1 ? 1 : 0;
    counts.invented += end == End::Answered && times == 0 ? 1 : 0;
  }
  return counts;
}

bool Tally::report(const Ledger& ledger, double longestAllowed) const {
  const Counts counts = count(ledger);
  const std::lock_guard lock(mutex_);
  bool good = print("requests", begun(), begun() > 0);
  good = print("answered", counts.answered, counts.answered > 0) && good;
  print("typed errors", counts.failed, true);
  for (const auto& [kind, times] : errorsByKind_) print(("  " + kind).c_str(), times, true);
  good = print("errors of other codes", unexpected_, unexpected_ == 0) && good;
  good = print("lost: no answer and no error in time", counts.lost, counts.lost == 0) && good;
  good = print("doubled: carried out more than once", counts.doubled, counts.doubled == 0) && good;
  good = print("doubled: more than one answer or error", endedTwice_, endedTwice_ == 0) && good;
  good = print("answered with the reply to another request", wrongReplies_, wrongReplies_ == 0) && good;
  good = print("answered without being carried out", counts.invented, counts.invented == 0) && good;
  return print("longest time of a request, ms", static_cast<std::uint64_t>(longest_ / 1e6),
               longest_ <= longestAllowed) &&
         good;
}

}  // namespace vanto::soak
