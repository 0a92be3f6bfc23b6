// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <memory>

#include <dirent.h>

namespace vanto {

struct CloseDirectory {
  void operator()(DIR* directory) const noexcept { closedir(directory); }
};

/// A directory that is being listed, from opendir() or fdopendir(); closed with its object. Null when there is none.
using DirectoryStream = std::unique_ptr<DIR, CloseDirectory>;

}  // namespace vanto
