// SPDX-License-Identifier: Apache-2.0
#include "vanto/LearnedPolicy.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <optional>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "sandbox/BaseProfiles.h"
#include "sandbox/KernelRights.h"
#include "sandbox/Landlock.h"
#include "sandbox/PolicyBuilder.h"
#include "sandbox/PolicyExplanation.h"
#include "sandbox/Profile.h"
#include "sandbox/ProfileWord.h"
#include "value/limits.h"
#include "vanto/ProgramInterpreters.h"
#include "vanto/RealPlaces.h"
#include "vanto/RunPlaces.h"

namespace vanto::tool {
namespace {

constexpr const char* base = "base";
/// Room for the base profile, which counts as well.
constexpr std::size_t mostRules = vanto::limits::profileGrants - 256;

using Rules = std::map<std::string, RightSet>;

RightSet common(RightSet left, RightSet right) {
  return left.without(left.without(right));
}

RightSet rightsToFiles() {
  return RightSet(Right::Read) | Right::Write | Right::Truncate | Right::Execute | Right::Ioctl | Right::Socket;
}

/// The directory above; empty for the root.
std::string above(const std::string& path) {
  if (path == "/") return {};
  const std::size_t slash = path.rfind('/');
  return slash == 0 ? "/" : path.substr(0, slash);
}

/// What `rules` give at `path` by what they give above it.
RightSet givenAbove(const Rules& rules, const std::string& path) {
  RightSet rights;
  for (std::string place = above(path); !place.empty(); place = above(place)) {
    if (const auto rule = rules.find(place); rule != rules.end()) rights |= rule->second;
  }
  return rights;
}

RightSet givenAt(const Rules& rules, const std::string& path) {
  const auto rule = rules.find(path);
  return givenAbove(rules, path) | (rule == rules.end() ? RightSet() : rule->second);
}

Policy basePolicy() {
  const BaseProfile* const profile = baseProfileNamed(base);
  return withRealPaths(*compileProfile(profile->text, {}).policy);
}

RightSet givenBy(const Policy& policy, const std::string& path) {
  RightSet rights;
  for (const Right right : allRights) {
    if (isRightToPath(right) && !explainPath(policy, right, path).empty()) rights |= right;
  }
  return rights;
}

bool isDirectory(const std::string& path) {
  std::error_code error;
  return std::filesystem::is_directory(path, error);
}

/// Ports that the kernel chooses from when a program does not.
std::pair<unsigned, unsigned> chosenPorts() {
  std::pair<unsigned, unsigned> ports{32'768, 60'999};
  std::ifstream("/proc/sys/net/ipv4/ip_local_port_range") >> ports.first >> ports.second;
  return ports;
}

/// Some kernels need the platform to read there, of clients; a service that reads other files there needs a rule on
/// every kernel.
constexpr const char* processes = "/proc";

/// Facts on their way to a policy, in steps that each need those before.
class Learning {
 public:
  Learning(const learning::RunFacts& facts, const timespec& began, std::span<const PlannedPath> given)
      : facts_(facts), places_(facts, began) {
    learned_.remarks = facts.remarks;
    for (const PlannedPath& need : given) {
      (need.path == processes ? givenOfProcesses_ : given_[realPath(need.path)]) |= need.bits;
    }
  }

  LearnedPolicy take(LearnedPolicy::Purpose purpose) {
    addNames();
    addFiles();
    if (purpose == LearnedPolicy::Purpose::Command) addCommand();
    for (const std::string& path : facts_.executed) addProgram(path);
    levelMoves();
    dropGiven();
    mergeUntilRoomy();
    build();
    return std::move(learned_);
  }

 private:
  void remark(std::string text) { learned_.remarks.insert(std::move(text)); }

  void addNames() {
    for (const std::string& path : places_.directoriesOfOthers()) rules_[path] |= Right::Create;
    for (const std::string& path : places_.directoriesOfSockets()) add(path, Right::Create, landlock::makeSocket);
    for (const std::string& path : facts_.removed) {
      const bool isFile = !facts_.removedDirectories.contains(path);
      add(places_.ofDirectoryOf(path), Right::Remove, isFile ? landlock::removeFile : bitsOf(Right::Remove).fileBits);
    }
    for (const auto& [from, to] : facts_.moved) {
      if (above(realName(from)) == above(realName(to))) continue;
      rules_[places_.ofDirectoryOf(from)] |= Right::Rename;
      rules_[places_.ofDirectoryOf(to)] |= Right::Rename;
    }
  }

  void addFiles() {
    for (const auto& [path, rights] : facts_.used) {
      for (const Right right : allRights) {
        if (!rights.contains(right) || isGiven(realPath(path), bitsToUse(path, right))) continue;
        rules_[places_.ofFile(path)] |= right;
      }
    }
    addOtherProcesses();
  }

  void addOtherProcesses() {
    if (facts_.ofOtherProcesses.isEmpty()) return;
    const std::string place = processes;
    const RightSet before = rules_[place];
    for (const Right right : allRights) {
      if (!facts_.ofOtherProcesses.contains(right)) continue;
      const std::uint64_t bits = right == Right::Read ? landlock::readFile : bitsOf(right).fileBits;
      if ((bits & ~givenOfProcesses_) != 0) add(place, right, bits);
    }
    if (rules_[place] != before) {
      remark(place +
             " is allowed because of what lies there for other processes than the first, which nothing can name");
    }
  }

  static std::uint64_t bitsToUse(const std::string& path, Right right) {
    if (right != Right::Read) return bitsOf(right).fileBits;
    return isDirectory(path) ? landlock::readDirectory : landlock::readFile;
  }

