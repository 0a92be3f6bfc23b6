// SPDX-License-Identifier: Apache-2.0
#include "vantoproxy/ServiceEnvironment.h"

#include <cerrno>
#include <charconv>

#include "vantoproxy/SystemCall.h"
#include "vantoproxy/Variables.h"

namespace vanto {

namespace {

using namespace std::string_view_literals;

/// What says who the user is, where, and in which language; and what managers tell services.
constexpr std::string_view kept[] = {"HOME"sv,          "LANG"sv,   "LANGUAGE"sv, "LOGNAME"sv, "NOTIFY_SOCKET"sv,
                                     "PATH"sv,          "TMPDIR"sv, "TZ"sv,       "USER"sv,    "XDG_RUNTIME_DIR"sv,
                                     "XDG_SESSION_ID"sv};

/// What the proxy alone decides on, so that no list can bring in the variables of another process.
constexpr std::string_view decided[] = {"LISTEN_FDS"sv,     "LISTEN_FDNAMES"sv, "LISTEN_PID"sv,
                                        "LISTEN_PIDFDID"sv, keepVariable,       execStatusVariable};

constexpr char defaultPath[] = "PATH=/usr/local/bin:/usr/bin:/bin";
constexpr std::string_view listenPidPrefix = "LISTEN_PID=";

/// Not starts_with(), behind which the C++ library's exceptions stand.
bool isOfLocale(std::string_view name) noexcept {
  constexpr std::string_view prefix = "LC_";
  return name.size() >= prefix.size() && std::string_view(name.data(), prefix.size()) == prefix;
}

template <std::size_t count>
bool isIn(const std::string_view (&names)[count], std::string_view name) noexcept {
  for (const std::string_view each : names) {
    if (each == name) return true;
  }
  return false;
}

bool isListed(std::string_view list, std::string_view name) noexcept {
  for (;;) {
    const std::size_t colon = list.find(':');
    if (colon == std::string_view::npos) return list == name;
    if (std::string_view(list.data(), colon) == name) return true;
    list.remove_prefix(colon + 1);
  }
}

bool isForService(const char* entry, const char* list, const Handover& handover) noexcept {
  const std::string_view name = nameOf(entry);
  if (name.empty()) return false;
  if (isIn(decided, name)) return handover.listeners > 0 && (name == "LISTEN_FDS" || name == "LISTEN_FDNAMES");
  // Programs take an empty path for the working directory.
  if (name == "PATH" && *valueOf(entry) == '\0') return false;
  return isIn(kept, name) || isOfLocale(name) || isListed(list, name);
}

}  // namespace

bool ServiceEnvironment::has(std::string_view name) const noexcept {
  for (int i = 0; i < count_; i++) {
    if (nameOf(variables_[i]) == name) return true;
  }
  return false;
}

ServiceEnvironment::Room ServiceEnvironment::add(const char* entry) noexcept {
  if (has(nameOf(entry))) return Room::Left;
  if (count_ == maximumVariables) return Room::Used;
  variables_[count_++] = entry;
  return Room::Left;
}

ServiceEnvironment::Room ServiceEnvironment::addListenPid() noexcept {
  char* end = listenPid_;
  for (const char character : listenPidPrefix) *end++ = character;
  std::to_chars(end, listenPid_ + sizeof listenPid_ - 1, systemCall(SYS_getpid));
  return add(listenPid_);
}

Failure ServiceEnvironment::fill(char* const* given, const Handover& handover) noexcept {
  const char* list = findValue(given, keepVariable);
  if (list == nullptr) list = "";
  Room room = Room::Left;
  for (; *given != nullptr && room == Room::Left; given++) {
    if (isForService(*given, list, handover)) room = add(*given);
  }
  if (room == Room::Left) room = add(defaultPath);
  if (room == Room::Left && handover.listeners > 0) room = addListenPid();
  if (room == Room::Left) return {};
  return {ExecStage::Handover, E2BIG, "the service would have more than 256 variables", "set fewer of them"};
}

}  // namespace vanto
