// SPDX-License-Identifier: Apache-2.0
#include "vanto/TrustRemoveCommand.h"

#include <cerrno>
#include <cstring>

#include <unistd.h>

#include "code/KeyName.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {

ExitStatus TrustRemoveCommand::run(Console& console) const {
  if (!code::isKeyName(name)) {
    console.complain(visible(name) + ": " + code::keyNameRule);
    return ExitStatus::Failed;
  }
  const std::string path = places.fileNamed(name);
  if (unlink(path.c_str()) != 0) {
    console.complain(visible(path) + ": cannot be removed: " + std::strerror(errno));
    return ExitStatus::Failed;
  }
  console.printLine(visible(path) + ": removed");
  return ExitStatus::Fine;
}

}  // namespace vanto::tool
