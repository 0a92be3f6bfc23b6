// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fstream>
#include <string>

#include "host/sandbox/Compiled.h"
#include "programs/vanto/ServiceFixture.h"

namespace vanto::testing {

/// Tests with profiles in a directory of their own, and a service beside them.
class ProfileFixture : public ServiceFixture {
 protected:
  /// Writes a profile, whose text may lack the line feed at its end; gives its path.
  std::string profile(const std::string& text, const char* name = "a.sb") const {
    const std::string path = directory_ / name;
    std::ofstream(path) << ended(text);
    return path;
  }
};

}  // namespace vanto::testing
