// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <functional>

namespace vanto::test {

/// Whether this process can make a container: namespaces of processes and of mounts, in one of users where it is not
/// root, with a /proc of its own.
[[nodiscard]] bool canMakeContainer();

/// From now on the children of this process are in a container, and the first of them is its process 1, which has to
/// call mountOwnProc(). This process sees that /proc too. False with errno set.
[[nodiscard]] bool makeContainer();
[[nodiscard]] bool mountOwnProc();

/// Runs `work` in a child; a failed expectation in it fails this process, too.
void runInside(const std::function<void()>& work);

}  // namespace vanto::test
