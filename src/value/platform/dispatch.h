// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Queues and run loops as the library's own code uses them. dispatch_once() belongs to the value model, which needs it
/// for its own getters; everything else here is the host's.
#include <VantoService/KorRunLoop.h>
#include <VantoService/dispatch.h>

/// The object framework's run loop of the calling thread. It is the same loop as KorRunLoopGetCurrent()'s under a name
/// of its own; the thread owns it.
struct QelRunLoop;

extern "C" {
QelRunLoop* QelRunLoopCurrentRunLoop();
/// Runs the loop, which must be the calling thread's, until it is stopped.
void QelRunLoopRun(QelRunLoop* loop);
}
