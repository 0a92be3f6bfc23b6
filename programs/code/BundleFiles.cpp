// SPDX-License-Identifier: Apache-2.0
#include "code/BundleFiles.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <memory>
#include <string_view>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <VantoService/PlistString.h>

#include "code/OpenedFile.h"
#include "code/limits.h"

namespace vanto::code {
namespace {

struct CloseDirectory {
  void operator()(DIR* directory) const noexcept { closedir(directory); }
};
using Directory = std::unique_ptr<DIR, CloseDirectory>;

std::string servicesOf(BundleLayout layout) {
  switch (layout) {
    case BundleLayout::Contents:
      return "Contents/VantoServices";
    case BundleLayout::Framework:
      return "VantoServices";
    case BundleLayout::Flat:
      break;
  }
  return {};
}

/// What no XML can say, and so no seal.
bool hasForbiddenCharacter(std::string_view text) noexcept {
  return std::any_of(text.begin(), text.end(), [](char character) {
    return static_cast<unsigned char>(character) < ' ' && character != '\t' && character != '\n' && character != '\r';
  });
}

/// The walk through one bundle. Directories that are still to be read wait in a list, so nesting costs no stack.
class Walk {
 public:
  explicit Walk(const CodePlace& place) : place_(place), services_(servicesOf(*place.layout)) {}

  BundleFiles run() {
    visit({}, 0);
    while (!waiting_.empty() && files_.isWhole) {
      const Waiting next = std::move(waiting_.back());
      waiting_.pop_back();
      visit(next.path, next.depth);
    }
    std::sort(files_.defects.begin(), files_.defects.end(),
              [](const Defect& one, const Defect& other) { return one.path < other.path; });
    return std::move(files_);
  }

 private:
  struct Waiting {
    std::string path;
    std::size_t depth;
  };

  void fail(const std::string& path, std::string reason) { files_.defects.push_back({path, std::move(reason)}); }
  void failWithError(const std::string& path) { fail(path, std::string("cannot be read: ") + std::strerror(errno)); }

  void visit(const std::string& path, std::size_t depth) {
    Fd opened = path.empty() ? Fd(openat(place_.directory.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC))
                             : openBeneath(place_.directory.get(), path, O_RDONLY | O_DIRECTORY);
    if (!opened) return failWithError(path);
    const Directory directory(fdopendir(opened.get()));
    if (!directory) return failWithError(path);
    const int descriptor = opened.release();
    for (;;) {
      errno = 0;
      const dirent* const entry = readdir(directory.get());
      if (entry == nullptr && errno != 0) failWithError(path);
      if (entry == nullptr) return;
      const std::string_view name = entry->d_name;
      if (name == "." || name == "..") continue;
      if (++entries_ > limits::bundleEntries) {
        files_.isWhole = false;
        return fail({}, "has more than " + std::to_string(limits::bundleEntries) + " files and directories");
      }
      take(descriptor, path, entry->d_name, depth);
    }
  }

  void take(int directory, const std::string& parent, const char* name, std::size_t depth) {
    const std::string path = parent.empty() ? name : parent + "/" + name;
    if (path == place_.signature || path == place_.executable || path == place_.info) return;
    struct stat status;
    if (fstatat(directory, name, &status, AT_SYMLINK_NOFOLLOW) != 0) return failWithError(path);
    if (!PlistString::create(path)) return fail(path, "has a name that is not UTF-8");
    if (hasForbiddenCharacter(name)) return fail(path, "has a control character in its name, which cannot be signed");
    if (S_ISDIR(status.st_mode)) return takeDirectory(parent, path, depth);
    if (S_ISREG(status.st_mode)) return takeFile(directory, name, path);
    if (S_ISLNK(status.st_mode)) return takeLink(directory, name, path);
    fail(path, "is neither a file nor a directory nor a symbolic link");
  }

  void takeDirectory(const std::string& parent, const std::string& path, std::size_t depth) {
    if (!services_.empty() && parent == services_ && path.ends_with(".vanto")) return;
    if (depth + 1 > limits::bundleNesting) {
      return fail(path, "lies in more than " + std::to_string(limits::bundleNesting) + " directories");
    }
    waiting_.push_back({path, depth + 1});
  }

  void takeFile(int directory, const char* name, const std::string& path) {
    const Fd file(openat(directory, name, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    struct stat status;
    if (!file || fstat(file.get(), &status) != 0) return failWithError(path);
    if (!S_ISREG(status.st_mode)) return fail(path, "changed while it was looked at");
    std::string problem;
    const std::optional<Digest> digest = digestOfFile(file.get(), problem);
    if (!digest) return fail(path, std::move(problem));
    files_.resources.emplace(path, *digest);
  }

  void takeLink(int directory, const char* name, const std::string& path) {
    char target[PATH_MAX];
    const ssize_t length = readlinkat(directory, name, target, sizeof target);
    if (length < 0) return failWithError(path);
    const std::string_view text(target, static_cast<std::size_t>(length));
    if (!PlistString::create(text)) return fail(path, "leads to a name that is not UTF-8");
    if (hasForbiddenCharacter(text))
      return fail(path, "leads to a name with a control character, which cannot be signed");
    files_.resources.emplace(path, LinkTarget{std::string(text)});
  }

  const CodePlace& place_;
  const std::string services_;
  BundleFiles files_;
  std::vector<Waiting> waiting_;
  std::size_t entries_ = 0;
};

}  // namespace

BundleFiles BundleFiles::of(const CodePlace& place) {
  return place.isBundle() ? Walk(place).run() : BundleFiles{};
}

}  // namespace vanto::code
