// SPDX-License-Identifier: Apache-2.0
#include <cerrno>
#include <csignal>

#include <fcntl.h>

#include <VantoService/TemporaryScope.h>

#include "vanto/CommandLine.h"

namespace {

/// Fills what is closed of the standard descriptors, so that no file or connection takes its place and is written to as
/// if it were the output. What fills it cannot be written.
void fillStandardDescriptors() {
  for (int descriptor = 0; descriptor <= 2; ++descriptor) {
    // The lowest free number is this one.
    if (fcntl(descriptor, F_GETFD) < 0 && errno == EBADF) static_cast<void>(open("/dev/null", O_RDONLY));
  }
}

}  // namespace

int main(int argc, char** argv) {
  using vanto::tool::ExitStatus;
  fillStandardDescriptors();
  // A limit on the size of files then is an error of writing like others.
  std::signal(SIGXFSZ, SIG_IGN);
  const vanto::TemporaryScope scope;
  vanto::tool::Console console = vanto::tool::Console::ofProcess();
  ExitStatus status = vanto::tool::runCommandLine(argc, argv, console);
  if (!console.finish()) status = ExitStatus::Failed;
  return static_cast<int>(status);
}
