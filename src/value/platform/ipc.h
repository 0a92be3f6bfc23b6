// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The IPC runtime as the library's own code uses it: all of it is public.
#include <VantoService/vanto.h>
