// SPDX-License-Identifier: Apache-2.0
#include <cstdio>
#include <utility>

#include "runtime/LogText.h"
#include "tolvend/Manager.h"

int main(int argc, char** argv) {
  using namespace vanto::manager;
  ParsedOptions parsed = parseOptions(argc, argv);
  switch (parsed.wish) {
    case ParsedOptions::Wish::Help:
      return std::fputs(helpText(), stdout) >= 0 && std::fflush(stdout) == 0 ? ExitStatus::Ended : ExitStatus::Failed;
    case ParsedOptions::Wish::Version:
      return std::puts(VANTO_MANAGER_VERSION) >= 0 && std::fflush(stdout) == 0 ? ExitStatus::Ended : ExitStatus::Failed;
    case ParsedOptions::Wish::Wrong:
      std::fprintf(stderr, "tolvend: %s; see tolvend --help\n", vanto::LogText(parsed.error).utf8());
      return ExitStatus::WrongUsage;
    case ParsedOptions::Wish::Run:
      break;
  }
  Manager manager(std::move(parsed.options));
  manager.run();
}
