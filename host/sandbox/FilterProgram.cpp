// SPDX-License-Identifier: Apache-2.0

// First the machine is checked. Then the number of the call is searched for in halves, among the spans of numbers that
// have the same answer: when a filter is loaded the kernel goes through it once for each number that it has, so the way
// to an answer must be short for all of them. Answers that need a look at arguments load those over the number and end
// the program, like all others.
//
// Jumps only lead forward, so a program is written from its end, where everything that an instruction can jump to is
// there before it.
#include "sandbox/FilterProgram.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <limits>
#include <utility>

#include <linux/audit.h>
#include <linux/seccomp.h>

namespace vanto {
namespace {

/// Numbers with this bit, and no others, are those of the 32-bit form of x86-64.
constexpr std::uint32_t x32Bit = 0x40000000;

/// An instruction, by how many there are from it to the end of the program, itself among them.
using Place = std::size_t;

/// A program that is written from its end.
class FilterWriter {
 public:
  [[nodiscard]] Place allow() { return end(SECCOMP_RET_ALLOW); }
  [[nodiscard]] Place refuse(std::int32_t error) { return end(SECCOMP_RET_ERRNO | static_cast<std::uint32_t>(error)); }

  /// Goes on at `yes` where `comparison` (BPF_JEQ and the like) of the accumulator with `value` holds, else at `no`.
  [[nodiscard]] Place decide(std::uint16_t comparison, std::uint32_t value, Place yes, Place no);
  /// Loads the word at `offset` of what the kernel tells of a call, takes the bits of `mask`, and goes on at `next`.
  [[nodiscard]] Place load(std::size_t offset, std::uint32_t mask, Place next);

  /// The program from the instruction that was written last.
  [[nodiscard]] std::vector<sock_filter> take() {
    std::ranges::reverse(backwards_);
    return std::move(backwards_);
  }

 private:
  [[nodiscard]] Place end(std::uint32_t answer);
  Place put(const sock_filter& instruction) {
    backwards_.push_back(instruction);
    return backwards_.size();
  }
  /// How many instructions the next one would have to skip.
  [[nodiscard]] std::size_t distanceTo(Place place) const noexcept { return backwards_.size() - place; }
  [[nodiscard]] Place jumpTo(Place place) {
    return put(BPF_STMT(BPF_JMP | BPF_JA, static_cast<std::uint32_t>(distanceTo(place))));
  }

  std::vector<sock_filter> backwards_;
  /// Each is written once.
  std::vector<std::pair<std::uint32_t, Place>> ends_;
};

Place FilterWriter::end(std::uint32_t answer) {
  const auto found = std::ranges::find(ends_, answer, &std::pair<std::uint32_t, Place>::first);
  if (found != ends_.end()) return found->second;
  return ends_.emplace_back(answer, put(BPF_STMT(BPF_RET | BPF_K, answer))).second;
}

Place FilterWriter::decide(std::uint16_t comparison, std::uint32_t value, Place yes, Place no) {
  // Comparisons have a byte for each of their jumps, and the jump of the one may come between this and the other.
  constexpr std::size_t reach = std::numeric_limits<std::uint8_t>::max() - 1;
  if (distanceTo(no) > reach) no = jumpTo(no);
  if (distanceTo(yes) > reach) yes = jumpTo(yes);
  const auto code = static_cast<std::uint16_t>(BPF_JMP | comparison | BPF_K);
  return put(
      BPF_JUMP(code, value, static_cast<std::uint8_t>(distanceTo(yes)), static_cast<std::uint8_t>(distanceTo(no))));
}

Place FilterWriter::load(std::size_t offset, std::uint32_t mask, Place next) {
  if (distanceTo(next) != 0) next = jumpTo(next);
  if (mask != ~std::uint32_t{0}) put(BPF_STMT(BPF_ALU | BPF_AND | BPF_K, mask));
  return put(BPF_STMT(BPF_LD | BPF_W | BPF_ABS, static_cast<std::uint32_t>(offset)));
}

/// The numbers from `first` to where the next span begins, and their answer.
struct Span {
  std::uint32_t first;
  Place answer;
};

/// All numbers, which have the answer `others` until they are given another.
class Spans {
 public:
  explicit Spans(Place others) : others_(others), spans_{{0, others}} {}

