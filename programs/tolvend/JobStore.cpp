// SPDX-License-Identifier: Apache-2.0
#include "tolvend/JobStore.h"
