/* SPDX-License-Identifier: Apache-2.0 */
#pragma once

#include <VantoService/vanto.h>

/* The entry points of a service program. This header is C as well as C++. */

#ifdef __cplusplus
extern "C" {
#endif

/**
 * A service handler: called on the listener queue for each event of the listener, one at a time. The event is a new
 * connection or an error; both arguments are borrowed for the length of the call. An exception that leaves the handler
 * ends the process through abort().
 */
typedef void (*vanto_service_handler_t)(vanto_object_t listener, vanto_object_t event);

/**
 * Runs this program as the service of its own bundle: reads the service dictionary, enters the sandbox, installs the
 * client validator, listens under the bundle's identifier and runs the run loop. To be called from main() on the main
 * thread before any other thread exists. Without a handler the process aborts at the first event. Returns 0 when the
 * run loop returns; a configuration error is logged and ends the process with status 1.
 */
VANTO_EXPORT int vanto_service_main(int argc, char** argv, vanto_service_handler_t handler);

/**
 * The same without a listener: runs the loop that the service dictionary names under "RunLoopType". Returns only when
 * that loop does.
 */
VANTO_EXPORT void _vanto_main(void);

/**
 * Decides whether the peer with this audit token may connect, by the service's allowed clients. The IPC runtime calls
 * it; services do not. Runs on any thread.
 */
VANTO_EXPORT bool connectionEvaluator(audit_token_t token);

#ifdef __cplusplus
}
#endif
