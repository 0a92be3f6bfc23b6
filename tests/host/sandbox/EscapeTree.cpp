// SPDX-License-Identifier: Apache-2.0
#include "host/sandbox/EscapeTree.h"

#include <algorithm>
#include <filesystem>
#include <fstream>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vanto::testing {
namespace {

int tryOpen(const std::string& path, int flags) {
  const Fd file(open(path.c_str(), flags | O_CLOEXEC, 0600));
  return file ? 0 : errno;
}

/// What is executed is no program, which the kernel finds out once it may read it.
int tryExecute(const std::string& path) {
  char* const arguments[] = {const_cast<char*>(path.c_str()), nullptr};
  char* const environment[] = {nullptr};
  return outcomeOf(execve(path.c_str(), arguments, environment));
}

/// The ways into one directory.
class Ways {
 public:
  Ways(const GeneratedProfile& profile, int generation) : profile_(profile), generation_(generation) {}

  void addWaysToFiles(const std::string& directory);
  void addWaysToChange(const std::string& directory);
  void addExecution(const std::string& directory);
  void addWaysBetween(const std::string& from, const std::string& to);

  [[nodiscard]] std::vector<EscapeAttempt> take() { return std::move(attempts_); }

 private:
  /// Closed where Landlock of the first generation closes it, unless it is allowed.
  void add(std::string name, bool isAllowed, std::function<int()> attempt) {
    attempts_.push_back({std::move(name), std::move(attempt), !isAllowed});
  }
  [[nodiscard]] bool gives(Right right, const std::string& path) const { return profile_.gives(right, path); }
  /// Before generation 3 no kernel can deny it.
  [[nodiscard]] bool mayTruncate(const std::string& path) const {
    return generation_ < 3 || gives(Right::Truncate, path);
  }
  /// The kernel moves and links nothing to where it could be used for more.
  [[nodiscard]] bool wouldGainRights(const std::string& from, const std::string& to) const;

  const GeneratedProfile& profile_;
  int generation_;
  std::vector<EscapeAttempt> attempts_;
};

void Ways::addWaysToFiles(const std::string& directory) {
  const std::string data = directory + "/data";
  const std::string other = directory + "/other";
  add("read " + data, gives(Right::Read, data), [=] { return tryOpen(data, O_RDONLY); });
  add("list " + directory, gives(Right::Read, directory), [=] { return tryOpen(directory, O_RDONLY | O_DIRECTORY); });
  add("write " + data, gives(Right::Write, data), [=] { return tryOpen(data, O_WRONLY | O_APPEND); });
  add("read and write " + data, gives(Right::Read, data) && gives(Right::Write, data),
      [=] { return tryOpen(data, O_RDWR); });
  add("truncate " + other, mayTruncate(other), [=] { return outcomeOf(truncate(other.c_str(), 3)); });
  add("truncate by opening " + other, gives(Right::Read, other) && mayTruncate(other),
      [=] { return tryOpen(other, O_RDONLY | O_TRUNC); });
}

void Ways::addWaysToChange(const std::string& directory) {
  const bool mayCreate = gives(Right::Create, directory);
  const bool mayRemove = gives(Right::Remove, directory);
  const std::string created = directory + "/new-";
  add("make a file in " + directory, mayCreate,
      [=] { return outcomeOf(mknod((created + "file").c_str(), S_IFREG, 0)); });
  add("make a directory in " + directory, mayCreate, [=] { return outcomeOf(mkdir((created + "d").c_str(), 0700)); });
  add("make a link in " + directory, mayCreate, [=] { return outcomeOf(symlink("/", (created + "link").c_str())); });
  add("make a fifo in " + directory, mayCreate, [=] { return outcomeOf(mkfifo((created + "fifo").c_str(), 0600)); });
  add("make and write in " + directory, mayCreate && gives(Right::Write, directory),
      [=] { return tryOpen(created + "written", O_WRONLY | O_CREAT | O_EXCL); });
  add("remove in " + directory, mayRemove, [=] { return outcomeOf(unlink((directory + "/gone").c_str())); });
  add("remove a directory in " + directory, mayRemove,
      [=] { return outcomeOf(rmdir((directory + "/gone-directory").c_str())); });
}

void Ways::addExecution(const std::string& directory) {
  const std::string program = directory + "/program";
  // Without any right to execute, the filter refuses it whatever Landlock the kernel has.
  const bool isByFilter = !profile_.givesToAnyPath(Right::Execute);
  const bool isByLandlock = !(gives(Right::Execute, program) && gives(Right::Read, program));
  attempts_.push_back({"execute " + program, [=] { return tryExecute(program); }, isByFilter || isByLandlock});
}

bool Ways::wouldGainRights(const std::string& from, const std::string& to) const {
  return std::ranges::any_of(allRights, [&](Right right) {
    const bool isOfFiles = right == Right::Read || right == Right::Write || right == Right::Execute ||
                           (right == Right::Truncate && generation_ >= 3) ||
                           (right == Right::Ioctl && generation_ >= 5) || (right == Right::Socket && generation_ >= 9);
    return isOfFiles && gives(right, to) && !gives(right, from);
  });
}

void Ways::addWaysBetween(const std::string& from, const std::string& to) {
  // Generation 1 refuses it to everyone.
  const bool mayRefer = generation_ >= 2 && gives(Right::Rename, from) && gives(Right::Rename, to) &&
                        gives(Right::Create, to) && !wouldGainRights(from, to);
  add("link from " + from + " to " + to, mayRefer,
      [=] { return outcomeOf(link((from + "/linked").c_str(), (to + "/new-linked").c_str())); });
  add("move from " + from + " to " + to, mayRefer && gives(Right::Remove, from),
      [=] { return outcomeOf(rename((from + "/moved").c_str(), (to + "/new-moved").c_str())); });
  const std::string target = to + "/data";
  add("read by a link from " + from + " to " + to, gives(Right::Read, target),
      [=] { return tryOpen(from + "/link", O_RDONLY); });
}

}  // namespace

std::vector<std::string> EscapeTree::directories() const {
  std::vector<std::string> directories;
  for (const char* name : {"/a", "/a/b", "/a/b/c", "/d", "/d/e", "/f"}) directories.push_back(root_ + name);
  return directories;
}

void EscapeTree::prepare() const {
  std::filesystem::remove_all(root_);
  const std::vector<std::string> all = directories();
  for (std::size_t index = 0; index < all.size(); ++index) {
    std::filesystem::create_directories(all[index] + "/gone-directory");
    for (const char* name : {"/data", "/other", "/program", "/gone", "/linked", "/moved"}) {
      std::ofstream(all[index] + name) << "no program";
    }
    EXPECT_EQ(chmod((all[index] + "/program").c_str(), 0700), 0);
    std::filesystem::create_symlink(all[(index + 1) % all.size()] + "/data", all[index] + "/link");
  }
}

std::vector<std::string> EscapeTree::paths() const {
  std::vector<std::string> paths{root_};
  for (const std::string& directory : directories()) {
    for (const char* name : {"", "", "/data", "/other", "/program"}) paths.push_back(directory + name);
  }
  return paths;
}

std::vector<EscapeAttempt> EscapeTree::attempts(const GeneratedProfile& profile, int generation) const {
  Ways ways(profile, generation);
  const std::vector<std::string> all = directories();
  for (std::size_t index = 0; index < all.size(); ++index) {
    ways.addWaysToFiles(all[index]);
    ways.addWaysToChange(all[index]);
    ways.addExecution(all[index]);
    ways.addWaysBetween(all[index], all[(index + 1) % all.size()]);
  }
  return ways.take();
}

}  // namespace vanto::testing
