// SPDX-License-Identifier: Apache-2.0
#pragma once

/// The service manager's job data as the library's own code uses it: all of it is public.
#include <VantoService/tolven_data.h>
