// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <vector>

#include "vanto/Console.h"
#include "vanto/ExitStatus.h"

namespace vanto::tool {

/// `vanto profile learn`: runs a command, and writes the least profile that allows what it did.
struct ProfileLearnCommand {
  /// Where to write; empty for the output, behind that of the command.
  std::string output;
  /// Replaces a file that is there.
  bool isForced = false;
  /// The service that the command is; empty for none.
  std::string bundle;
  /// Its name or path, and its arguments.
  std::vector<std::string> command;

  /// Whatever the command ends with, once the profile is written; a signal that has ended it ends this process too.
  [[nodiscard]] ExitStatus run(Console& console) const;

 private:
  [[nodiscard]] std::string learn(Console& console, int& status) const;
  [[nodiscard]] std::string write(Console& console, const std::string& text) const;
};

}  // namespace vanto::tool
