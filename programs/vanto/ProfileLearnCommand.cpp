// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileLearnCommand.h"

#include <csignal>
#include <filesystem>
#include <system_error>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <time.h>

#include "sandbox/OwnNeeds.h"
#include "vanto/LearnedPolicy.h"
#include "vanto/LearnedProfile.h"
#include "vanto/ProfileValues.h"
#include "vanto/ProgramSearch.h"
#include "vanto/ReplacedFile.h"
#include "vanto/TracedRun.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

constexpr mode_t everyoneReads = 0644;

bool exists(const std::string& path) {
  struct stat status;
  return lstat(path.c_str(), &status) == 0;
}

/// Files get their times from this clock.
timespec now() noexcept {
  timespec time{};
  clock_gettime(CLOCK_REALTIME_COARSE, &time);
  return time;
}

std::string whyNotRun(const learning::RunObserver& observer, const std::string& program) {
  if (!observer.beginError().empty()) return visible(program) + ": not executed: " + observer.beginError();
  return "strace did not trace the command; it may not be allowed to, see ptrace(2)";
}

/// Ends as the command did.
ExitStatus endedLike(int status) {
  // Any number is one of an exit status.
  if (!WIFSIGNALED(status)) return static_cast<ExitStatus>(WEXITSTATUS(status));
  constexpr rlimit none{0, 0};
  setrlimit(RLIMIT_CORE, &none);
  std::signal(WTERMSIG(status), SIG_DFL);
  std::raise(WTERMSIG(status));
  constexpr int signalled = 128;
  return static_cast<ExitStatus>(signalled + WTERMSIG(status));
}

}  // namespace

std::string ProfileLearnCommand::write(Console& console, const std::string& text) const {
  if (!output.empty() && output != "-") {
    return writeFile(output, text, everyoneReads, isForced ? Existing::Replaced : Existing::Kept);
  }
  console.print(text);
  console.flush();
  return {};
}

/// A visible problem, or empty, and how the command ended.
std::string ProfileLearnCommand::learn(Console& console, int& status) const {
  if (!isForced && !output.empty() && exists(output)) return visible(output) + ": exists already; --force replaces it";
  const std::string tracer = programNamed("strace");
  if (tracer.empty()) return "strace, which traces the command, is not there; install it: apt-get install strace";
  const std::string program = programNamed(command.front());
  if (program.empty()) return visible(command.front()) + ": there is no such program";
  std::error_code error;
  const std::filesystem::path directory = std::filesystem::current_path(error);
  if (error) return "the working directory cannot be found out: " + error.message();
  std::string problem;
  const auto values = ProfileValues::of({bundle, {}}, problem);
  if (!values) return problem;
  // Before the run: directories that the platform makes are none that a service has to make.
  const std::vector<PlannedPath> given = ownNeedsOf(values->identifier(), ListeningSocket::Made);
  learning::RunObserver observer(directory.string());
  TracedRun run(tracer, observer);
  const timespec began = now();
  console.flush();
  problem = run.run(command);
  if (!problem.empty()) return problem;
  if (!observer.hasBegun()) return whyNotRun(observer, program);
  const auto purpose = bundle.empty() ? LearnedPolicy::Purpose::Command : LearnedPolicy::Purpose::Service;
  const LearnedPolicy policy = LearnedPolicy::of(observer.finish(), began, purpose, given);
  if (!policy.problem.empty()) return policy.problem;
  status = run.status();
  return write(console, profileTextOf(policy, command));
}

ExitStatus ProfileLearnCommand::run(Console& console) const {
  int status = 0;
  const std::string problem = learn(console, status);
  if (problem.empty()) return endedLike(status);
  console.complain(problem);
  return ExitStatus::Failed;
}

}  // namespace vanto::tool
