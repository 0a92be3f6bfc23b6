// SPDX-License-Identifier: Apache-2.0
#include <csignal>

#include <VantoService/TemporaryScope.h>

#include "vanto/CodeProgram.h"
#include "vanto/CommandLine.h"

int main(int argc, char** argv) {
  using vanto::tool::ExitStatus;
  // A limit on the size of files then is an error of writing like others.
  std::signal(SIGXFSZ, SIG_IGN);
  const vanto::TemporaryScope scope;
  vanto::tool::Console console = vanto::tool::Console::ofProcess();
  if (argc > 1 && vanto::tool::isCodeCommand(argv[1])) {
    vanto::tool::executeCodeProgram(VANTO_CODE_PROGRAM, argv, console);
    return static_cast<int>(ExitStatus::Failed);
  }
  ExitStatus status = vanto::tool::runCommandLine(argc, argv, console);
  if (!console.finish()) status = ExitStatus::Failed;
  return static_cast<int>(status);
}
