// SPDX-License-Identifier: Apache-2.0
// The entry points of a service program. Start-up is one straight sequence on the main thread, and its order is the
// point: what chooses the run loop is read before confinement, confinement comes before the client validator, and both
// before anything that could make a thread or let a client in. Nothing made here is torn down: the queue, the listener
// and what the event handler captures stay for the life of the process.
#include <VantoService/VantoServiceMain.h>

#include <cstdlib>
#include <new>

#include <dlfcn.h>
#include <syslog.h>

#include <VantoService/TemporaryScope.h>
#include <VantoService/VantoServiceBundle.h>
#include <VantoService/VantoServiceConstants.h>

#include "runtime/ClientValidation.h"
#include "runtime/CrashAnnotations.h"
#include "runtime/LogText.h"
#include "runtime/SandboxEntry.h"
#include "value/Assertion.h"
#include "value/Memory.h"
#include "value/platform/dispatch.h"
#include "value/platform/ipc.h"
#include "value/platform/process.h"

namespace {

using vanto::LogText;
using vanto::TemporaryScope;

using ApplicationMain = int (*)(int argc, char** argv);

/// The run loops that a service dictionary can name.
enum class RunLoop { DispatchMain, QelRunLoop, QelApplicationMain };

/// What the event handler captures.
struct EventHandler {
  vanto_object_t listener;
  vanto_service_handler_t handler;
};

[[noreturn]] void exitWithMessage(const char* message) {
  syslog(LOG_ERR, "%s", message);
  std::exit(1);
}

/// The service that this program is. Its service dictionary is there: the getter asserts that, so it is looked for in
/// the Info dictionary first.
VantoServiceBundle& serviceOfThisProgram() {
  VantoServiceBundle* service = VantoServiceBundle::VantoServiceBundleForMainExecutable();
  if (service == nullptr) exitWithMessage("Could not get VantoServiceBundle for main executable.");
  vanto::Object* dictionary = service->bundle()->infoDictionary()->valueForKey(VantoServiceBundleInfoDictionaryKey);
  if (vanto::as<PlistDictionary>(dictionary) == nullptr) exitWithMessage("Could not find VantoService dictionary.");
  return *service;
}

/// The program's QelApplicationMain(), or null with one line in the log.
ApplicationMain findApplicationMain() {
  void* symbol = dlsym(RTLD_DEFAULT, "QelApplicationMain");
  if (symbol == nullptr) {
    const char* error = dlerror();
    syslog(LOG_ERR, "use of QelApplicationMain specified but it cannot be found: %s",
           LogText(error == nullptr ? "unknown error" : error).utf8());
  }
  return reinterpret_cast<ApplicationMain>(symbol);
}

const char* identifierOf(VantoServiceBundle& service) {
  const PlistString* identifier = service.identifier();
  if (identifier == nullptr) exitWithMessage("Could not get identifier of service bundle.");
  return identifier->utf8();
}

// noexcept: what a handler throws ends the process here, by a defined abort, before it can leave the runtime's threads
// in an unknown state.
void handleEvent(vanto_object_t, vanto_object_t event, void* context) noexcept {
  const auto& captured = *static_cast<const EventHandler*>(context);
  captured.handler(captured.listener, event);
}

/// Handles the events of a service without a handler.
void abortAtEvent(vanto_object_t, vanto_object_t, void*) noexcept {
  gCRAnnotations.message = "No event handler specified for Vanto Service";
  std::abort();
}

void setEventHandler(vanto_object_t listener, vanto_service_handler_t handler) {
  if (handler == nullptr) {
    vanto_connection_set_event_function(listener, abortAtEvent, nullptr, nullptr);
    return;
  }
  void* memory = vanto::Memory::allocate(sizeof(EventHandler));
  vanto_connection_set_event_function(listener, handleEvent, ::new (memory) EventHandler{listener, handler}, nullptr);
}

/// Listens under the service's identifier, on a queue of that name.
void startListening(VantoServiceBundle& service, vanto_service_handler_t handler) {
  const char* identifier = identifierOf(service);
  const dispatch_queue_t listenerQueue = dispatch_queue_create(identifier, nullptr);
  if (listenerQueue == nullptr) {
    vanto::assertionFailed("vanto_service_main", "VantoServiceMain", 216, "listenerQueue != NULL");
  }
  const vanto_object_t listener = vanto_connection_create_listener(identifier, listenerQueue);
  setEventHandler(listener, handler);
  vanto_connection_resume(listener);
}

RunLoop runLoopOfType(const PlistString* type) noexcept {
  if (type == nullptr || type->isEqualToText("dispatch_main")) return RunLoop::DispatchMain;
  if (type->isEqualToText("QelRunLoop")) return RunLoop::QelRunLoop;
  if (type->isEqualToText("_QelApplicationMain")) return RunLoop::QelApplicationMain;
  return RunLoop::DispatchMain;
}

void runApplicationOrRunLoop(ApplicationMain applicationMain) {
  const TemporaryScope scope;
  if (applicationMain != nullptr) {
    const int argc = _QelGetArgc();
    applicationMain(argc, _QelGetArgv());
  } else {
    QelRunLoopRun(QelRunLoopCurrentRunLoop());
  }
}

}  // namespace

int vanto_service_main(int argc, char** argv, vanto_service_handler_t handler) {
  vanto_process_save_arguments();
  const TemporaryScope scope;
  VantoServiceBundle& service = serviceOfThisProgram();
  const bool wantsApplicationMain = service.boolForServiceDictionaryKey(VantoServiceDictionaryUseQelApplicationMainKey);
  vanto::enterSandboxIfProfileProvided(service);
  vanto::setupConnectionValidatorIfNeeded(service);
  const ApplicationMain applicationMain = wantsApplicationMain ? findApplicationMain() : nullptr;
  vanto_track_activity();
  startListening(service, handler);
  if (applicationMain != nullptr) {
    applicationMain(argc, argv);
  } else {
    KorRunLoopRun();
  }
  return 0;
}

void _vanto_main() {
  vanto_process_save_arguments();
  TemporaryScope scope;
  VantoServiceBundle& service = serviceOfThisProgram();
  const PlistString* type = service.stringForServiceDictionaryKey(VantoServiceDictionaryRunloopTypeKey);
  vanto::enterSandboxIfProfileProvided(service);
  vanto::setupConnectionValidatorIfNeeded(service);
  const RunLoop runLoop = runLoopOfType(type);
  const ApplicationMain applicationMain = runLoop == RunLoop::QelApplicationMain ? findApplicationMain() : nullptr;
  scope.close();
  if (runLoop == RunLoop::DispatchMain) dispatch_main();
  runApplicationOrRunLoop(applicationMain);
}
