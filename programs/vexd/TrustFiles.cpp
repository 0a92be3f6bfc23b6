// SPDX-License-Identifier: Apache-2.0
#include "vexd/TrustFiles.h"

#include <algorithm>
#include <utility>

#include <fcntl.h>

#include "code/limits.h"
#include "value/DirectoryStream.h"

namespace vanto::vexd {

std::vector<TrustFiles::Place> TrustFiles::placesOfProcess() {
  std::vector<Place> places{{code::TrustDirectory::systemPath(), code::TrustOwner::Administrator}};
  if (const std::string user = code::TrustDirectory::userPath(); !user.empty()) {
    places.push_back({user, code::TrustOwner::User});
  }
  return places;
}

void TrustFiles::State::add(std::string path, const Fd& opened) {
  File file{std::move(path), {}};
  isSettled = FileIdentity::of(opened.get(), file.identity) && isSettled;
  files.push_back(std::move(file));
}

/// A directory changes with the list of its files, so it is enough to look at those that were there.
bool TrustFiles::State::isUnchanged() const {
  FileIdentity now;
  return isSettled && std::ranges::all_of(files, [&now](const File& file) {
           return FileIdentity::at(file.path.c_str(), FileIdentity::Links::Themselves, now) && now == file.identity;
         });
}

TrustFiles::State TrustFiles::look() const {
  State state;
  for (const Place& place : places_) {
    Fd opened(open(place.path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    state.add(place.path, opened);
    const DirectoryStream listing(opened ? fdopendir(opened.get()) : nullptr);
    if (!listing) continue;
    const int directory = opened.release();
    std::size_t count = 0;
    while (const dirent* const entry = readdir(listing.get())) {
      if (*entry->d_name == '.') continue;
      // One that has more is trusted in nothing.
      if (++count > code::limits::trustEntries) break;
      const Fd file(openat(directory, entry->d_name, O_PATH | O_NOFOLLOW | O_CLOEXEC));
      state.add(place.path + "/" + entry->d_name, file);
    }
  }
  return state;
}

const std::vector<code::TrustDirectory>& TrustFiles::directories() {
  if (state_.isUnchanged()) return directories_;
  State now = look();
  if (state_.isSettled && now.isSettled && now.files == state_.files) return directories_;
  // Read after the look, so that a change in between is seen at the next one.
  std::vector<code::TrustDirectory> read;
  for (const Place& place : places_) read.push_back(code::TrustDirectory::read(place.path, place.owner));
  state_ = std::move(now);
  // Read each time while nothing is trusted: the reason may have been a want of descriptors, which is over soon.
  const auto isDoubted = [](const code::TrustDirectory& directory) {
    return !directory.doubt.empty();
  };
  if (std::ranges::any_of(read, isDoubted)) state_.isSettled = false;
  // On a file system whose times say nothing they are read each time too, and are the same nearly each time.
  if (generation_ != 0 && read == directories_) return directories_;
  directories_ = std::move(read);
  ++generation_;
  return directories_;
}

}  // namespace vanto::vexd
