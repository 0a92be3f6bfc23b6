// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobStore.h"

#include <algorithm>
#include <cerrno>
#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "ipc/SocketName.h"
#include "process/Contents.h"
#include "tolvend/ErrorNumber.h"
#include "tolvend/JobIntake.h"
#include "value/limits.h"

namespace vanto::manager {

namespace {

constexpr char jobsFolder[] = "jobs";
constexpr char heldFolder[] = "held";
/// The name of a file while it is written, in its folder. Of a fixed length, as the name of a socket file can be as
/// long as any; one is enough, as there is one manager.
constexpr char unfinishedName[] = ".unfinished";

std::string pathOf(const char* folder, std::string_view name) {
  return std::string(folder) + "/" + std::string(name);
}

/// 0, or errno.
int writeAll(int file, std::string_view bytes) noexcept {
  while (!bytes.empty()) {
    const ssize_t written = write(file, bytes.data(), bytes.size());
    if (written < 0 && errno != EINTR) return errno;
    if (written > 0) bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return 0;
}

/// 0, or errno with no file left.
int writeUnfinished(int directory, const std::string& path, std::string_view bytes) noexcept {
  const Fd file(openat(directory, path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return errno;
  const int error = writeAll(file.get(), bytes);
  if (error != 0) unlinkat(directory, path.c_str(), 0);
  return error;
}

StoreFailure putFile(int directory, const char* folder, std::string_view label, std::string_view bytes) {
  const std::string path = pathOf(folder, socketFileName(label));
  const std::string unfinished = pathOf(folder, unfinishedName);
  if (const int error = writeUnfinished(directory, unfinished, bytes); error != 0) return {error, path};
  if (renameat(directory, unfinished.c_str(), directory, path.c_str()) == 0) return {};
  const int error = errno;
  unlinkat(directory, unfinished.c_str(), 0);
  return {error, path};
}

StoreFailure removeFile(int directory, const char* folder, std::string_view label) {
  const std::string path = pathOf(folder, socketFileName(label));
  if (unlinkat(directory, path.c_str(), 0) == 0 || errno == ENOENT) return {};
  return {errno, path};
}

bool isThere(int directory, const char* folder, std::string_view name) {
  struct stat status {};
  return fstatat(directory, pathOf(folder, name).c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0;
}

bool isDirectory(int directory, const char* folder, std::string_view name) {
  struct stat status {};
  return fstatat(directory, pathOf(folder, name).c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && S_ISDIR(status.st_mode);
}

/// The names in a folder, "." and ".." left out, in order. 0, or errno.
int listFolder(int directory, const char* folder, std::vector<std::string>& names) {
  Fd opened(openat(directory, folder, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  if (!opened) return errno;
  struct Close {
    void operator()(DIR* stream) const noexcept { closedir(stream); }
  };
  const std::unique_ptr<DIR, Close> stream(fdopendir(opened.get()));
  if (!stream) return errno;
  static_cast<void>(opened.release());
  errno = 0;
  while (const dirent* entry = readdir(stream.get())) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  if (errno != 0) return errno;
  std::ranges::sort(names);
  return 0;
}

/// Removes what was not finished, and marks of jobs that are not there, which would hold a later job of that label.
StoreFailure cleanFolder(int directory, const char* folder) {
  std::vector<std::string> names;
  if (const int error = listFolder(directory, folder, names); error != 0) return {error, folder};
  for (const std::string& name : names) {
    const bool isOrphan = folder == std::string_view(heldFolder) && !isThere(directory, jobsFolder, name);
    // A manager makes no directory there; one is named when the jobs are read.
    if ((name != unfinishedName && !isOrphan) || isDirectory(directory, folder, name)) continue;
    const std::string path = pathOf(folder, name);
    if (unlinkat(directory, path.c_str(), 0) != 0) return {errno, path};
  }
  return {};
}

/// What is wrong with a file before it is read, or nothing.
std::string judgeFile(int file) {
  struct stat status {};
  if (fstat(file, &status) != 0) return errorNumberText(errno);
  if (!S_ISREG(status.st_mode)) return "is no regular file";
  if (status.st_uid != geteuid()) return "belongs to user " + std::to_string(status.st_uid);
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) return "can be written by others";
  return {};
}

}  // namespace

std::string storeFailureText(const StoreFailure& failure) {
  return failure.file + ": " + errorNumberText(failure.error);
}

StoreFailure JobStore::prepare() {
  for (const char* folder : {jobsFolder, heldFolder}) {
    if (mkdirat(directory_.get(), folder, 0700) != 0 && errno != EEXIST) return {errno, folder};
    if (StoreFailure failure = cleanFolder(directory_.get(), folder)) return failure;
  }
  return {};
}

JobStore::Contents JobStore::read(Domain domain) const {
  Contents contents;
  std::vector<std::string> names;
  if (const int error = listFolder(directory_.get(), jobsFolder, names); error != 0) {
    contents.damages.push_back({jobsFolder, errorNumberText(error)});
  }
  for (const std::string& name : names) {
    StoredJob stored;
    if (std::string reason = readJob(name, domain, stored.job); !reason.empty()) {
      contents.damages.push_back({pathOf(jobsFolder, name), std::move(reason)});
      continue;
    }
    stored.isHeld = isThere(directory_.get(), heldFolder, name) && !isDirectory(directory_.get(), heldFolder, name);
    contents.jobs.push_back(std::move(stored));
  }
  names.clear();
  if (const int error = listFolder(directory_.get(), heldFolder, names); error != 0) {
    contents.damages.push_back({heldFolder, errorNumberText(error)});
  }
  for (const std::string& name : names) {
    if (!isDirectory(directory_.get(), heldFolder, name)) continue;
    contents.damages.push_back({pathOf(heldFolder, name), "is a directory"});
  }
  std::ranges::sort(contents.jobs, {}, [](const StoredJob& stored) -> const std::string& { return stored.job.label; });
  return contents;
}

std::string JobStore::readJob(const std::string& name, Domain domain, Job& job) const {
  // Opening something that is no regular file must neither wait nor do anything to it.
  const Fd file(openat(directory_.get(), pathOf(jobsFolder, name).c_str(),
                       O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file) return errno == ELOOP ? "is no regular file" : errorNumberText(errno);
  if (std::string reason = judgeFile(file.get()); !reason.empty()) return reason;
  GrowingBytes bytes;
  if (const int error = readContents(file.get(), limits::jobDataBytes, bytes); error != 0)
    return errorNumberText(error);
  Job read;
  if (std::string refusal = takeJob(bytes.data(), bytes.size(), domain, read); !refusal.empty()) return refusal;
  if (socketFileName(read.label) != name) return "is the job of another label";
  job = std::move(read);
  return {};
}

StoreFailure JobStore::putJob(const Job& job) {
  return putFile(directory_.get(), jobsFolder, job.label, job.data);
}

StoreFailure JobStore::removeJob(std::string_view label) {
  const std::string path = pathOf(jobsFolder, socketFileName(label));
  const std::string aside = pathOf(jobsFolder, unfinishedName);
  const bool isThere = renameat(directory_.get(), path.c_str(), directory_.get(), aside.c_str()) == 0;
  if (!isThere && errno != ENOENT) return {errno, path};
  // Without its mark, or not at all.
  if (StoreFailure failure = removeHeld(label)) {
    if (isThere) renameat(directory_.get(), aside.c_str(), directory_.get(), path.c_str());
    return failure;
  }
  // What stays is taken away by the next manager.
  if (isThere) unlinkat(directory_.get(), aside.c_str(), 0);
  return {};
}

StoreFailure JobStore::putHeld(std::string_view label) {
  return putFile(directory_.get(), heldFolder, label, {});
}

StoreFailure JobStore::removeHeld(std::string_view label) {
  return removeFile(directory_.get(), heldFolder, label);
}

}  // namespace vanto::manager
