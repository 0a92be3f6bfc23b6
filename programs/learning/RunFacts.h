// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <utility>

#include "learning/limits.h"
#include "sandbox/Right.h"

namespace vanto::learning {

/// What a run did, as far as a profile can be about it. Paths are absolute, with all that programs write in them:
/// links, dots, repeated slashes.
struct RunFacts {
  /// Rights to what is at a path: Read, Write, Truncate, Ioctl, Socket.
  std::map<std::string, RightSet> used;
  /// The same to what lies beneath the directories in /proc of other processes than the first, but for listing.
  RightSet ofOtherProcesses;
  /// Paths that were opened so that they are made where they are not there.
  std::set<std::string> openedOrMade;
  /// Names that the run put into directories.
  std::set<std::string> made;
  /// Those of them that nothing but Unix sockets were made under.
  std::set<std::string> sockets;
  /// Names that it took away, or that others may have been put in the place of.
  std::set<std::string> removed;
  /// Those of them that may have been directories.
  std::set<std::string> removedDirectories;
  /// What was moved or linked from where to where.
  std::set<std::pair<std::string, std::string>> moved;
  /// Files without a name that were made in a directory, as paths in it.
  std::set<std::string> nameless;
  /// What the command itself was executed from; empty when it was not.
  std::string program;
  /// What was executed after that.
  std::set<std::string> executed;
  std::set<std::uint16_t> boundPorts;
  std::set<std::uint16_t> connectedPorts;
  /// Of those that need no path or port.
  RightSet others;
  /// A TCP socket was made, with or without a port.
  bool hasTcp = false;
  /// What no profile can say, a sentence each.
  std::set<std::string> remarks;

  [[nodiscard]] std::size_t count() const noexcept {
    return used.size() + openedOrMade.size() + made.size() + removed.size() + moved.size() + nameless.size() +
           executed.size() + boundPorts.size() + connectedPorts.size() + remarks.size();
  }
};

}  // namespace vanto::learning
