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

/// How a call names the file that it opens.
using Naming = Path (RunRecord::*)(const TraceLine& line, std::size_t index);

/// What the program has written at `index` counts only where the descriptor does not tell where that leads to.
void opened(const TraceLine& line, Naming naming, std::size_t index, const TraceValue& flagsArgument,
            RunRecord& record) {
  const auto flags = flagsArgument.number();
  if (!flags) return record.remarkUnreadable(line);
  const auto place = line.result.place();
  // What is behind a descriptor without a path, such as a pipe, is in nobody's directory.
  if (isSet(*flags, O_PATH) || (place && !place->hasPath())) return;
  const Path path = place ? place->path : (record.*naming)(line, index);
  if (!path) return;
  if (place && place->isDeleted) record.facts.nameless.insert(*path);
  if (isSet(*flags, O_CREAT)) record.openOrMake(*path);
  if (isSet(*flags, O_CREAT | O_EXCL)) record.make(*path);
  if (place && !place->kind.empty()) record.devices.insert(*path);
  if (isSet(*flags, O_DIRECTORY) && !isSet(*flags, O_TMPFILE)) return record.list(*path);
  record.use(*path, rightsOf(*flags));
}

void readOpen(const TraceLine& line, RunRecord& record) {
  opened(line, &RunRecord::pathIn, 0, line.argument(1), record);
}

void readOpenAt(const TraceLine& line, RunRecord& record) {
  opened(line, &RunRecord::pathAt, 1, line.argument(2), record);
}

void readOpenAt2(const TraceLine& line, RunRecord& record) {
  opened(line, &RunRecord::pathAt, 1, line.argument(2).field("flags").value_or(TraceValue()), record);
}

void readCreat(const TraceLine& line, RunRecord& record) {
  static const std::string flags = std::to_string(O_CREAT | O_WRONLY | O_TRUNC);
  opened(line, &RunRecord::pathIn, 0, TraceValue(flags), record);
}

void made(const Path& path, RunRecord& record) {
  if (path) record.make(*path);
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

void readRemove(const TraceLine& line, RunRecord& record) {
  if (const Path path = record.pathIn(line, 0)) record.remove(*path);
}

void readRemoveDirectory(const TraceLine& line, RunRecord& record) {
  if (const Path path = record.pathIn(line, 0)) record.removeDirectory(*path);
}

void readRemoveAt(const TraceLine& line, RunRecord& record) {
  const Path path = record.pathAt(line, 1);
  if (!path) return;
  if (isSet(line.argument(2).number().value_or(AT_REMOVEDIR), AT_REMOVEDIR)) {
    record.removeDirectory(*path);
  } else {
    record.remove(*path);
  }
}

/// What a socket takes the place of is no directory. Of all else it is not known what it is.
void movedSocket(const std::string& from, const std::string& to, std::int64_t flags, RunRecord& record) {
  record.remove(from);
  record.makeSocket(to);
  if (!isSet(flags, RENAME_NOREPLACE)) record.remove(to);
}

void movedAny(const std::string& from, const std::string& to, std::int64_t flags, RunRecord& record) {
  record.removeDirectory(from);
  record.make(to);
  // Another run finds there what this one has put there.
  if (!isSet(flags, RENAME_NOREPLACE)) record.removeDirectory(to);
  if (!isSet(flags, RENAME_EXCHANGE)) return;
  record.facts.moved.emplace(to, from);
  record.make(from);
}

void moved(const Path& from, const Path& to, std::int64_t flags, RunRecord& record) {
  if (!from || !to) return;
  record.facts.moved.emplace(*from, *to);
  const bool isSocket = record.facts.sockets.contains(*from) && !isSet(flags, RENAME_EXCHANGE);
  return isSocket ? movedSocket(*from, *to, flags, record) : movedAny(*from, *to, flags, record);
}

void readRename(const TraceLine& line, RunRecord& record) {
  moved(record.pathIn(line, 0), record.pathIn(line, 1), 0, record);
}

void readRenameAt(const TraceLine& line, RunRecord& record) {
  moved(record.pathAt(line, 1), record.pathAt(line, 3), line.argument(4).number().value_or(0), record);
}

void linked(const Path& from, const Path& to, RunRecord& record) {
  if (!to) return;
  // A file without a name is in the directory that it was opened in, as far as the kernel cares.
  if (from) record.facts.moved.emplace(*from, *to);
  record.make(*to);
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
    CallReader{"rmdir", &readRemoveDirectory},
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
