// SPDX-License-Identifier: Apache-2.0
#include "vanto/SystemdUnits.h"

#include <algorithm>
#include <cstddef>

#include <unistd.h>

#include <VantoService/PlistNumber.h>
#include <VantoService/PlistString.h>
#include <VantoService/vanto.h>

#include "ipc/EscapedName.h"
#include "vanto/ManagerDomain.h"
#include "vanto/ServiceJob.h"
#include "vanto/SystemdText.h"
#include "vanto/VisibleText.h"

namespace vanto::tool {
namespace {

/// What the address of a socket, and the name of a unit, have room for.
constexpr std::size_t mostPathBytes = 107;
constexpr std::size_t mostUnitBytes = 255;

/// What the units are made of.
struct Parts {
  ManagerDomain domain = ManagerDomain::User;
  /// The file name of the socket.
  std::string name;
  std::string command;
  bool isMultiple = false;
  std::string account;

  [[nodiscard]] std::string path(const std::string& userDirectory) const {
    return (domain == ManagerDomain::System ? "/run" : userDirectory) + "/vanto/" +
           (domain == ManagerDomain::System ? "" : "user/") + name;
  }
};

/// Of the path of what is executed systemd takes no other characters, however they are quoted.
bool isExecutedBySystemd(const std::string& path) {
  return std::none_of(path.begin(), path.end(),
                      [](char c) { return (c >= 0 && c < ' ') || c == '\x7f' || c == '"' || c == '\'' || c == '\\'; });
}

std::nullopt_t fail(std::string& problem, std::string text) {
  problem = std::move(text);
  return std::nullopt;
}

bool isTrue(Object* value) {
  const auto* number = as<PlistNumber>(value);
  const auto* boolean = as<PlistBoolean>(value);
  return boolean != nullptr ? boolean->value() : number != nullptr && number->doubleValue() != 0;
}

/// The command line of a job, by the proxy that is here; empty when it has none that can be executed.
std::string commandOf(const PlistDictionary& job, const std::string& proxy) {
  const std::string_view executable = executableOfJob(job);
  if (executable.empty() || executable.find('\0') != executable.npos) return {};
  return SystemdText::program(proxy) + " " + SystemdText::argument(executable);
}

/// A name that a unit can hold as it is; anything else could be more than a name there.
bool isAccount(const std::string& account) {
  const auto isAllowed = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '-';
  };
  return !account.empty() && account.front() != '-' && std::all_of(account.begin(), account.end(), isAllowed);
}

std::optional<Parts> partsOf(const PlistDictionary& job, const std::string& account, const std::string& proxy,
                             std::string& problem) {
  const std::optional<ManagerDomain> domain = domainOfJob(job, problem);
  if (!domain) return std::nullopt;
  if (*domain == ManagerDomain::Session) {
    return fail(problem, "it is a service of each session, and systemd has units of the user and of the system only");
  }
  const auto* label = as<PlistString>(job.valueForKey("Label"));
  if (label == nullptr || !vanto_service_name_is_valid(std::string(label->text()).c_str()) ||
      label->text().find('\0') != label->text().npos) {
    return fail(problem, "its label cannot be the name of a service");
  }
  Parts parts{
      *domain, escapedName(label->text()), commandOf(job, proxy), isTrue(job.valueForKey("MultipleInstances")), {}};
  if (parts.command.empty()) return fail(problem, "its job has no command line that can be executed");
  if (!isExecutedBySystemd(proxy)) {
    return fail(problem, "systemd does not execute " + visible(proxy) +
                             ", for the characters in its path; say with --proxy where else vantoproxy is");
  }
  if (*domain == ManagerDomain::System && account.empty()) {
    return fail(problem, "it is a service of the system; say with --account which user it shall run as");
  }
  if (*domain == ManagerDomain::User && !account.empty()) {
    return fail(problem, "it is a service of the user and runs as that one; --account is for those of the system");
  }
  if (!account.empty() && !isAccount(account)) return fail(problem, visible(account) + " is no name of a user");
  parts.account = account;
  const std::size_t length = parts.path("/run/user/" + std::to_string(getuid())).size();
  if (length > mostPathBytes) {
    return fail(problem, "the path of its socket has " + std::to_string(length) + " bytes, and systemd takes " +
                             std::to_string(mostPathBytes) + " at most");
  }
  return parts;
}

std::string socketText(const Parts& parts) {
  const bool isSystem = parts.domain == ManagerDomain::System;
  std::string text =
      "# Made by vanto units. Where clients find the service; systemd keeps it between its runs.\n[Unit]\n";
  text += "Description=Socket of the service " + SystemdText::value(parts.name) + "\n\n[Socket]\n";
  Parts escaped = parts;
  escaped.name = SystemdText::value(parts.name);
  text += "ListenSequentialPacket=" + escaped.path("%t") + "\n";
  text += "FileDescriptorName=" + escaped.name + "\n";
  text += std::string("Accept=") + (parts.isMultiple ? "yes" : "no") + "\n";
  text += std::string("SocketMode=") + (isSystem ? "0666" : "0600") + "\n";
  text += std::string("DirectoryMode=") + (isSystem ? "0755" : "0700") + "\n";
  return text + "PassCredentials=yes\nRemoveOnStop=yes\n\n[Install]\nWantedBy=sockets.target\n";
}

constexpr const char* differences =
    "# Made by vanto units. What is not as under tolvend:\n"
    "# - it is never asked to leave when nobody uses it, and runs until it is stopped;\n"
    "# - a client that waits is not told why a start failed; what the service writes is in the journal;\n"
    "# - systemd does not start it ever again after pauses that grow, but gives its socket up after a few failures\n"
    "#   in a short time: systemctl reset-failed, then start the socket.\n";

constexpr const char* differencesOfMany =
    "# Made by vanto units. Each connection has an instance of its own. What is not as under tolvend:\n"
    "# - a client is not told why a start failed; what the service writes is in the journal;\n"
    "# - how many instances there can be, and how fast they follow each other, is up to MaxConnections= and\n"
    "#   TriggerLimitBurst= of the socket.\n";

std::string serviceText(const Parts& parts, const std::string& socketName) {
  std::string text = parts.isMultiple ? differencesOfMany : differences;
  text += "[Unit]\nDescription=Service " + SystemdText::value(parts.name) + "\n";
  text += parts.isMultiple ? "CollectMode=inactive-or-failed\n" : "Requires=" + SystemdText::value(socketName) + "\n";
  text += "\n[Service]\nType=simple\n";
  text += "ExecStart=" + parts.command + "\n";
  if (!parts.account.empty()) text += "User=" + parts.account + "\n";
  return text + "KillMode=mixed\nTimeoutStopSec=20s\nRestart=no\n";
}

}  // namespace

std::optional<SystemdUnits> SystemdUnits::of(const PlistDictionary& job, const std::string& account,
                                             const std::string& proxy, std::string& problem) {
  const std::optional<Parts> parts = partsOf(job, account, proxy, problem);
  if (!parts) return std::nullopt;
  const std::string name = SystemdText::unitName(parts->name);
  SystemdUnits units;
  units.socketName = name + ".socket";
  units.serviceName = name + (parts->isMultiple ? "@.service" : ".service");
  if (units.serviceName.size() > mostUnitBytes) {
    return fail(problem, "its name is too long for that of a systemd unit");
  }
  units.socket = socketText(*parts);
  units.service = serviceText(*parts, units.socketName);
  return units;
}

}  // namespace vanto::tool
