// SPDX-License-Identifier: Apache-2.0

// The manager as it is, but for how long it waits: what takes seconds in life takes a fraction in its tests.
#include <cstdio>
#include <utility>

#include "tolvend/Manager.h"

int main(int argc, char** argv) {
  using namespace vanto::manager;
  ParsedOptions parsed = parseOptions(argc, argv);
  if (parsed.wish != ParsedOptions::Wish::Run) return ExitStatus::WrongUsage;
  LifeCycleTimes times;
  times.listening = 500'000'000;
  times.looking = 50'000'000;
  times.ending = 1'000'000'000;
  Manager manager(std::move(parsed.options), times);
  manager.run();
}
