// SPDX-License-Identifier: Apache-2.0
#include "tolvend/InstanceReceipt.h"

#include <vector>

#include "runtime/LogText.h"

namespace vanto::manager {

namespace {

/// A client gets about a thousand bytes, of which the name of the service and the last line of its log are some.
constexpr std::size_t shortfallBytes = 500;

std::vector<std::string_view> linesOf(std::string_view text) {
  std::vector<std::string_view> lines;
  while (!text.empty()) {
    const std::size_t end = text.find('\n');
    lines.push_back(text.substr(0, end));
    text.remove_prefix(end == std::string_view::npos ? text.size() : end + 1);
  }
  return lines;
}

/// What stands behind `word` in the lines that begin with it, joined.
std::string contentOf(std::string_view text, std::string_view word) {
  std::string content;
  for (std::string_view line : linesOf(text)) {
    if (!line.starts_with(word)) continue;
    line.remove_prefix(word.size());
    content += (content.empty() ? "" : "; ") + std::string(line);
  }
  return content;
}

/// Between characters.
std::string cut(std::string text) {
  if (text.size() <= shortfallBytes) return text;
  std::size_t end = shortfallBytes;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) --end;
  text.resize(end);
  return text + "...";
}

}  // namespace

std::optional<InstanceReceipt> InstanceReceipt::read(std::string_view text) {
  constexpr std::string_view word = "level ";
  const std::vector<std::string_view> lines = linesOf(text);
  if (lines.empty() || !lines.front().starts_with(word)) return std::nullopt;
  const std::optional<ConfinementLevel> level = levelNamed(lines.front().substr(word.size()));
  if (!level) return std::nullopt;
  InstanceReceipt receipt{*level, {}};
  for (const std::string_view line : lines) receipt.text += std::string(LogText(line).utf8()) + '\n';
  return receipt;
}

std::string shortfall(const InstanceReceipt* receipt, ConfinementLevel floor) {
  const std::string demand = std::string(" (the manager demands ") + nameOf(floor) + ")";
  if (receipt == nullptr) return "not confined" + demand + ": no profile, or none that its library has told of";
  const bool isNone = receipt->level == ConfinementLevel::None;
  const std::string lack = isNone ? contentOf(receipt->text, "error ") : contentOf(receipt->text, "missing ");
  const std::string begin = (isNone ? "not confined" : "confined in part") + demand;
  return cut(begin + (lack.empty() ? "" : (isNone ? ": " : ": missing ") + lack));
}

}  // namespace vanto::manager
