// SPDX-License-Identifier: Apache-2.0
#include <csignal>

#include <VantoService/TemporaryScope.h>

#include "vanto/CodeCommandLine.h"

int main(int argc, char** argv) {
  using vanto::tool::ExitStatus;
  // A limit on the size of files then is an error of writing like others.
  std::signal(SIGXFSZ, SIG_IGN);
  const vanto::TemporaryScope scope;
  vanto::tool::Console console = vanto::tool::Console::ofProcess();
  ExitStatus status = vanto::tool::runCodeCommandLine(argc, argv, console);
  if (!console.finish()) status = ExitStatus::Failed;
  return static_cast<int>(status);
}
