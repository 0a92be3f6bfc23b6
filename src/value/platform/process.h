// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/PlistString.h>

/// What the process is and where its things are. None of these functions logs.

extern "C" {

/// Takes a copy of the process's argument vector, for _QelGetArgc() and _QelGetArgv(); later calls do nothing. To be
/// called before the process is confined.
void vanto_process_save_arguments();

/// The saved argument count and vector, which the process keeps; 0 and an empty vector when they were not saved or
/// could not be read.
int _QelGetArgc();
char** _QelGetArgv();

/// Path of the running executable with all symbolic links resolved; null when it cannot be told. A temporary.
PlistString* vanto_process_executable_path();

/// Path of the user's home directory, from the password entry of the effective user; null when there is none. A
/// temporary.
PlistString* QelHomeDirectory();

/// The real path of an existing file, with all symbolic links resolved. A temporary; null when it cannot be resolved,
/// with errno's value in `errorCode`, which is otherwise untouched.
PlistString* PellmoUtilRealPathForPath(PlistString* path, int* errorCode);
}
