// SPDX-License-Identifier: Apache-2.0
#include "tolvend/ProcessRecords.h"

#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "process/StartTime.h"
#include "value/limits.h"

namespace vanto::manager {

namespace {

constexpr char temporaryName[] = ".new";

/// What a file begins with; the name of the job follows.
struct Numbers {
  std::uint64_t pid;
  std::uint64_t startTime;
};
constexpr std::size_t largestRecord = sizeof(Numbers) + limits::ipcSocketNameBytes;

struct DirectoryCloser {
  void operator()(DIR* directory) const noexcept { closedir(directory); }
};

bool readRecord(int folder, const char* file, ProcessRecord& record) {
  const Fd descriptor(openat(folder, file, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  char bytes[largestRecord + 1];
  const ssize_t count = descriptor ? ::read(descriptor.get(), bytes, sizeof bytes) : -1;
  if (count < static_cast<ssize_t>(sizeof(Numbers)) || count > static_cast<ssize_t>(largestRecord)) return false;
  Numbers numbers;
  std::memcpy(&numbers, bytes, sizeof numbers);
  record = {static_cast<pid_t>(numbers.pid), numbers.startTime,
            std::string(bytes + sizeof numbers, static_cast<std::size_t>(count) - sizeof numbers)};
  return record.pid > 0 && std::to_string(numbers.pid) == file;
}

}  // namespace

int ProcessRecords::open(int directory) {
  if (mkdirat(directory, "processes", 0700) != 0 && errno != EEXIST) return errno;
  folder_.reset(openat(directory, "processes", O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  return folder_ ? 0 : errno;
}

int ProcessRecords::put(pid_t pid, std::string_view name) const {
  Numbers numbers{static_cast<std::uint64_t>(pid), 0};
  errno = 0;
  if (!readProcessStartTime(pid, numbers.startTime)) return errno != 0 ? errno : ESRCH;
  char bytes[largestRecord];
  std::memcpy(bytes, &numbers, sizeof numbers);
  const std::size_t length = name.copy(bytes + sizeof numbers, sizeof bytes - sizeof numbers);
  const ssize_t size = static_cast<ssize_t>(sizeof numbers + length);
  const Fd file(openat(folder_.get(), temporaryName, O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0600));
  if (!file) return errno;
  const ssize_t written = write(file.get(), bytes, static_cast<std::size_t>(size));
  // Part of it is written where there is no room for the rest.
  int error = written == size ? 0 : written < 0 ? errno : ENOSPC;
  if (error == 0 && renameat(folder_.get(), temporaryName, folder_.get(), std::to_string(pid).c_str()) != 0) {
    error = errno;
  }
  if (error != 0) unlinkat(folder_.get(), temporaryName, 0);
  return error;
}

void ProcessRecords::remove(pid_t pid) const noexcept {
  unlinkat(folder_.get(), std::to_string(pid).c_str(), 0);
}

std::vector<ProcessRecord> ProcessRecords::read() const {
  std::vector<ProcessRecord> records;
  // A descriptor of its own, since the stream takes it over.
  Fd listed(openat(folder_.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  const std::unique_ptr<DIR, DirectoryCloser> directory(listed ? fdopendir(listed.get()) : nullptr);
  if (directory == nullptr) return records;
  static_cast<void>(listed.release());
  while (const dirent* entry = readdir(directory.get())) {
    const std::string file = entry->d_name;
    if (file == "." || file == "..") continue;
    ProcessRecord record;
    if (readRecord(folder_.get(), file.c_str(), record)) {
      records.push_back(std::move(record));
    } else {
      unlinkat(folder_.get(), file.c_str(), 0);
    }
  }
  return records;
}

}  // namespace vanto::manager
