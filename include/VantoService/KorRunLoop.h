/* SPDX-License-Identifier: Apache-2.0 */
#pragma once

#include <VantoService/Export.h>

/* This header is C as well as C++. */

#ifdef __cplusplus
extern "C" {
#endif

/**
 * The run loop of a thread: runs until it is stopped, and performs functions handed to it from any thread. Made on
 * first use and freed when its thread ends.
 */
typedef struct KorRunLoop KorRunLoop;

/** The calling thread's run loop; the thread owns it. */
VANTO_EXPORT KorRunLoop* KorRunLoopGetCurrent(void);

/** Runs the calling thread's run loop until it is stopped. A stop that came before the run ends the run at once. */
VANTO_EXPORT void KorRunLoopRun(void);

/**
 * Stops a run loop: the innermost run of it returns after the function it performs now. Any thread, as long as the
 * loop's thread lives.
 */
VANTO_EXPORT void KorRunLoopStop(KorRunLoop* loop);

/**
 * Has `function(context)` called on the loop's thread while it runs, after those handed over before. Any thread, as
 * long as the loop's thread lives.
 */
VANTO_EXPORT void KorRunLoopPerform(KorRunLoop* loop, void* context, void (*function)(void* context));

#ifdef __cplusplus
}
#endif
