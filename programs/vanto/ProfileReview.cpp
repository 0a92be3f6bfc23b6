// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileReview.h"

#include <algorithm>
#include <map>
#include <optional>
#include <tuple>
#include <utility>

#include "sandbox/PlaceFinder.h"
#include "sandbox/PolicyExplanation.h"
#include "sandbox/ProfileScanner.h"
#include "vanto/RealPlaces.h"
#include "vanto/RulePlace.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// What changes that which may be executed at a path. Beside a file anything can be made, as what takes its place may
/// not be executed.
RightSet changingRightsAt(const std::string& path) {
  const RightSet ofFiles = Right::Write;
  return rulePlaceOf(path) == RulePlace::File ? ofFiles : ofFiles | Right::Create | Right::Rename;
}

bool isBeneath(std::string_view path, std::string_view directory) noexcept {
  if (directory == "/") return path != directory;
  return path.size() > directory.size() && path.starts_with(directory) && path[directory.size()] == '/';
}

/// An error of a profile ends with what to do.
ProfileFinding findingOf(const ProfileError& error) {
  const std::size_t end = error.text.rfind("; ");
  if (end == std::string::npos) return {Severity::Error, error.position, visible(error.text), "see the language"};
  return {Severity::Error, error.position, visible(error.text.substr(0, end)), visible(error.text.substr(end + 2))};
}

/// Makes the remarks on one good profile.
class Review {
 public:
  Review(const ProfileDocument& document, const ProfileValues& values)
      : policy_(*document.result.policy), real_(withRealPaths(policy_)), values_(values) {
    findWords(document.text);
  }

  [[nodiscard]] std::vector<ProfileFinding> take() {
    for (const PathRule& rule : policy_.paths) {
      // Of what base profiles name, no machine has everything.
      for (const Grant& grant : rule.grants) {
        if (grant.line.base.empty()) lookAt(rule, grant);
      }
    }
    std::ranges::stable_sort(findings_, {}, [](const ProfileFinding& finding) {
      return std::pair(finding.position.line, finding.position.column);
    });
    return std::move(findings_);
  }

 private:
  /// Where a path or a parameter's path stands, since a policy knows lines only.
  void findWords(std::string_view text) {
    ProfileErrors ignored;
    ProfileScanner scanner(text, ignored);
    while (const auto words = scanner.nextStatement()) {
      for (std::size_t index = 2; index < words->size(); ++index) {
        const ProfileWord& word = (*words)[index];
        words_.try_emplace({word.position.line, pathOf(word, values_.parameters, ignored)}, word.position);
      }
    }
  }

  [[nodiscard]] ProfilePosition positionOf(const PathRule& rule, const Grant& grant) const {
    const auto found = words_.find({grant.line.line, rule.path});
    return found == words_.end() ? ProfilePosition{grant.line.line, 1} : found->second;
  }

  void add(Severity severity, const PathRule& rule, const Grant& grant, std::string problem, std::string remedy) {
    findings_.push_back({severity, positionOf(rule, grant), std::move(problem), std::move(remedy)});
  }

  void lookAt(const PathRule& rule, const Grant& grant) {
    lookAtFile(rule, grant);
    lookAtLinks(rule, grant);
    lookAtEnd(rule, grant);
    if (grant.rights.contains(Right::Rename)) lookAtMoves(rule, grant);
    lookForOthers(rule, grant);
    if (rule.path == "/") {
      add(Severity::Warning, rule, grant, namesOf(grant.rights, ", ") + " is allowed for every file there is",
          "name the directories that are needed");
    }
    if (grant.rights.contains(Right::Execute)) lookAtExecution(rule, grant);
  }

  /// `grant` gives execute.
  void lookAtExecution(const PathRule& rule, const Grant& grant) {
    const std::string path = realPath(rule.path);
    if (placesWith(Right::Read, path).empty()) {
      add(Severity::Warning, rule, grant, "execute does nothing without read, which " + visible(rule.path) + " lacks",
          "allow read,execute");
    }
    const std::vector<Place> changed = placesWith(changingRightsAt(path), path);
    if (changed.empty()) return;
    const std::string more = changed.size() == 1 ? "" : " and " + std::to_string(changed.size() - 1) + " more beneath";
    add(Severity::Warning, rule, grant,
        visible(changed.front().path) + more + " may be changed (" + namesOf(changed.front().rights, ", ") +
            ") and executed, so anything can be",
        "allow one of the two, or name what is executed");
  }

  struct Place {
    std::string path;
    RightSet rights;
  };

  /// A real path, if it has one of `rights` from wherever, and the places beneath it with rules that give one; each
  /// with those that it has.
  [[nodiscard]] std::vector<Place> placesWith(RightSet rights, const std::string& path) const {
    Place here{path, {}};
    for (const Right right : allRights) {
      if (rights.contains(right) && !explainPath(real_, right, path).empty()) here.rights |= right;
    }
    std::vector<Place> places;
    if (!here.rights.isEmpty()) places.push_back(std::move(here));
    for (const PathRule& rule : real_.paths) {
      if (isBeneath(rule.path, path) && !(rule.rights & rights).isEmpty()) {
        places.push_back({rule.path, rule.rights & rights});
      }
    }
    return places;
  }