  /// Whether the platform gives `bits` at a real path.
  [[nodiscard]] bool isGiven(const std::string& path, std::uint64_t bits) const {
    for (std::string at = path; !at.empty(); at = above(at)) {
      if (const auto need = given_.find(at); need != given_.end()) bits &= ~need->second;
    }
    return bits == 0;
  }

  /// A right to a directory, of which the run used `bits`.
  void add(const std::string& directory, Right right, std::uint64_t bits) {
    if (!isGiven(directory, bits)) rules_[directory] |= right;
  }

  void addCommand() {
    if (facts_.program.empty()) return;
    addProgram(facts_.program);
    remark("execute of " + writtenWord(realPath(facts_.program)) +
           " and of what executes it is for vanto profile run; a service is confined later");
  }

  void addProgram(const std::string& path) {
    addExecuted(path);
    const auto interpreters = interpretersOf(path);
    if (!interpreters)
      remark("what executes " + writtenWord(path) + " could not be read, so nothing is allowed for it");
    for (const std::string& interpreter : interpreters.value_or(std::vector<std::string>())) addExecuted(interpreter);
  }

  void addExecuted(const std::string& path) { rules_[places_.ofFile(path)] |= RightSet(Right::Execute) | Right::Read; }

  /// Nothing can be moved to where it could be used in more ways than before.
  void levelMoves() {
    for (bool isLevel = false; !std::exchange(isLevel, true);) {
      for (const auto& [from, to] : facts_.moved) {
        const std::string source = places_.ofDirectoryOf(from);
        const std::string target = places_.ofDirectoryOf(to);
        RightSet more = givenAt(rules_, target).without(givenAt(rules_, source));
        if (!isDirectory(to)) more = common(more, rightsToFiles());
        if (more.isEmpty()) continue;
        rules_[source] |= more;
        isLevel = false;
        remark(namesOf(more, ",") + " is allowed for " + writtenWord(source) +
               " because things are moved from there to where it is allowed");
      }
    }
  }

  void dropGiven() {
    const Policy policy = basePolicy();
    Rules left;
    for (const auto& [path, rights] : rules_) {
      const RightSet missing = rights.without(givenAbove(rules_, path));
      const RightSet own = missing.without(givenBy(policy, path));
      learned_.includesBase |= own != missing;
      if (!own.isEmpty()) left.emplace(path, own);
    }
    rules_ = std::move(left);
  }

  void mergeUntilRoomy() {
    while (rules_.size() > mostRules) {
      std::map<std::string, std::size_t> counts;
      for (const auto& [path, rights] : rules_) ++counts[above(path)];
      merge(std::ranges::max_element(counts, {}, [](const auto& entry) { return entry.second; })->first);
    }
  }

  void merge(const std::string& directory) {
    RightSet rights;
    std::erase_if(rules_, [&](const auto& rule) {
      const bool isIn = above(rule.first) == directory;
      if (isIn) rights |= rule.second;
      return isIn;
    });
    rules_[directory] |= rights;
    remark(writtenWord(directory) + " is allowed in place of what is in it, which is more than a profile can name");
  }

  void build() {
    PolicyBuilder builder;
    bool isRoomy = true;
    const auto note = [&isRoomy](PolicyBuilder::Outcome outcome) {
      isRoomy = isRoomy && outcome == PolicyBuilder::Outcome::Added;
    };
    for (const auto& [path, rights] : rules_) {
      note(builder.allowPath(path, rights, {}));
      remarkListing(path, rights);
    }
    const bool needsNetwork = facts_.others.contains(Right::Network);
    if (!needsNetwork) addPorts(builder, note);
    for (const Right right : {Right::Network, Right::Abstract, Right::Signal, Right::Processes}) {
      if (facts_.others.contains(right)) note(builder.allow(right, {}));
    }
    learned_.policy = builder.take();
    if (!isRoomy) learned_.problem = "the run used more ports than a profile can name; write allow network";
  }

  void remarkListing(const std::string& path, RightSet rights) {
    const bool isListed = facts_.used.contains(path) && facts_.used.at(path).contains(Right::Read);
    if (!isListed || !rights.contains(Right::Read) || !isDirectory(path)) return;
    remark(writtenWord(path) + " was listed, which cannot be allowed without reading all that is beneath");
  }

  template <typename Note>
  void addPorts(PolicyBuilder& builder, const Note& note) {
    for (const std::uint16_t port : facts_.boundPorts) note(builder.allowPorts({port, port}, Right::Bind, {}));
    for (const std::uint16_t port : facts_.connectedPorts) note(builder.allowPorts({port, port}, Right::Connect, {}));
    const auto [first, last] = chosenPorts();
    for (const std::uint16_t port : facts_.connectedPorts) {
      if (port < first || port > last || facts_.boundPorts.contains(port)) continue;
      remark("port " + std::to_string(port) + " is one of those that the kernel chooses, and may be another next time");
    }
    // A socket without a port needs some port that is allowed; this one takes none from anybody.
    const bool isUnnamed = facts_.hasTcp && facts_.boundPorts.empty() && facts_.connectedPorts.empty();
    if (isUnnamed) note(builder.allowPorts({0, 0}, Right::Bind, {}));
  }

  const learning::RunFacts& facts_;
  RunPlaces places_;
  /// By the platform.
  std::map<std::string, std::uint64_t> given_;
  std::uint64_t givenOfProcesses_ = 0;
  Rules rules_;
  LearnedPolicy learned_;
};

}  // namespace

LearnedPolicy LearnedPolicy::of(const learning::RunFacts& facts, const timespec& began, Purpose purpose,
                                std::span<const PlannedPath> given) {
  return Learning(facts, began, given).take(purpose);
}

}  // namespace vanto::tool
