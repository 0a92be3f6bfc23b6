/* SPDX-License-Identifier: Apache-2.0 */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/** Uses the functions of objects from C. Null when all did what they should, else the condition that failed. */
const char* useObjectsInC(void);

#ifdef __cplusplus
}
#endif
