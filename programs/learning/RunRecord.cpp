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

std::optional<std::string> RunRecord::pathIn(const TraceLine& line, std::size_t index) {
  const auto path = line.argument(index).bytes();
  std::string absolute = path ? processes.absolute(line.process, *path) : std::string();
  if (!absolute.empty()) return absolute;
  remarkUnreadable(line);
  return std::nullopt;
}

std::optional<std::string> RunRecord::pathAt(const TraceLine& line, std::size_t index) {
  const TraceValue directory = line.argument(index - 1);
  const auto place = directory.place();
  const bool isOwn = directory.number() == AT_FDCWD;
  if (isOwn && place && !place->isDeleted) processes.enter(line.process, place->path);
  if (isOwn && !place) return pathIn(line, index);
  const auto path = line.argument(index).bytes();
  if (path && (path->starts_with('/') || place)) return joined(place ? place->path : "", *path);
  remarkUnreadable(line);
  return std::nullopt;
}

void RunRecord::use(const std::string& path, RightSet rights) {
  std::string_view rest = path;
  const std::int64_t process = processIn(rest);
  if (process == 0) {
    facts.used[path] |= rights;
  } else if (process == processes.command()) {
    facts.used["/proc/self" + std::string(rest)] |= rights;
  } else {
    facts.used["/proc"] |= rights;
    remark("/proc is allowed because of what lies there for other processes than the first, which nothing can name");
  }
}

void RunRecord::remarkUnreadable(const TraceLine& line) {
  remark("what " + std::string(line.name) + " was called with could not be read, so nothing is allowed for it");
}

void RunRecord::remarkRefused(std::string_view what) {
  remark(std::string(what) + " was used, which no profile allows");
}

}  // namespace vanto::learning
