// SPDX-License-Identifier: Apache-2.0
#include "vanto/LearnedProfile.h"

#include <string_view>

#include "sandbox/PolicyText.h"
#include "sandbox/ProfileWord.h"
#include "value/limits.h"

namespace vanto::tool {
namespace {

std::string comment(const std::string& text) {
  constexpr std::string_view begin = "# ";
  constexpr std::string_view rest = " ...";
  // A line that is cut between the bytes of a character would be none.
  if (text.size() <= vanto::limits::profileLineBytes - begin.size()) return std::string(begin) + text + "\n";
  std::size_t end = vanto::limits::profileLineBytes - begin.size() - rest.size();
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xc0) == 0x80) --end;
  return std::string(begin) + text.substr(0, end) + std::string(rest) + "\n";
}

}  // namespace

std::string profileTextOf(const LearnedPolicy& policy, const std::vector<std::string>& command) {
  constexpr std::string_view version = "version 1\n";
  std::string words;
  for (const std::string& word : command) words += " " + writtenWord(word);
  std::string text = comment("What one run did of:" + words);
  text += comment("Another run may do more. Look at each line before a service is confined by it.");
  for (const std::string& remark : policy.remarks) text += comment(remark + ".");
  text += version;
  if (policy.includesBase) text += "include base\n";
  return text + textOf(policy.policy).substr(version.size());
}

}  // namespace vanto::tool
