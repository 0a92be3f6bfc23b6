// SPDX-License-Identifier: Apache-2.0
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "learning/RunObserver.h"
#include "learning/limits.h"

namespace {

using vanto::learning::RunFacts;
using vanto::learning::RunObserver;

void require(bool condition) {
  if (!condition) std::abort();
}

void checkFacts(const RunFacts& facts) {
  for (const auto& [path, rights] : facts.used) require(path.starts_with('/'));
  for (const auto* const paths : {&facts.openedOrMade, &facts.made, &facts.removed, &facts.nameless, &facts.executed}) {
    for (const auto& path : *paths) require(path.starts_with('/'));
  }
  for (const auto& [from, to] : facts.moved) require(facts.made.contains(to));
  for (const auto& path : facts.sockets) require(facts.made.contains(path));
  for (const auto& path : facts.removedDirectories) require(facts.removed.contains(path));
  require(facts.program.empty() || facts.program.starts_with('/'));
  for (const auto& remark : facts.remarks) {
    for (const char character : remark) require(character >= ' ' && character <= '~');
  }
}

}  // namespace

/// A trace is understood line by line, or refused; whatever it says, all paths are absolute, remarks are plain text,
/// and no more is remembered than the limits say.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
  std::string_view text(reinterpret_cast<const char*>(bytes), size);
  RunObserver observer("/w");
  while (!text.empty()) {
    const std::string_view line = text.substr(0, text.find('\n'));
    text.remove_prefix(line.size() < text.size() ? line.size() + 1 : line.size());
    if (observer.take(line) != RunObserver::Outcome::Taken) return 0;
  }
  const RunFacts facts = observer.finish();
  require(facts.count() <= vanto::learning::limits::facts + 2);
  checkFacts(facts);
  return 0;
}
