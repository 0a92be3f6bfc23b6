// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sandbox/PolicyBuilder.h"
#include "sandbox/ProfileErrors.h"
#include "sandbox/ProfilePath.h"
#include "sandbox/ProfileWord.h"

namespace vanto {

/// Reads the statements of one profile, and of the base profiles that it includes, into a policy. It goes on behind an
/// error, so that all of them can be shown at once; what was built is of use only when there is none.
class ProfileParser {
 public:
  /// All are borrowed.
  ProfileParser(const ProfileParameters& parameters, PolicyBuilder& policy, ProfileErrors& errors) noexcept
      : parameters_(parameters), policy_(policy), errors_(errors) {}

  void parse(std::string_view text);

 private:
  using Words = std::vector<ProfileWord>;

  void statement(const Words& words);
  void version(const Words& words);
  void include(const Words& words);
  void allow(const Words& words);
  void allowPaths(const Words& words);
  void allowPorts(const Words& words, Right right);
  void allowPortsOf(const ProfileWord& word, Right right);
  void allowRight(const Words& words, Right right);
  void network(const Words& words);
  void require(const Words& words);

  /// The rights that `word` lists between commas; none after an error.
  [[nodiscard]] std::optional<RightSet> rightsIn(const ProfileWord& word);
  /// The word at `index` when it is there and has no parameters; else none, with an error that asks for `wanted`.
  [[nodiscard]] std::optional<std::string_view> plainWord(const Words& words, std::size_t index,
                                                          std::string_view wanted);
  /// Adds an error when there are more than `count` words.
  void endAfter(const Words& words, std::size_t count);
  /// Says that the network is used, or that there is none; the two exclude each other.
  void noteNetwork(ProfilePosition position, std::optional<std::size_t>& own, const std::optional<std::size_t>& other);
  void checkRoom(PolicyBuilder::Outcome outcome, ProfilePosition position);
  [[nodiscard]] ProfileLine lineOf(const ProfileWord& word) const noexcept;

  const ProfileParameters& parameters_;
  PolicyBuilder& policy_;
  ProfileErrors& errors_;
  bool isFirst_ = true;
  /// Included base profiles and the lines that include them.
  std::map<std::string_view, std::size_t> included_;
  /// While a base profile is read: its name and the line that includes it.
  ProfileLine base_;
  /// The first lines that say so.
  std::optional<std::size_t> networkUsed_;
  std::optional<std::size_t> networkNone_;
};

}  // namespace vanto
