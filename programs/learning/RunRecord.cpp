// SPDX-License-Identifier: Apache-2.0
#include "learning/RunRecord.h"

#include <fcntl.h>

namespace vanto::learning {
namespace {

/// The process whose directory of /proc `path` is in or is; takes that directory off `path`. 0 for none.
std::int64_t processIn(std::string_view& path) {
  constexpr std::string_view directory = "/proc/";
  if (!path.starts_with(directory)) return 0;
  const std::string_view rest = path.substr(directory.size());
  const std::string_view name = rest.substr(0, rest.find('/'));
  if (name.empty() || name.find_first_not_of("0123456789") != std::string_view::npos) return 0;
  path = rest.substr(name.size());
  return TraceValue(name).number().value_or(0);
}

}  // namespace

std::optional<std::string> RunRecord::pathOf(const TraceLine& line, const TraceValue& written) {
  const auto path = written.bytes();
  std::string absolute = path ? processes.absolute(line.process, *path) : std::string();
  if (!absolute.empty()) return absolute;
  remarkUnreadable(line);
  return std::nullopt;
}

std::optional<std::string> RunRecord::pathAt(const TraceLine& line, std::size_t index) {
  const TraceValue directory = line.argument(index - 1);
  const auto place = directory.place();
  if (directory.number() == AT_FDCWD && !place) return pathIn(line, index);
  const auto path = line.argument(index).bytes();
  const std::string way = path ? joined(place ? place->path : "", *path) : std::string();
  std::string absolute = way.empty() ? way : processes.absolute(line.process, way);
  if (!absolute.empty()) return absolute;
  remarkUnreadable(line);
  return std::nullopt;
}

void RunRecord::takePlaces(const TraceLine& line) {
  for (const TraceValue& argument : line.arguments) takePlace(line.process, argument);
  takePlace(line.process, line.result);
}

void RunRecord::takePlace(std::int64_t thread, const TraceValue& value) {
  const auto place = value.place();
  const auto descriptor = place ? value.number() : std::nullopt;
  if (!descriptor) return;
  if (*descriptor >= 0) processes.open(thread, *descriptor, place->hasPath() ? place->path : std::string());
  if (*descriptor == AT_FDCWD && !place->isDeleted) processes.enter(thread, place->path);
}

void RunRecord::make(const std::string& path) {
  facts.made.insert(path);
  facts.sockets.erase(path);
}

void RunRecord::makeSocket(const std::string& path) {
  if (facts.made.insert(path).second && !facts.openedOrMade.contains(path)) facts.sockets.insert(path);
}

void RunRecord::openOrMake(const std::string& path) {
  facts.openedOrMade.insert(path);
  facts.sockets.erase(path);
}

void RunRecord::remove(const std::string& path) {
  facts.removed.insert(path);
}

void RunRecord::removeDirectory(const std::string& path) {
  facts.removed.insert(path);
  facts.removedDirectories.insert(path);
}

void RunRecord::use(const std::string& path, RightSet rights) {
  std::string_view rest = path;
  const std::int64_t process = processIn(rest);
  if (process == 0) {
    facts.used[path] |= rights;
  } else if (process == processes.command()) {
    facts.used["/proc/self" + std::string(rest)] |= rights;
  } else {
    facts.ofOtherProcesses |= rights;
  }
}

void RunRecord::list(const std::string& path) {
  std::string_view rest = path;
  const std::int64_t process = processIn(rest);
  const bool isOfOther = process != 0 && process != processes.command();
  use(isOfOther ? "/proc" : path, Right::Read);
}

void RunRecord::remarkUnreadable(const TraceLine& line) {
  remark("what " + std::string(line.name) + " was called with could not be read, so nothing is allowed for it");
}

void RunRecord::remarkRefused(std::string_view what) {
  remark(std::string(what) + " was used, which no profile allows");
}

}  // namespace vanto::learning
