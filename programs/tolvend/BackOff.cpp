// SPDX-License-Identifier: Apache-2.0
#include "tolvend/BackOff.h"
