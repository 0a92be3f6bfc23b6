/* SPDX-License-Identifier: Apache-2.0 */
#pragma once

#include <VantoService/vanto.h>

/*
 * Whose code a process executes, as the code-signing service of this machine or user says. Each function waits in the
 * calling thread; any thread may call them.
 */

#ifdef __cplusplus
extern "C" {
#endif

/**
 * What is known of the code of the process at the other end of `connection`, which may be a client or a service, as a
 * dictionary: "valid" (bool: signed by a key that is trusted, and what was signed), "digest" (data: SHA-256 of the
 * executable), "device" and "inode" (int64: which file that is), "status" (int64 0); for valid code also "identifier"
 * and "fingerprint" (strings), "signers" (array of strings: the names of the signer) and, where there are any,
 * "entitlements" (data: a property list); for other code "reason" (string, for people). Or, when nothing is known, an
 * error object: VANTO_ERROR_INVALID for what is no connection, VANTO_ERROR_CLOSED when the process is gone,
 * VANTO_ERROR_REFUSED when it is traced, its executable or its state may not be looked at, or the code-signing service
 * does not see it, as in a foreign process namespace; VANTO_ERROR_FULL when the code-signing service has too much to do
 * or this process has no descriptor left, VANTO_ERROR_SYSTEM without memory, VANTO_ERROR_TIMED_OUT,
 * VANTO_ERROR_NO_SERVICE when there is no such service or it gives no answer that makes sense. Owned by the caller,
 * never null.
 *
 * It is about the process that connected or that greeted this client, and about what that executes at the time of the
 * call: it may execute another program later.
 */
VANTO_EXPORT vanto_object_t vanto_copy_peer_code(vanto_object_t connection, uint64_t timeout);

/**
 * The same of the process that the descriptor `process`, from pidfd_open() or the like, refers to. VANTO_ERROR_INVALID
 * for what is no descriptor, VANTO_ERROR_REFUSED for one of anything but a process.
 */
VANTO_EXPORT vanto_object_t vanto_copy_process_code(int process, uint64_t timeout);

/**
 * Tries a requirement text on `code`, a dictionary as above. A dictionary: "satisfied" (bool), and "terms" (array of
 * one dictionary for each condition in the text, in its order: "text" (string), "holds" (bool)). Or an error object:
 * VANTO_ERROR_INVALID when the text is no requirement, with its text telling where and why, or `code` is no such
 * dictionary. A null `code` asks only whether the text is a requirement: the dictionary is then empty. Owned by the
 * caller, never null.
 */
VANTO_EXPORT vanto_object_t vanto_code_check_requirement(vanto_object_t code, const char* requirement);

#ifdef __cplusplus
} /* extern "C" */
#endif