  void lookAtFile(const PathRule& rule, const Grant& grant) {
    if (values_.isPlaceholderIn(rule.path)) return;
    const RulePlace place = rulePlaceOf(rule.path);
    const RightSet idle = idleRightsAt(place, grant.rights);
    if (place == RulePlace::Absent) {
      add(Severity::Note, rule, grant, "there is no " + visible(rule.path) + " here, and what is absent gets no rule",
          "have it made before the service starts, or allow the directory it will be in");
    } else if (!idle.isEmpty()) {
      add(Severity::Warning, rule, grant,
          namesOf(idle, ", ") + " is without effect at a file, as " + visible(rule.path) + " is",
          "allow it for the directory");
    }
  }

  /// All that the grant gives, an earlier one of the path or one of a directory above gives too.
  void lookForOthers(const PathRule& rule, const Grant& grant) {
    for (const Right right : allRights) {
      if (grant.rights.contains(right) && !isGivenElsewhere(rule, grant, right)) return;
    }
    add(Severity::Warning, rule, grant, "adds nothing: all of it is allowed for " + visible(rule.path) + " elsewhere",
        "leave it out");
  }

  [[nodiscard]] bool isGivenElsewhere(const PathRule& rule, const Grant& grant, Right right) const {
    for (const Grant& other : rule.grants) {
      if (&other == &grant) break;
      if (other.rights.contains(right)) return true;
    }
    return explainPath(policy_, right, rule.path).back().subject != rule.path;
  }

  void lookAtLinks(const PathRule& rule, const Grant& grant) {
    const FoundPlace found = finder_.find(rule.path);
    if (found.link.empty()) return;
    add(Severity::Warning, rule, grant, visible(rule.path) + " gets no rule: " + visible(found.reason()),
        "name the place that the link leads to");
  }

  void lookAtEnd(const PathRule& rule, const Grant& grant) {
    const std::string end = placelessEndOf(rule.path);
    if (end.empty()) return;
    add(Severity::Note, rule, grant,
        visible(rule.path) + " gets no rule: here it leads to " + visible(end) + ", for which the kernel takes none",
        "leave it out where it always leads to such a thing, of which nothing is denied");
  }

  /// `grant` gives rename.
  void lookAtMoves(const PathRule& rule, const Grant& grant) {
    if (rulePlaceOf(rule.path) != RulePlace::Directory) return;
    if (!hasTarget_) {
      add(Severity::Warning, rule, grant,
          "rename does nothing, as no directory has create with it to take what is moved",
          "allow create for directories that things are moved to, remove for those that they are moved from");
    } else if (placesWith(RightSet(Right::Create) | Right::Remove, realPath(rule.path)).empty()) {
      add(Severity::Note, rule, grant,
          "rename without create and remove lets things in " + visible(rule.path) + " be linked elsewhere, and no more",
          "allow remove to have them moved from there, create to have others moved to there");
    }
  }

  /// Whether there is a directory to which anything can be moved or linked.
  [[nodiscard]] bool hasTarget() const {
    return std::ranges::any_of(real_.paths, [this](const PathRule& rule) {
      return !explainPath(real_, Right::Rename, rule.path).empty() &&
             !explainPath(real_, Right::Create, rule.path).empty();
    });
  }

  const Policy& policy_;
  /// At the ends of symbolic links, where kernels have the rules.
  const Policy real_;
  const ProfileValues& values_;
  const bool hasTarget_ = hasTarget();
  std::map<std::pair<std::size_t, std::string>, ProfilePosition> words_;
  std::vector<ProfileFinding> findings_;
  PlaceFinder finder_{planOf(policy_, kernelRightsOf(landlockGenerations), std::nullopt)};
};

}  // namespace

Finding ProfileFinding::inFile(const std::string& name) const {
  return {severity, name + ":" + std::to_string(position.line) + ":" + std::to_string(position.column), "", problem,
          remedy};
}

std::vector<ProfileFinding> reviewOf(const ProfileDocument& document, const ProfileValues& values) {
  if (document.result.policy) return Review(document, values).take();
  std::vector<ProfileFinding> findings;
  const ProfileErrors& errors = document.result.errors;
  for (const ProfileError& error : errors.kept()) findings.push_back(findingOf(error));
  if (errors.count() > errors.kept().size()) {
    const std::string more = std::to_string(errors.count() - errors.kept().size());
    findings.push_back(
        {Severity::Error, errors.kept().back().position, more + " more errors follow", "mend these first"});
  }
  return findings;
}

}  // namespace vanto::tool
