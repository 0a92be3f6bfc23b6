// SPDX-License-Identifier: Apache-2.0
#include "tolvend/MultipleLifeCycle.h"
