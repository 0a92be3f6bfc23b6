// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <VantoService/Bundle.h>
#include <VantoService/PlistArray.h>

// Finding services, and the bundles that executables belong to. Nothing is logged; any thread may search at any time.
// VantoServiceBundle::VantoServiceBundleFromExecutableAtPath() belongs here too.

/// The service bundles that `bundle` carries, as VantoServiceBundle objects: the entries of the directory
/// "VantoServices" beside its resources directory for which VantoServiceBundleAtPath() gives one, in the order of the
/// directory. An entry whose name is not valid UTF-8 is passed over; so is one that is damaged, or goes while the
/// directory is read, and the others stay. Empty when the directory cannot be read; never null. Each service costs one
/// open, status, read and close when it has the usual layout. A temporary.
[[nodiscard]] VANTO_EXPORT PlistArray* VantoServiceBundles(const Bundle& bundle);

/// The bundle that an executable at `path`, which need not exist, belongs to: the nearest directory above it that has
/// an extension and an Info file in one of the layouts of bundles. Directories are looked for above the path as it is
/// written; a symbolic link to an executable in a bundle is not followed. Null when there is none, when that
/// directory's Info file is not acceptable, and for a null path. A temporary.
[[nodiscard]] VANTO_EXPORT Bundle* bundleForBinaryImagePath(PlistString* path);

/// The framework that an executable at `path` belongs to: the nearest directory above it whose extension is
/// "framework". Null when bundleForBinaryImagePath() finds no directory for the path, when there is no such framework,
/// and when that is not a bundle. A temporary.
[[nodiscard]] VANTO_EXPORT Bundle* frameworkBundleForBinaryImagePath(PlistString* path);
