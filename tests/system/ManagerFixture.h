// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <string>
#include <utility>
#include <vector>

#include <VantoService/vanto.h>
#include <gtest/gtest.h>

#include "host/ipc/IPCFixture.h"
#include "support/TemporaryDirectory.h"
#include "system/ManagerProcess.h"

namespace vanto::test {

/// A test with managers in a run-time directory of its own, and with services that behave as they are told.
class ManagerFixture : public ::testing::Test {
 protected:
  ManagerFixture();

  /// A manager with the proxy of this build.
  [[nodiscard]] ManagerSetting setting(std::vector<std::string> more = {}) const;
  /// One that waits for shorter times.
  [[nodiscard]] ManagerSetting impatient(std::vector<std::string> more = {}) const;

  /// A program for the service `name`; see managed.cpp.
  [[nodiscard]] std::string program(const std::string& behaviour, const std::string& name) const;
  /// A job that runs `path`.
  [[nodiscard]] static Held job(const std::string& name, const std::string& path);
  /// Loads a job for a service of that behaviour, with further entries. The error, or an empty text.
  std::string load(const std::string& behaviour, const std::string& name,
                   const std::vector<std::pair<const char*, Held>>& entries = {}) const;
  std::string loadJob(const Held& job) const;

  /// The reply to an order, or an error object.
  [[nodiscard]] static Held order(const Held& order);
  [[nodiscard]] static Held order(const std::string& command, const std::string& label = "");
  /// Its "error", or an empty text.
  [[nodiscard]] static std::string errorOf(const Held& reply);
  /// The state of one job.
  [[nodiscard]] static Held stateOf(const std::string& label);
  [[nodiscard]] static std::string text(vanto_object_t dictionary, const char* key);
  [[nodiscard]] static std::int64_t number(vanto_object_t dictionary, const char* key);
  /// The texts of the lines of a log.
  [[nodiscard]] static std::vector<std::string> logOf(const std::string& label);

  [[nodiscard]] static Held connect(const std::string& name, std::uint64_t timeout = generous);
  /// The process of the service that answers, after it has done as it was told; -1 and why, when none does.
  [[nodiscard]] static std::pair<std::int64_t, std::string> tell(vanto_object_t connection, const std::string& words);
  /// The same on a new connection.
  [[nodiscard]] static std::int64_t call(const std::string& name, const std::string& words = "pid");
  /// What a client is told that gets no service.
  [[nodiscard]] static std::string refusalOf(const std::string& name);

  /// How often the service was started.
  [[nodiscard]] std::size_t starts(const std::string& name) const;
  [[nodiscard]] std::string socketPath(const std::string& name) const;

  const TemporaryDirectory directory_;
};

}  // namespace vanto::test
