// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstdint>
#include <list>
#include <map>
#include <set>
#include <string>

#include <VantoService/Ref.h>
#include <VantoService/vanto.h>

#include "ipc/IPCObject.h"
#include "tolvend/Alarms.h"
#include "tolvend/Jobs.h"

namespace vanto::manager {

/// Who watches jobs or follows logs, each on a connection of its own. A reader that is too slow for what it asked for
/// is cut off. Main thread only.
class Subscriptions {
 public:
  Subscriptions(Alarms& alarms, Jobs& jobs) : jobs_(jobs), alarm_(alarms, [this] { tellWatchers(); }) {}

  /// Tells `connection` of changes of the job `label`, or of all for an empty text.
  void watch(vanto_object_t connection, const std::string& label);
  /// Tells `connection` each further line of the log of `job`, and when there will be none any more since the job was
  /// removed.
  void follow(vanto_object_t connection, JobController& job);
  /// Tells `connection` nothing any more.
  void forget(vanto_object_t connection);

  /// A job has changed, or was removed. At most ten times a second for each it is told.
  void changed(const std::string& label);

 private:
  struct Watcher {
    Ref<vanto_object> connection;
    std::string label;
    /// What a follower reads: a job of the same label that is loaded later has another one.
    const LogRing* log = nullptr;
  };

  static void add(std::list<Watcher>& list, vanto_object_t connection, const std::string& label, const LogRing* log);
  void tellWatchers();
  void tellOf(const std::string& label);
  void tellLine(const LogRing& log, const LogLine& line);
  void tellEnd(const LogRing& log);
  void send(vanto_object_t connection, vanto_object_t message);

  Jobs& jobs_;
  std::list<Watcher> watchers_;
  std::list<Watcher> followers_;
  /// When the watchers may next be told of a job.
  std::map<std::string, std::uint64_t> earliest_;
  std::set<std::string> changed_;
  Alarm alarm_;
};

}  // namespace vanto::manager
