// SPDX-License-Identifier: Apache-2.0

// A service that says to its manager what stands in the file "PATH.says", where PATH is its own: a line "listening",
// "much" for writing many lines at once, "for ever" for saying that it is idle as fast as that is taken, or a line of a
// receipt, each receipt ended by an empty line. Then it waits to be ended.
#include <cerrno>
#include <fstream>
#include <string>

#include <fcntl.h>
#include <sys/socket.h>
#include <unistd.h>

#include "ipc/ManagerRecord.h"
#include "tolvend/Spawn.h"

int main(int, char** argv) {
  using namespace vanto;
  const std::string path = argv[0];
  std::ifstream lines(path + ".says");
  std::string receipt;
  bool isSaid = true;
  for (std::string line; std::getline(lines, line);) {
    if (line == "listening") {
      isSaid = isSaid && sendManagerRecord(manager::linkDescriptor, ManagerRecordKind::Listening);
    } else if (line == "for ever") {
      const ManagerRecord idle{ManagerRecordKind::Idle};
      while (send(manager::linkDescriptor, &idle, sizeof idle, 0) > 0) {
      }
    } else if (line == "much") {
      std::string text;
      for (int i = 0; i < 150; i++) text += std::string(999, 'x') + '\n';
      text += "the last one\n";
      isSaid = isSaid && write(STDOUT_FILENO, text.data(), text.size()) == static_cast<ssize_t>(text.size());
      text.assign(std::size_t{1} << 20, 'x');
      isSaid = isSaid && write(STDOUT_FILENO, text.data(), text.size()) < 0 && errno == EMSGSIZE;
      isSaid = isSaid && open("/dev/stderr", O_WRONLY | O_CLOEXEC) < 0 && errno == ENXIO;
    } else if (!line.empty()) {
      receipt += line + '\n';
    } else {
      isSaid = isSaid && sendManagerReceipt(manager::linkDescriptor, receipt);
      receipt.clear();
    }
  }
  if (!isSaid) return 96;
  for (;;) pause();
}
