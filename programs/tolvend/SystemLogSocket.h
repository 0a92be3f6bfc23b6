// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>
#include <string>
#include <string_view>

#include <sys/types.h>

#include "tolvend/Watch.h"
#include "value/Fd.h"

namespace vanto::manager {

/// A socket to which the system log of processes goes, where there is nobody else to take it. Main thread only.
class SystemLogSocket {
 public:
  /// A line, without its priority, and the process that sent it, as the kernel says.
  using Receiver = std::function<void(pid_t pid, std::string_view line)>;

  explicit SystemLogSocket(Receiver receiver) : receiver_(static_cast<Receiver&&>(receiver)) {}
  /// Removes its file.
  ~SystemLogSocket();
  SystemLogSocket(const SystemLogSocket&) = delete;
  SystemLogSocket& operator=(const SystemLogSocket&) = delete;

  /// Binds `path`. An empty text, or why not, such as that somebody else receives there.
  [[nodiscard]] std::string open(const std::string& path);

 private:
  [[nodiscard]] std::string bindTo(const std::string& path);
  void receive();

  const Receiver receiver_;
  Fd socket_;
  Watch watch_;
  /// Where it is bound; empty for nowhere.
  std::string path_;
  ino_t inode_ = 0;
};

/// What stands behind the priority that a line of the system log begins with; all of a line without one.
[[nodiscard]] std::string_view withoutPriority(std::string_view line) noexcept;

}  // namespace vanto::manager
