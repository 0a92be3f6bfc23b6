// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <fstream>
#include <optional>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>

#include "programs/tolvend/EventChild.h"
#include "support/TemporaryDirectory.h"
#include "tolvend/BoundSockets.h"
#include "tolvend/Jobs.h"
#include "tolvend/OwnProcess.h"

namespace vanto::test {

/// What jobs need, in a directory of its own. To be made inside runWithEvents(), for the life of its process.
struct ManagerWorld {
  explicit ManagerWorld(manager::Alarms& allAlarms)
      : alarms(allAlarms), store(openAt("")), former(allAlarms, records, 1'000'000'000) {
    EXPECT_FALSE(store.prepare());
    EXPECT_EQ(records.open(openAt("").get()), 0);
    // As in a manager: what is handed over must be out of the way, and descriptor 0 be /dev/null.
    for (int descriptor = 0; descriptor < 40;) descriptor = open("/dev/null", O_RDWR | O_CLOEXEC);
    spawn.proxy = VANTO_TEST_PROXY;
    spawn.environment = manager::serviceEnvironment({});
    EXPECT_EQ(sockets.open(openAt(""), openAt("").get()), 0);
    jobs.emplace(surroundings(), store, former, sockets, Domain::User, domain.get());
  }

  [[nodiscard]] manager::JobSurroundings surroundings() {
    return {alarms, spare, spawn, records, sockets, limit, children, {}, 0, ConfinementLevel::None};
  }
  [[nodiscard]] Fd openAt(const std::string& name) const {
    return Fd(open((directory / name).c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  }
  [[nodiscard]] static manager::Job job(const std::string& label, const std::string& program = "/nowhere/program") {
    manager::Job made;
    made.label = made.name = label;
    made.program = program;
    made.data = label + program;
    return made;
  }
  /// The path of a program that says to its manager what these lines are; see speaker.cpp.
  [[nodiscard]] std::string speaker(const std::string& lines) const {
    const std::string path = directory / "speaker";
    EXPECT_EQ(symlink(VANTO_TEST_SPEAKER, path.c_str()), 0);
    std::ofstream(path + ".says") << lines;
    return path;
  }
  /// A client that waits at the socket of a service.
  [[nodiscard]] Fd client(const std::string& name) const {
    return connectToSocket(openAt("").get(), name.c_str(), UINT64_MAX);
  }

  const TemporaryDirectory directory;
  const Fd domain = openAt("");
  manager::Alarms& alarms;
  manager::SpareDescriptor spare;
  manager::SpawnSetting spawn;
  manager::ProcessRecords records;
  manager::InstanceLimit limit;
  manager::Children children;
  manager::JobStore store;
  manager::FormerProcesses former;
  manager::BoundSockets sockets;
  std::optional<manager::Jobs> jobs;
};

}  // namespace vanto::test
