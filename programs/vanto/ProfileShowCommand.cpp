// SPDX-License-Identifier: Apache-2.0
#include "vanto/ProfileShowCommand.h"

#include "sandbox/BaseProfiles.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {

ExitStatus ProfileShowCommand::run(Console& console) const {
  if (name.empty()) {
    for (const BaseProfile& profile : baseProfiles()) console.printLine(profile.name);
    return ExitStatus::Fine;
  }
  const BaseProfile* const profile = baseProfileNamed(name);
  if (profile != nullptr) {
    console.print(profile->text);
    return ExitStatus::Fine;
  }
  console.complain(visible(name) + ": there is no such base profile; vanto profile show lists them");
  return ExitStatus::Failed;
}

}  // namespace vanto::tool
