/* SPDX-License-Identifier: Apache-2.0 */
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/** Uses job data as a C program does. Null when all went well, else what did not. */
const char* useJobDataInC(void);

#ifdef __cplusplus
}
#endif
