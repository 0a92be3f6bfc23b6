// SPDX-License-Identifier: Apache-2.0
#include "sandbox/Receipt.h"

#include <algorithm>

#include "sandbox/ProfileWord.h"
#include "value/limits.h"

namespace vanto {
namespace {

/// The lines of a receipt, of which the last are left out when there are too many.
class Lines {
 public:
  void add(std::string line) {
    // Whoever reads lines must find none that a text from elsewhere has made.
    std::ranges::replace_if(
        line, [](char character) { return static_cast<unsigned char>(character) < ' '; }, '?');
    const bool isRoomy = left_ == 0 && text_.size() + line.size() + 1 + roomForRest <= limits::receiptBytes;
    if (isRoomy) {
      text_ += line + '\n';
    } else {
      ++left_;
    }
  }
  [[nodiscard]] std::string take() {
    if (left_ != 0) text_ += "more " + std::to_string(left_) + '\n';
    return std::move(text_);
  }

 private:
  static constexpr std::size_t roomForRest = 32;

  std::string text_;
  std::size_t left_ = 0;
};

/// The beginning of `text`, which leaves room for the other lines. Cut between characters.
std::string cut(const std::string& text) {
  constexpr std::size_t room = 1024;
  if (text.size() <= room) return text;
  std::size_t end = room;
  while ((static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) --end;
  return text.substr(0, end) + "...";
}

void addRemarks(Lines& lines, const char* word, const std::vector<RightRemark>& remarks) {
  for (const RightRemark& remark : remarks) {
    lines.add(std::string(word) + ' ' + std::string(nameOf(remark.right)) + ": " + remark.reason);
  }
}

}  // namespace

const char* nameOf(ConfinementLevel level) noexcept {
  switch (level) {
    case ConfinementLevel::None:
      return "none";
    case ConfinementLevel::Reduced:
      return "reduced";
    case ConfinementLevel::Full:
      return "full";
  }
  return "";
}

const char* nameOf(WitnessResult result) noexcept {
  switch (result) {
    case WitnessResult::Untested:
      return "untested";
    case WitnessResult::Denied:
      return "denied";
    case WitnessResult::Allowed:
      return "allowed";
  }
  return "";
}

std::optional<ConfinementLevel> levelNamed(std::string_view word) noexcept {
  for (const auto level : {ConfinementLevel::None, ConfinementLevel::Reduced, ConfinementLevel::Full}) {
    if (word == nameOf(level)) return level;
  }
  return std::nullopt;
}

std::string textOf(const Receipt& receipt) {
  Lines lines;
  lines.add(std::string("level ") + nameOf(receipt.level));
  if (!receipt.error.empty()) lines.add("error " + cut(receipt.error));
  lines.add("asked " + namesOf(receipt.asked, " "));
  lines.add("enforced " + namesOf(receipt.enforced, " "));
  std::string witness = std::string("witness ") + nameOf(receipt.witness);
  if (!receipt.witnessSubject.empty()) witness += ": " + receipt.witnessSubject;
  lines.add(witness);
  addRemarks(lines, "missing", receipt.missing);
  addRemarks(lines, "withheld", receipt.withheld);
  for (const AbsentPath& path : receipt.absent) lines.add("absent " + writtenWord(path.path) + ": " + path.reason);
  return lines.take();
}

}  // namespace vanto
