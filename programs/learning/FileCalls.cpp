// SPDX-License-Identifier: Apache-2.0
#include "learning/FileCalls.h"

#include <array>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>

namespace vanto::learning {
namespace {

using Path = std::optional<std::string>;

bool isSet(std::int64_t flags, std::int64_t flag) noexcept {
  return (flags & flag) == flag;
}

RightSet rightsOf(std::int64_t flags) noexcept {
  RightSet rights;
  const std::int64_t mode = flags & O_ACCMODE;
  if (mode == O_RDONLY || mode == O_RDWR) rights |= Right::Read;
  if (mode == O_WRONLY || mode == O_RDWR) rights |= Right::Write;
  if (isSet(flags, O_TRUNC)) rights |= Right::Truncate;
  return rights;
}

/// `path` is what the program has written; where that leads to tells the descriptor.
void opened(const TraceLine& line, const Path& path, const TraceValue& flagsArgument, RunRecord& record) {
  const auto flags = flagsArgument.number();
  if (!flags) return record.remarkUnreadable(line);
  const auto place = line.result.place();
  const bool hasPath = place && !place->path.empty();
  // What is behind a descriptor without a path, such as a pipe, is in nobody's directory.
  if (isSet(*flags, O_PATH) || (place && !hasPath) || (hasPath && place->path.starts_with("/memfd:"))) return;
  if (!hasPath && !path) return;
  const std::string& real = hasPath ? place->path : *path;
  if (place && place->isDeleted) record.facts.nameless.insert(real);
  if (isSet(*flags, O_CREAT)) record.facts.openedOrMade.insert(real);
  if (isSet(*flags, O_CREAT | O_EXCL)) record.facts.made.insert(real);
  if (place && !place->kind.empty()) record.devices.insert(real);
  record.use(real, rightsOf(*flags));
}

void readOpen(const TraceLine& line, RunRecord& record) {
  opened(line, record.pathIn(line, 0), line.argument(1), record);
}

void readOpenAt(const TraceLine& line, RunRecord& record) {
  opened(line, record.pathAt(line, 1), line.argument(2), record);
}

void readOpenAt2(const TraceLine& line, RunRecord& record) {
  opened(line, record.pathAt(line, 1), line.argument(2).field("flags").value_or(TraceValue()), record);
}

void readCreat(const TraceLine& line, RunRecord& record) {
  static const std::string flags = std::to_string(O_CREAT | O_WRONLY | O_TRUNC);
  opened(line, record.pathIn(line, 0), TraceValue(flags), record);
}

void made(const Path& path, RunRecord& record) {
  if (path) record.facts.made.insert(*path);
}

void readMake(const TraceLine& line, RunRecord& record) {
  made(record.pathIn(line, 0), record);
}

void readMakeAt(const TraceLine& line, RunRecord& record) {
  made(record.pathAt(line, 1), record);
}

void madeNode(const Path& path, const TraceValue& mode, RunRecord& record) {
  const auto type = mode.number().value_or(0) & S_IFMT;
  if (type == S_IFCHR || type == S_IFBLK) return record.remarkRefused("making a device node");
  made(path, record);
}

void readMakeNode(const TraceLine& line, RunRecord& record) {
  madeNode(record.pathIn(line, 0), line.argument(1), record);
}

void readMakeNodeAt(const TraceLine& line, RunRecord& record) {
  madeNode(record.pathAt(line, 1), line.argument(2), record);
}

void readSymbolicLink(const TraceLine& line, RunRecord& record) {
  made(record.pathIn(line, 1), record);
}

void readSymbolicLinkAt(const TraceLine& line, RunRecord& record) {
  made(record.pathAt(line, 2), record);
}

void removed(const Path& path, RunRecord& record) {
  if (path) record.facts.removed.insert(*path);
}

void readRemove(const TraceLine& line, RunRecord& record) {
  removed(record.pathIn(line, 0), record);
}

void readRemoveAt(const TraceLine& line, RunRecord& record) {
  removed(record.pathAt(line, 1), record);
}

void moved(const Path& from, const Path& to, std::int64_t flags, RunRecord& record) {
  if (!from || !to) return;
  record.facts.moved.emplace(*from, *to);
  record.facts.removed.insert(*from);
  record.facts.made.insert(*to);
  // Another run finds there what this one has put there.
  if (!isSet(flags, RENAME_NOREPLACE)) record.facts.removed.insert(*to);
  if (!isSet(flags, RENAME_EXCHANGE)) return;
  record.facts.moved.emplace(*to, *from);
  record.facts.made.insert(*from);
}

void readRename(const TraceLine& line, RunRecord& record) {
  moved(record.pathIn(line, 0), record.pathIn(line, 1), 0, record);
}

void readRenameAt(const TraceLine& line, RunRecord& record) {
  moved(record.pathAt(line, 1), record.pathAt(line, 3), line.argument(4).number().value_or(0), record);
}

void linked(const Path& from, const Path& to, RunRecord& record) {
  if (!from || !to) return;
  // What a descriptor leads to has no name, or is told by another call; it comes from no directory here.
  if (!from->starts_with("/proc/")) record.facts.moved.emplace(*from, *to);
  record.facts.made.insert(*to);
}

void readLink(const TraceLine& line, RunRecord& record) {
  linked(record.pathIn(line, 0), record.pathIn(line, 1), record);
}

void readLinkAt(const TraceLine& line, RunRecord& record) {
  const auto flags = line.argument(4).number().value_or(0);
  const Path to = record.pathAt(line, 3);
  if (isSet(flags, AT_EMPTY_PATH) && line.argument(1).bytes() == "") return made(to, record);
  linked(record.pathAt(line, 1), to, record);
}

void readTruncate(const TraceLine& line, RunRecord& record) {
  if (const Path path = record.pathIn(line, 0)) record.use(*path, Right::Truncate);
}

constexpr std::array readers{
    CallReader{"open", &readOpen},
    CallReader{"openat", &readOpenAt},
    CallReader{"openat2", &readOpenAt2},
    CallReader{"creat", &readCreat},
    CallReader{"mkdir", &readMake},
    CallReader{"mkdirat", &readMakeAt},
    CallReader{"mknod", &readMakeNode},
    CallReader{"mknodat", &readMakeNodeAt},
    CallReader{"symlink", &readSymbolicLink},
    CallReader{"symlinkat", &readSymbolicLinkAt},
    CallReader{"unlink", &readRemove},
    CallReader{"unlinkat", &readRemoveAt},
    CallReader{"rmdir", &readRemove},
    CallReader{"rename", &readRename},
    CallReader{"renameat", &readRenameAt},
    CallReader{"renameat2", &readRenameAt},
    CallReader{"link", &readLink},
    CallReader{"linkat", &readLinkAt},
    CallReader{"truncate", &readTruncate},
};

}  // namespace

std::span<const CallReader> fileCalls() noexcept {
  return readers;
}

}  // namespace vanto::learning
