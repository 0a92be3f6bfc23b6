// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>
#include <utility>

#include <VantoService/PlistString.h>

#include "support/fakehost/HostState.h"

namespace vanto::test {
namespace {

/// A function of the host, and whether its contract has a way to report failure.
struct Function {
  std::string_view name;
  bool canFail;
};

constexpr Function functions[] = {
    {"KorRunLoopGetCurrent", false},
    {"KorRunLoopPerform", false},
    {"KorRunLoopRun", false},
    {"KorRunLoopStop", false},
    {"KorStringCreateWithFileSystemRepresentation", true},
    {"KorURLCreateDataAndPropertiesFromResource", true},
    {"KorURLCreateWithFileSystemPath", true},
    {"PellmoUtilRealPathForPath", true},
    {"QelHomeDirectory", true},
    {"QelRunLoopCurrentRunLoop", false},
    {"QelRunLoopRun", false},
    {"VexCodeCheckValidityWithErrors", true},
    {"VexCodeCopyGuestWithAttributes", true},
    {"VexErrorsLocalizedDescription", false},
    {"VexRequirementCreateWithStringAndErrors", true},
    {"_QelGetArgc", false},
    {"_QelGetArgv", false},
    {"_vanto_runtime_get_entitlements_data", true},
    {"audit_token_to_au32", false},
    {"dispatch_main", false},
    {"dispatch_queue_create", true},
    {"dispatch_queue_label", false},
    {"dispatch_queue_release", false},
    {"dispatch_queue_retain", false},
    {"dispatch_queue_submit", false},
    {"dispatch_queue_submit_and_wait", false},
    {"sandbox_free_error", false},
    {"sandbox_init_with_parameters", true},
    {"vanto_call", true},
    {"vanto_call_async", true},
    {"vanto_cancel", false},
    {"vanto_close", false},
    {"vanto_connect", true},
    {"vanto_connection_create_listener", true},
    {"vanto_connection_resume", false},
    {"vanto_connection_set_event_function", false},
    {"vanto_connection_set_queue", false},
    {"vanto_handle_service", false},
    {"vanto_message_expects_reply", false},
    {"vanto_message_get_body", false},
    {"vanto_message_is_cancelled", false},
    {"vanto_peer_identity", true},
    {"vanto_process_executable_path", true},
    {"vanto_process_save_arguments", true},
    {"vanto_reply", true},
    {"vanto_sandbox_record_failure", false},
    {"vanto_send", true},
    {"vanto_set_connections_per_user", false},
    {"vanto_track_activity", false},
};

const Function* find(std::string_view name) noexcept {
  const auto* found = std::find_if(std::begin(functions), std::end(functions),
                                   [name](const Function& function) { return function.name == name; });
  return found == std::end(functions) ? nullptr : found;
}

std::string joined(std::initializer_list<std::string_view> arguments) {
  std::string result;
  const char* separator = "";
  for (const std::string_view argument : arguments) {
    (result += std::exchange(separator, ", ")) += argument;
  }
  return result;
}

}  // namespace

void write(const FakeCall& call) {
  HostState& state = HostState::shared();
  std::unique_lock lock(state.mutex);
  state.calls.push_back(call);
  const auto observer = state.observer;
  lock.unlock();
  if (observer) observer(call);
}

bool called(std::string_view function, std::initializer_list<std::string_view> arguments) {
  checkName(function);
  write({std::string(function), joined(arguments)});
  const std::lock_guard lock(HostState::shared().mutex);
  return HostState::shared().failing.count(function) == 0;
}

void record(std::string_view function, std::initializer_list<std::string_view> arguments) {
  static_cast<void>(called(function, arguments));
}

void checkName(std::string_view function) {
  if (find(function) == nullptr) refuseUse("the host has no function", function);
}

void checkFailing(std::string_view function) {
  checkName(function);
  if (!find(function)->canFail) refuseUse("there is no way to fail for", function);
}

void refuseUse(std::string_view what, std::string_view name) {
  std::fprintf(stderr, "FakeHost: %.*s %.*s\n", static_cast<int>(what.size()), what.data(),
               static_cast<int>(name.size()), name.data());
  std::abort();
}

std::string textOf(const PlistString* string) {
  return string == nullptr ? "null" : std::string(string->text());
}

std::string_view textOf(const char* text) noexcept {
  return text == nullptr ? "null" : text;
}

std::string textOf(vanto_object_t object) {
  if (object == nullptr) return "null";
  const std::unique_ptr<char, decltype(&std::free)> description(vanto_copy_description(object), &std::free);
  return description.get();
}

std::string_view nullOr(bool isThere, std::string_view name) noexcept {
  return isThere ? name : "null";
}

}  // namespace vanto::test
