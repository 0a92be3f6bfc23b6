// SPDX-License-Identifier: Apache-2.0
#include "code/TrustDirectory.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "code/KeyName.h"
#include "code/OpenedFile.h"
#include "code/limits.h"
#include "value/DirectoryStream.h"
#include "value/Fd.h"

namespace vanto::code {
namespace {

constexpr std::string_view extension = ".plist";
constexpr const char* revocationFile = "revoked.plist";
constexpr mode_t writableByOthers = 022;

std::vector<uid_t> ownersFor(TrustOwner owner) {
  switch (owner) {
    case TrustOwner::Administrator:
      return {0};
    case TrustOwner::User:
      return {geteuid()};
    case TrustOwner::Either:
      break;
  }
  return {0, geteuid()};
}

/// Empty when nobody else can have put a file into the directory, or taken one away.
std::string doubtOf(const struct stat& status, TrustOwner owner) {
  const std::vector<uid_t> owners = ownersFor(owner);
  if (std::find(owners.begin(), owners.end(), status.st_uid) == owners.end()) {
    return "belongs to user " + std::to_string(status.st_uid);
  }
  return (status.st_mode & writableByOthers) != 0 ? "can be written by others; chmod go-w takes that away" : "";
}

class Reading {
 public:
  Reading(TrustDirectory& result, TrustOwner owner) : result_(result), owner_(owner) {}

  void run() {
    directory_.reset(open(result_.path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!directory_ && errno == ENOENT) return;
    // What is no directory, and a link, are told in the same way.
    if (!directory_) return doubt(errno == ENOTDIR ? "is no directory, or a symbolic link" : std::strerror(errno));
    struct stat status;
    if (fstat(directory_.get(), &status) != 0) return doubt(std::strerror(errno));
    if (std::string reason = doubtOf(status, owner_); !reason.empty()) return doubt(std::move(reason));
    // First: they count for other directories even where the keys of this one do not.
    readRevocations();
    if (!result_.doubt.empty()) return;
    if (owner_ == TrustOwner::User && (status.st_mode & 077) != 0) {
      return refuse("is not for its owner alone; chmod 700 makes it so");
    }
    std::vector<std::string> names;
    if (!list(names)) return;
    std::sort(names.begin(), names.end());
    for (const std::string& name : names) readKey(name);
  }

 private:
  void refuse(const std::string& reason) {
    result_.isUsable = false;
    result_.problems.push_back(result_.path + ": " + reason + "; nothing in it is trusted");
  }

  /// The store tells of it, so that there is one text whether a file cannot be read or not be understood.
  void doubt(std::string reason) {
    result_.isUsable = false;
    result_.doubt = std::move(reason);
  }

  bool list(std::vector<std::string>& names) {
    const DirectoryStream listing(fdopendir(fcntl(directory_.get(), F_DUPFD_CLOEXEC, 0)));
    for (std::size_t count = 0; listing;) {
      errno = 0;
      const dirent* const entry = readdir(listing.get());
      if (entry == nullptr && errno == 0) return true;
      if (entry == nullptr) break;
      if (++count > limits::trustEntries) {
        refuse("has more than " + std::to_string(limits::trustEntries) + " entries");
        return false;
      }
      const std::string_view name = entry->d_name;
      // Files of other programs, and those that are still being written.
      if (!name.ends_with(extension) || name.starts_with('.') || name == revocationFile) continue;
      names.emplace_back(name);
    }
    refuse(std::string("cannot be listed: ") + std::strerror(errno));
    return false;
  }

  void readRevocations() {
    const FileRules rules{limits::revocationFileBytes, writableByOthers, ownersFor(owner_)};
    OpenedFile file = OpenedFile::open(directory_.get(), revocationFile, FileLinks::Refused, rules);
    if (!file.contents && !file.isMissing) doubt(std::string(revocationFile) + " " + file.problem);
    result_.revocations = std::move(file.contents);
  }

  void readKey(const std::string& fileName) {
    const std::string name = fileName.substr(0, fileName.size() - extension.size());
    const FileRules rules{limits::keyFileBytes, writableByOthers, ownersFor(owner_)};
    OpenedFile file = OpenedFile::open(directory_.get(), fileName.c_str(), FileLinks::Refused, rules);
    if (file.contents && !isKeyName(name)) file.problem = "has no name for a key";
    if (file.problem.empty()) {
      result_.keys.push_back({name, std::move(*file.contents)});
    } else {
      result_.problems.push_back(result_.path + "/" + fileName + ": " + file.problem);
    }
  }

  TrustDirectory& result_;
  const TrustOwner owner_;
  Fd directory_;
};

}  // namespace

TrustDirectory TrustDirectory::read(const std::string& path, TrustOwner owner) {
  TrustDirectory directory;
  directory.path = path;
  Reading(directory, owner).run();
  return directory;
}

std::string TrustDirectory::systemPath() {
  return "/etc/vanto/trust";
}

std::string TrustDirectory::userPath() {
  const char* const configuration = std::getenv("XDG_CONFIG_HOME");
  if (configuration != nullptr && *configuration == '/') return std::string(configuration) + "/vanto/trust";
  const char* const home = std::getenv("HOME");
  return home != nullptr && *home == '/' ? std::string(home) + "/.config/vanto/trust" : std::string();
}

}  // namespace vanto::code
