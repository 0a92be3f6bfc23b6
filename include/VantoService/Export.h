// SPDX-License-Identifier: Apache-2.0
#pragma once

/// Marks a declaration that the shared library exports. Everything else is hidden; the version script in packaging/
/// lists the same names once more, and a test compares the two.
#define VANTO_EXPORT __attribute__((visibility("default")))