  /// Numbers ascend from call to call.
  void give(std::uint32_t number, Place answer) {
    begin(number, answer);
    if (number != std::numeric_limits<std::uint32_t>::max()) begin(number + 1, others_);
  }
  [[nodiscard]] std::span<const Span> inOrder() const noexcept { return spans_; }

 private:
  void begin(std::uint32_t first, Place answer) {
    if (spans_.back().first == first) spans_.pop_back();
    if (spans_.empty() || spans_.back().answer != answer) spans_.push_back({first, answer});
  }

  Place others_;
  std::vector<Span> spans_;
};

/// Finds the span of the number in the accumulator, and goes on at its answer.
Place addSearch(FilterWriter& writer, std::span<const Span> spans) {
  if (spans.size() == 1) return spans.front().answer;
  const std::size_t half = spans.size() / 2;
  const Place lower = addSearch(writer, spans.first(half));
  const Place upper = addSearch(writer, spans.subspan(half));
  return writer.decide(BPF_JGE, spans[half].first, upper, lower);
}

/// Answers by the number of the call, once it is known to be one of the machine's.
std::vector<sock_filter> finished(FilterWriter writer, const Spans& spans, Machine machine) {
  const Place refused = writer.refuse(EPERM);
  Place next = addSearch(writer, spans.inOrder());
  if (machine == Machine::X86_64) next = writer.decide(BPF_JSET, x32Bit, refused, next);
  next = writer.load(offsetof(seccomp_data, nr), ~std::uint32_t{0}, next);
  next = writer.decide(BPF_JEQ, machine == Machine::X86_64 ? AUDIT_ARCH_X86_64 : AUDIT_ARCH_AARCH64, next, refused);
  [[maybe_unused]] const Place start = writer.load(offsetof(seccomp_data, arch), ~std::uint32_t{0}, next);
  return writer.take();
}

/// Goes on at `yes` where the test holds, else at `no`.
Place addTest(FilterWriter& writer, const ArgumentTest& test, Place yes, Place no) {
  if (test.relation == ArgumentTest::Relation::Different) std::swap(yes, no);
  const Place comparison = writer.decide(BPF_JEQ, test.value, yes, no);
  return writer.load(offsetof(seccomp_data, args) + sizeof(std::uint64_t) * test.index, test.mask, comparison);
}

struct NumberedRule {
  std::uint32_t number;
  const SystemCallRule* rule;
};

/// The answer to one call: that of the first of its rules that holds.
Place addRules(FilterWriter& writer, std::span<const NumberedRule> rules) {
  Place next = writer.allow();
  for (std::size_t index = rules.size(); index-- > 0;) {
    const SystemCallRule& rule = *rules[index].rule;
    Place matched = writer.refuse(rule.error);
    for (std::size_t test = rule.tests.size(); test-- > 0;) matched = addTest(writer, rule.tests[test], matched, next);
    next = matched;
  }
  return next;
}

/// Ascending by number, those of one call in their order.
std::vector<NumberedRule> numbered(std::span<const SystemCallRule> rules, Machine machine) {
  std::vector<NumberedRule> result;
  result.reserve(rules.size());
  for (const SystemCallRule& rule : rules) {
    if (const auto number = numberOf(rule.call, machine)) result.push_back({*number, &rule});
  }
  std::ranges::stable_sort(result, {}, &NumberedRule::number);
  return result;
}

}  // namespace

std::vector<sock_filter> filterProgramOf(std::span<const SystemCallRule> rules, Machine machine) {
  FilterWriter writer;
  Spans spans(writer.allow());
  const std::vector<NumberedRule> ordered = numbered(rules, machine);
  for (auto first = ordered.begin(); first != ordered.end();) {
    const auto last = std::ranges::upper_bound(first, ordered.end(), first->number, {}, &NumberedRule::number);
    spans.give(first->number, addRules(writer, {first, last}));
    first = last;
  }
  return finished(std::move(writer), spans, machine);
}

std::vector<sock_filter> filterProgramOfOnly(std::span<const std::uint32_t> numbers, Machine machine) {
  FilterWriter writer;
  Spans spans(writer.refuse(EPERM));
  std::vector<std::uint32_t> ordered(numbers.begin(), numbers.end());
  std::ranges::sort(ordered);
  ordered.erase(std::unique(ordered.begin(), ordered.end()), ordered.end());
  const Place allowed = writer.allow();
  for (const std::uint32_t number : ordered) spans.give(number, allowed);
  return finished(std::move(writer), spans, machine);
}

}  // namespace vanto
