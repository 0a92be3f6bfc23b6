// SPDX-License-Identifier: Apache-2.0

// Prints the path of its executable: as it is, after the file is gone, and after another file has taken its place.
#include <cstdio>
#include <string>

#include <fcntl.h>
#include <unistd.h>

#include "value/Fd.h"
#include "value/platform/process.h"

namespace {

void printPath() {
  const PlistString* const path = vanto_process_executable_path();
  std::printf("%s\n", path != nullptr ? path->utf8() : "none");
}

}  // namespace

int main() {
  const PlistString* const path = vanto_process_executable_path();
  if (path == nullptr) return 1;
  const std::string file(path->text());
  printPath();
  if (unlink(file.c_str()) != 0) return 2;
  printPath();
  const vanto::Fd other(open(file.c_str(), O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0700));
  if (!other) return 3;
  printPath();
  return 0;
}
