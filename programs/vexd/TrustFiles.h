// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "code/TrustDirectory.h"
#include "value/Fd.h"
#include "vexd/FileIdentity.h"

namespace vanto::vexd {

/// The trust directories, read anew when something in them has changed. For one thread.
class TrustFiles {
 public:
  struct Place {
    std::string path;
    code::TrustOwner owner;
  };

  explicit TrustFiles(std::vector<Place> places) : places_(std::move(places)) {}

  /// That of the machine and that of the user.
  [[nodiscard]] static std::vector<Place> placesOfProcess();

  /// What they hold now.
  [[nodiscard]] const std::vector<code::TrustDirectory>& directories();

  /// Goes up each time when something else was read than before; what was judged until then does not count any more.
  [[nodiscard]] std::uint64_t generation() const noexcept { return generation_; }

 private:
  struct File {
    std::string path;
    FileIdentity identity;

    bool operator==(const File&) const = default;
  };
  /// The directories and everything in them, by which a change is seen.
  struct State {
    std::vector<File> files;
    bool isSettled = true;

    void add(std::string path, const Fd& opened);
    [[nodiscard]] bool isUnchanged() const;
  };

  [[nodiscard]] State look() const;

  const std::vector<Place> places_;
  std::vector<code::TrustDirectory> directories_;
  State state_{{}, false};
  std::uint64_t generation_ = 0;
};

}  // namespace vanto::vexd
