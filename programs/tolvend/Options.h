// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "ipc/Domain.h"
#include "sandbox/Receipt.h"

namespace vanto::manager {

/// What the manager is told on its command line.
struct Options {
  Domain domain = Domain::User;
  /// The file that is executed as the proxy; empty for the one that is installed.
  std::string proxy;
  /// In nanoseconds; 0 for never.
  std::uint64_t idle = 30'000'000'000;
  /// Names of further variables that services shall have.
  std::vector<std::string> keep;
  /// How far services must be confined.
  ConfinementLevel floor = ConfinementLevel::None;
  /// Empty for none.
  std::string logSocket;
  std::string account;
  std::string ephemeral;
  /// What --ephemeral runs; not empty exactly with it.
  std::vector<std::string> command;
};

struct ParsedOptions {
  enum class Wish : std::uint8_t { Run, Help, Version, Wrong } wish = Wish::Run;
  Options options;
  /// What is wrong.
  std::string error;
};

/// Reads a command line. Paths become absolute.
[[nodiscard]] ParsedOptions parseOptions(int count, char* const* arguments);

/// What --help prints.
[[nodiscard]] const char* helpText() noexcept;

}  // namespace vanto::manager
