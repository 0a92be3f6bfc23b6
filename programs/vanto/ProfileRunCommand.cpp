// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileRunCommand.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <optional>
#include <string_view>

#include <unistd.h>

#include "sandbox/Confinement.h"
#include "sandbox/OwnNeeds.h"
#include "sandbox/PolicyExplanation.h"
#include "vanto/ProfileDocument.h"
#include "vanto/ProgramSearch.h"
#include "vanto/RealPlaces.h"
#include "vanto/ReceiptText.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// What a profile lacks that refused to execute `program`. To be asked before confinement, which hides files.
std::string lackOf(const Policy& policy, const std::string& program) {
  const std::string path = realPath(program);
  const Policy real = withRealPaths(policy);
  RightSet lacking;
  for (const Right right : {Right::Read, Right::Execute}) {
    if (explainPath(real, right, path).empty()) lacking |= right;
  }
  if (lacking.isEmpty()) return "the profile may not allow read,execute for its loader or interpreter";
  return "the profile does not allow " + namesOf(lacking, ",") + " at " + visible(path);
}

/// The parameters that stand for themselves, which here is in vain.
void warnOfPlaceholders(Console& console, const Policy& policy, const ProfileValues& values) {
  RightSet rights;
  for (const Right right : allRights) rights |= right;
  const std::string unknown = values.placeholdersIn(policy, rights);
  if (unknown.empty()) return;
  console.complain("no rule for what " + unknown +
                   " stands for, which is not known; say with --bundle, or --parameter");
}

void execute(const std::string& program, const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  // Ignored by this program only.
  std::signal(SIGXFSZ, SIG_DFL);
  execv(program.c_str(), arguments.data());
}

/// Confines the process and executes the command; gives what prevented it, visible.
std::string runConfined(Console& console, const Policy& policy, const ProfileValues& values,
                        const std::vector<std::string>& command) {
  const std::string program = programNamed(command.front());
  if (program.empty()) return visible(command.front()) + ": there is no such program";
  warnOfPlaceholders(console, policy, values);
  const std::string lack = lackOf(policy, program);
  const Receipt receipt = Confinement().enter(policy, ownNeedsOf(values.identifier(), ListeningSocket::Made));
  if (!receipt.error.empty()) return "not confined: " + visible(receipt.error);
  for (const std::string& message : messagesOf(receipt, values)) console.complain(message);
  console.flush();
  execute(program, command);
  const int error = errno;
  const bool isRefusal = error == EACCES || error == EPERM;
  return visible(program) + ": not executed: " + std::strerror(error) + (isRefusal ? "; " + lack : "");
}

}  // namespace

ExitStatus ProfileRunCommand::run(Console& console) const {
  std::string problem;
  const auto values = ProfileValues::of(choice, problem);
  const auto document = values ? ProfileDocument::readGood(file, *values, problem) : std::nullopt;
  if (document) problem = runConfined(console, *document->result.policy, *values, command);
  console.complain(problem);
  return ExitStatus::Failed;
}

}  // namespace vanto::tool
