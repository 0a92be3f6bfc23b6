// SPDX-License-Identifier: Apache-2.0
#include "sandbox/ProfileParser.h"

#include <array>
#include <utility>

#include "sandbox/BaseProfiles.h"
#include "sandbox/ProfileScanner.h"
#include "value/limits.h"

namespace vanto {
namespace {

constexpr RightSet rightsToPaths = [] {
  RightSet rights;
  for (const Right right : allRights) {
    if (isRightToPath(right)) rights |= right;
  }
  return rights;
}();

constexpr RightSet everyRight = [] {
  RightSet rights;
  for (const Right right : allRights) rights |= right;
  return rights;
}();

std::string namesOfBaseProfiles() {
  std::string names;
  for (const BaseProfile& profile : baseProfiles()) names += (names.empty() ? "" : ", ") + std::string(profile.name);
  return names;
}

std::string line(std::size_t number) {
  return "line " + std::to_string(number);
}

}  // namespace

void ProfileParser::parse(std::string_view text) {
  ProfileScanner scanner(text, errors_);
  while (const auto words = scanner.nextStatement()) {
    statement(*words);
    isFirst_ = false;
  }
}

void ProfileParser::statement(const Words& words) {
  constexpr std::string_view wanted = "version, include, allow, network or require";
  using Reader = void (ProfileParser::*)(const Words&);
  constexpr std::array<std::pair<std::string_view, Reader>, 5> readers{{{"version", &ProfileParser::version},
                                                                        {"include", &ProfileParser::include},
                                                                        {"allow", &ProfileParser::allow},
                                                                        {"network", &ProfileParser::network},
                                                                        {"require", &ProfileParser::require}}};
  const auto name = plainWord(words, 0, wanted);
  if (!name) return;
  for (const auto& [known, reader] : readers) {
    if (known == *name) return (this->*reader)(words);
  }
  errors_.add(words[0].position, "unknown statement " + shownWord(*name) + "; write " + std::string(wanted));
}

void ProfileParser::version(const Words& words) {
  if (!isFirst_) errors_.add(words[0].position, "the version stands behind another statement; write it first");
  const auto number = plainWord(words, 1, "1");
  if (!number) return;
  if (*number != "1") {
    errors_.add(words[1].position, "version " + shownWord(*number) + " of the language is not known; write 1");
  }
  endAfter(words, 2);
}

void ProfileParser::include(const Words& words) {
  const auto name = plainWord(words, 1, namesOfBaseProfiles());
  if (!name) return;
  endAfter(words, 2);
  const BaseProfile* profile = baseProfileNamed(*name);
  if (profile == nullptr) {
    errors_.add(words[1].position,
                "unknown base profile " + shownWord(*name) + "; write one of " + namesOfBaseProfiles());
    return;
  }
  const std::size_t number = words[0].position.line;
  const auto [earlier, isNew] = included_.emplace(profile->name, number);
  if (!isNew) {
    errors_.add(words[1].position, "included before, in " + line(earlier->second) + "; write each base profile once");
    return;
  }
  isFirst_ = true;
  base_ = {profile->name, number};
  parse(profile->text);
  base_ = {};
}

void ProfileParser::allow(const Words& words) {
  const auto what = plainWord(words, 1, "rights between commas");
  if (!what) return;
  const std::optional<Right> right = rightNamed(*what);
  if (!right || isRightToPath(*right)) return allowPaths(words);
  if (isRightToPort(*right)) return allowPorts(words, *right);
  allowRight(words, *right);
}

void ProfileParser::allowPaths(const Words& words) {
  const auto rights = rightsIn(words[1]);
  if (!rights) return;
  if (const RightSet others = rights->without(rightsToPaths); !others.isEmpty()) {
    errors_.add(words[1].position, "no right to a path: " + namesOf(others, ", ") + "; write a statement of its own");
    return;
  }
  if (words.size() == 2) errors_.add(words[1].end, "the paths are missing; write at least one");
  for (std::size_t index = 2; index < words.size(); ++index) {
    std::string path = pathOf(words[index], parameters_, errors_);
    if (path.empty()) continue;
    checkRoom(policy_.allowPath(std::move(path), *rights, lineOf(words[index])), words[index].position);
  }
}

void ProfileParser::allowPorts(const Words& words, Right right) {
  const auto protocol = plainWord(words, 2, "tcp");
  if (!protocol) return;
  if (*protocol != "tcp") {
    errors_.add(words[2].position, "unknown protocol " + shownWord(*protocol) +
                                       "; write tcp, for paths of Unix sockets \"allow socket\", for all else "
                                       "\"allow network\"");
    return;
  }
  if (words.size() == 3) errors_.add(words[2].end, "the ports are missing; write at least one");
  noteNetwork(words[0].position, networkUsed_, networkNone_);
  for (std::size_t index = 3; index < words.size(); ++index) allowPortsOf(words[index], right);
}

void ProfileParser::allowPortsOf(const ProfileWord& word, Right right) {
  const auto text = word.plainText();
  if (!text) return errors_.add(word.position, "a parameter can stand in paths only; write the port");
  const auto ports = portRangeOf(*text);
  if (!ports) {
    return errors_.add(word.position, shownWord(*text) +
                                          " is no port; write a number from 0 to 65535, or two with - "
                                          "between them");
  }
  if (ports->size() > limits::profilePortRange) {
    return errors_.add(word.position, "more than " + std::to_string(limits::profilePortRange) +
                                          " ports in one range; write allow network, or smaller ranges");
  }
  checkRoom(policy_.allowPorts(*ports, right, lineOf(word)), word.position);
}

void ProfileParser::allowRight(const Words& words, Right right) {
  if (right == Right::System) {
    errors_.add(words[1].position, "no profile allows system; write require system to have it denied for certain");
    return;
  }
  endAfter(words, 2);
  if (right == Right::Network) noteNetwork(words[0].position, networkUsed_, networkNone_);
  checkRoom(policy_.allow(right, lineOf(words[1])), words[1].position);
}

void ProfileParser::network(const Words& words) {
  const auto what = plainWord(words, 1, "none");
  if (!what) return;
  if (*what != "none") {
    errors_.add(words[1].position,
                "unknown word " + shownWord(*what) + "; write network none, or allow network for all of it");
    return;
  }
  endAfter(words, 2);
  noteNetwork(words[0].position, networkNone_, networkUsed_);
}

void ProfileParser::require(const Words& words) {
  if (!plainWord(words, 1, "rights, or all")) return;
  for (std::size_t index = 1; index < words.size(); ++index) {
    if (words[index].plainText() == "all") {
      policy_.require(everyRight);
    } else if (const auto rights = rightsIn(words[index])) {
      policy_.require(*rights);
    }
  }
}

std::optional<RightSet> ProfileParser::rightsIn(const ProfileWord& word) {
  const auto text = word.plainText();
  if (!text) {
    errors_.add(word.position, "a parameter can stand in paths only; write the rights");
    return std::nullopt;
  }
  RightSet rights;
  for (std::string_view rest = *text;;) {
    const std::string_view name = rest.substr(0, rest.find(','));
    const auto right = rightNamed(name);
    if (!right) {
      errors_.add(word.position, "unknown right " + shownWord(name) + "; write one of " + namesOf(everyRight, ", "));
      return std::nullopt;
    }
    rights |= *right;
    if (name.size() == rest.size()) return rights;
    rest.remove_prefix(name.size() + 1);
  }
}

std::optional<std::string_view> ProfileParser::plainWord(const Words& words, std::size_t index,
                                                         std::string_view wanted) {
  if (index >= words.size()) {
    errors_.add(words.back().end, "a word is missing; write " + std::string(wanted));
    return std::nullopt;
  }
  const auto text = words[index].plainText();
  if (!text) errors_.add(words[index].position, "a parameter can stand in paths only; write " + std::string(wanted));
  return text;
}

void ProfileParser::endAfter(const Words& words, std::size_t count) {
  if (words.size() > count) {
    errors_.add(words[count].position,
                "the word " + words[count].shown() + " is one too many; write it in a statement of its own");
  }
}

void ProfileParser::noteNetwork(ProfilePosition position, std::optional<std::size_t>& own,
                                const std::optional<std::size_t>& other) {
  if (other) errors_.add(position, "contradicts " + line(*other) + ", as there is no network or some; remove one");
  if (!own) own = position.line;
}

void ProfileParser::checkRoom(PolicyBuilder::Outcome outcome, ProfilePosition position) {
  if (outcome == PolicyBuilder::Outcome::Added) return;
  errors_.add(position, "more than " + std::to_string(limits::profileGrants) +
                            " paths and ports in all; name a directory in place of what is in it");
}

ProfileLine ProfileParser::lineOf(const ProfileWord& word) const noexcept {
  return base_.base.empty() ? ProfileLine{{}, word.position.line} : base_;
}

}  // namespace vanto
