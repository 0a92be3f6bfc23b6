// SPDX-License-Identifier: Apache-2.0

// The proxy stands between a manager, which can do nothing in the process of the service, and the service, which must
// find its process in one known state. The order of the steps is the point: the status pipe first, so that whatever
// fails afterwards is told; the path is looked at last, since it is what fails most and changes nothing.
#include "vantoproxy/Proxy.h"

#include "vantoproxy/Descriptors.h"
#include "vantoproxy/Executable.h"
#include "vantoproxy/Failure.h"
#include "vantoproxy/Handover.h"
#include "vantoproxy/ProcessState.h"
#include "vantoproxy/ServiceEnvironment.h"

namespace vanto {

namespace {

Failure prepareAndExecute(const char* path, const Handover& handover, char** given) noexcept {
  if (const Failure failure = closeAllBut(handover)) return failure;
  if (const Failure failure = setProcessState()) return failure;
  ServiceEnvironment environment;
  if (const Failure failure = environment.fill(given, handover)) return failure;
  if (const Failure failure = checkExecutable(path)) return failure;
  return execute(path, environment.variables());
}

}  // namespace

int runProxy(int count, char** arguments, char** environment) noexcept {
  const char* path = count > 1 ? arguments[1] : nullptr;
  // Before anything is opened, and so that a message never goes into what took the place of descriptor 2.
  const Failure plugging = plugStandardDescriptors();
  Handover handover;
  Failure failure = readHandover(environment, handover);
  if (!failure) failure = plugging;
  if (!failure) failure = checkCall(count, arguments);
  if (!failure) failure = prepareAndExecute(path, handover, environment);
  report(failure, path, handover.status);
  return exitStatusOf(failure);
}

}  // namespace vanto
