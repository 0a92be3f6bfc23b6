// SPDX-License-Identifier: Apache-2.0
#include <algorithm>
#include <cerrno>

#include "support/fakehost/HostState.h"
#include "value/platform/process.h"

using vanto::test::called;
using vanto::test::HostState;
using vanto::test::record;
using vanto::test::textOf;

namespace {

PlistString* temporary(const std::optional<std::string>& text) {
  return text ? PlistString::create(*text).asTemporary() : nullptr;
}

}  // namespace

void vanto_process_save_arguments() {
  if (!called("vanto_process_save_arguments")) return;
  HostState& state = HostState::shared();
  const std::lock_guard lock(state.mutex);
  if (!state.savedArguments.empty()) return;
  state.savedArguments = state.answers.arguments;
  state.argumentVector.clear();
  for (std::string& argument : state.savedArguments) state.argumentVector.push_back(argument.data());
  state.argumentVector.push_back(nullptr);
}

int _QelGetArgc() {
  record("_QelGetArgc");
  return static_cast<int>(HostState::shared().savedArguments.size());
}

char** _QelGetArgv() {
  record("_QelGetArgv");
  return HostState::shared().argumentVector.data();
}

PlistString* vanto_process_executable_path() {
  if (!called("vanto_process_executable_path")) return nullptr;
  return temporary(HostState::shared().answers.executablePath);
}

PlistString* QelHomeDirectory() {
  if (!called("QelHomeDirectory")) return nullptr;
  return temporary(HostState::shared().answers.homeDirectory);
}

PlistString* PellmoUtilRealPathForPath(PlistString* path, int* errorCode) {
  const auto fail = [errorCode](int error) {
    if (errorCode != nullptr) *errorCode = error;
    return nullptr;
  };
  if (!called("PellmoUtilRealPathForPath", {textOf(path)})) return fail(EIO);
  if (path == nullptr) return fail(EINVAL);
  const vanto::test::FakeAnswers& answers = HostState::shared().answers;
  const std::string text(path->text());
  const auto error = answers.realPathErrors.find(text);
  if (error != answers.realPathErrors.end()) return fail(error->second);
  const auto real = answers.realPaths.find(text);
  return temporary(real == answers.realPaths.end() ? text : real->second);
}
