// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <deque>
#include <functional>
#include <initializer_list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include <VantoServiceTest/FakeHost.h>

#include "ipc/IPCObject.h"
#include "support/fakehost/FakeQueue.h"

struct KorRunLoop;
struct VexCode;
struct VexErrors;
struct VexRequirement;

namespace vanto::test {

/// Everything that the functions of the fake host know. There is one in the process, which lives for ever; a FakeHost
/// sets it back to its start.
class HostState {
 public:
  [[nodiscard]] static HostState& shared() noexcept;

  /// For a new FakeHost, and at its end. What services keep for the life of the process stays alive, out of use.
  void reset();

  // What the FakeHost object was told; changed while no function of the host runs.
  bool hasHost = false;
  FakeAnswers answers;
  std::function<void()> whileRunning;
  std::map<std::string, FakeResponder, std::less<>> services;

  /// Guards what follows. Never held while anything of the test or of the service runs.
  std::mutex mutex;
  std::vector<FakeCall> calls;
  std::function<void(const FakeCall&)> observer;
  std::set<std::string, std::less<>> failing;
  vanto_peer_evaluator_t evaluator = nullptr;
  /// All queues that were ever made and are still referred to, in the order of their making.
  std::deque<dispatch_queue_s*> queues;
  std::vector<Ref<FakeConnection>> listeners;
  std::vector<Ref<FakeConnection>> connections;
  std::vector<std::string> savedArguments;
  /// Pointers into savedArguments, closed by null.
  std::vector<char*> argumentVector = {nullptr};
  std::vector<std::unique_ptr<VexCode>> codes;
  std::vector<std::unique_ptr<VexRequirement>> requirements;
  std::vector<std::unique_ptr<VexErrors>> errors;
  /// What was handed out as the entitlements of this process, which stays the host's.
  std::vector<Ref<vanto_object>> entitlements;

 private:
  HostState() = default;

  /// Listeners and connections of earlier hosts that a service may still refer to.
  std::vector<Ref<FakeConnection>> kept_;
};

/// Puts an entry into the journal and tells the observer.
void write(const FakeCall& call);

/// Writes down a call of a function of the host. True when it shall do its work, false when it shall fail.
[[nodiscard]] bool called(std::string_view function, std::initializer_list<std::string_view> arguments = {});

/// The same for a function that cannot fail.
void record(std::string_view function, std::initializer_list<std::string_view> arguments = {});

/// Ends the test program unless `function` is one of the host's.
void checkName(std::string_view function);
/// Ends the test program unless `function` is one of the host's that can fail.
void checkFailing(std::string_view function);

[[noreturn]] void refuseUse(std::string_view what, std::string_view name);

// Arguments as the journal shows them.

[[nodiscard]] std::string textOf(const PlistString* string);
[[nodiscard]] std::string_view textOf(const char* text) noexcept;
[[nodiscard]] std::string textOf(vanto_object_t object);
/// "null", or `name`.
[[nodiscard]] std::string_view nullOr(bool isThere, std::string_view name) noexcept;

}  // namespace vanto::test
