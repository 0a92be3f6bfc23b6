// SPDX-License-Identifier: Apache-2.0

// A service that says to its manager what stands in the file "PATH.says", where PATH is its own: a line "listening",
// "for ever" for saying that it is idle as fast as that is taken, or a line of a receipt, each receipt ended by an
// empty line. Then it waits to be ended.
#include <fstream>
#include <string>

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
