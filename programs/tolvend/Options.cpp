// SPDX-License-Identifier: Apache-2.0
#include "tolvend/Options.h"

#include <charconv>
#include <cstdlib>
#include <string_view>
#include <utility>

#include <getopt.h>
#include <unistd.h>

namespace vanto::manager {

namespace {

enum Option : int { DomainOption = 256, Proxy, Idle, Floor, Keep, LogSocket, Account, Ephemeral, Help, Version };

constexpr option options[] = {
    {"domain", required_argument, nullptr, DomainOption},
    {"proxy", required_argument, nullptr, Proxy},
    {"idle", required_argument, nullptr, Idle},
    {"floor", required_argument, nullptr, Floor},
    {"keep", required_argument, nullptr, Keep},
    {"log-socket", required_argument, nullptr, LogSocket},
    {"account", required_argument, nullptr, Account},
    {"ephemeral", required_argument, nullptr, Ephemeral},
    {"help", no_argument, nullptr, Help},
    {"version", no_argument, nullptr, Version},
    {nullptr, 0, nullptr, 0},
};

constexpr std::uint64_t nanosecondsPerSecond = 1'000'000'000;
/// A hundred years.
constexpr std::uint64_t longestIdle = 3'153'600'000;

std::string takeDomain(std::string_view word, Domain& domain) {
  if (word == "session") {
    domain = Domain::Session;
  } else if (word == "user") {
    domain = Domain::User;
  } else if (word == "system") {
    domain = Domain::System;
  } else {
    return "--domain must be session, user or system";
  }
  return {};
}

std::string takePath(const char* option, std::string_view given, std::string& path) {
  if (given.empty()) return std::string(option) + " needs a path";
  path = given;
  if (given.front() == '/') return {};
  char* const here = getcwd(nullptr, 0);
  if (here == nullptr) return std::string(option) + " needs an absolute path, since there is no working directory";
  path = std::string(here) + "/" + path;
  std::free(here);
  return {};
}

std::string takeIdle(std::string_view given, std::uint64_t& idle) {
  std::uint64_t seconds = 0;
  const auto [end, error] = std::from_chars(given.data(), given.data() + given.size(), seconds);
  if (error != std::errc() || end != given.data() + given.size() || seconds > longestIdle) {
    return "--idle must be a whole number of seconds, 0 for never";
  }
  idle = seconds * nanosecondsPerSecond;
  return {};
}

std::string takeFloor(std::string_view word, ConfinementLevel& floor) {
  const std::optional<ConfinementLevel> level = levelNamed(word);
  if (!level) return "--floor must be full, reduced or none";
  floor = *level;
  return {};
}

std::string takeName(std::string_view given, std::vector<std::string>& names) {
  if (given.empty() || given.find_first_of("=:") != std::string_view::npos) {
    return "--keep must be the name of one variable";
  }
  names.emplace_back(given);
  return {};
}

std::string take(int option, const char* value, Options& taken) {
  switch (option) {
    case DomainOption:
      return takeDomain(value, taken.domain);
    case Proxy:
      return takePath("--proxy", value, taken.proxy);
    case Idle:
      return takeIdle(value, taken.idle);
    case Floor:
      return takeFloor(value, taken.floor);
    case Keep:
      return takeName(value, taken.keep);
    case LogSocket:
      return takePath("--log-socket", value, taken.logSocket);
    case Account:
      taken.account = value;
      return taken.account.empty() ? "--account needs the name of a user" : "";
    default:
      return takePath("--ephemeral", value, taken.ephemeral);
  }
}

/// What options together make no sense.
std::string contradiction(const Options& given) {
  if (given.ephemeral.empty() != given.command.empty()) {
    return given.command.empty() ? "--ephemeral needs a command after --" : "only --ephemeral takes a command";
  }
  if (!given.ephemeral.empty() && given.domain != Domain::User) return "--ephemeral is for the user's domain";
  if (given.domain == Domain::System && given.account.empty()) {
    return "--domain system needs --account USER, the user as whom services run; --account root if that is meant";
  }
  if (given.domain != Domain::System && !given.account.empty()) return "--account is for --domain system";
  return {};
}

ParsedOptions wrong(std::string error) {
  ParsedOptions parsed;
  parsed.wish = ParsedOptions::Wish::Wrong;
  parsed.error = std::move(error);
  return parsed;
}

}  // namespace

ParsedOptions parseOptions(int count, char* const* arguments) {
  ParsedOptions parsed;
  // Starts over, silently, and at the first argument that is none stops.
  optind = 0;
  opterr = 0;
  for (;;) {
    const int at = optind > 0 ? optind : 1;
    const int option = getopt_long(count, arguments, "+:h", ::vanto::manager::options, nullptr);
    if (option == -1) break;
    const std::string given = at < count ? arguments[at] : "";
    if (option == '?') return wrong("there is no option " + given);
    if (option == ':') return wrong(given + " needs a value");
    if (option == Help || option == 'h') parsed.wish = ParsedOptions::Wish::Help;
    if (option == Version) parsed.wish = ParsedOptions::Wish::Version;
    if (parsed.wish != ParsedOptions::Wish::Run) return parsed;
    if (std::string error = take(option, optarg, parsed.options); !error.empty()) return wrong(std::move(error));
  }
  parsed.options.command.assign(arguments + optind, arguments + count);
  if (std::string error = contradiction(parsed.options); !error.empty()) return wrong(std::move(error));
  return parsed;
}

const char* helpText() noexcept {
  return R"(tolvend starts services when somebody connects to them, and looks after them.

Usage: tolvend [OPTION]...
       tolvend [OPTION]... --ephemeral DIR -- COMMAND [ARGUMENT]...

      --domain DOMAIN    session, user (the default) or system
      --account USER     in the system domain, the user as whom services run
      --proxy FILE       what services are started through; /usr/libexec/vantoproxy, or
                         where nothing is there, ../libexec/vantoproxy beside tolvend
      --idle SECONDS     how long a service is idle before it may leave; 30, 0 for never
      --floor LEVEL      end services that are confined less: full or reduced; none
      --keep NAME        a further variable of the environment for services; repeatable
      --log-socket PATH  take what services write to the system log, where nobody else does
      --ephemeral DIR    a manager of its own in DIR, for the time that COMMAND runs
  -h, --help             this text
      --version          the version

It stays in the foreground, and writes what is wrong to standard error. SIGTERM ends it
with all services. Jobs are given to it with the tool vanto.

Exit status: 0 it was ended, 1 it could not go on, 2 wrong usage, 75 there is a manager
already; with --ephemeral that of COMMAND, 128 and the signal's number if that ended it.
)";
}

}  // namespace vanto::manager
