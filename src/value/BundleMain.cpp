// SPDX-License-Identifier: Apache-2.0
#include <string_view>

#include <VantoService/Bundle.h>
#include <VantoService/TemporaryScope.h>
#include <VantoService/dispatch.h>

#include "value/BundleLayout.h"
#include "value/BundlePath.h"
#include "value/PathText.h"
#include "value/platform/process.h"

namespace {

using vanto::BundlePath;
using vanto::PathText;

// Written once under the guard and kept for the life of the process.
constinit Bundle* theMainBundle = nullptr;
constinit dispatch_once_t mainBundlePredicate = 0;

/// The directory that is the bundle of an executable in `directory`, if that is a bundle at all.
std::string_view bundleDirectoryOfExecutablesIn(std::string_view directory) noexcept {
  const std::string_view place = vanto::placesOf(vanto::BundleLayout::Contents).executables;
  return directory.ends_with(place) ? directory.substr(0, directory.size() - place.size()) : directory;
}

}  // namespace

vanto::Ref<Bundle> Bundle::createMainBundle() {
  const PlistString* executable = vanto_process_executable_path();
  if (executable == nullptr) return nullptr;
  const std::string_view directory = PathText::parent(executable->text());
  const std::string_view candidate = bundleDirectoryOfExecutablesIn(directory);
  if (PathText::extension(candidate).empty()) return nullptr;
  const vanto::Ref<PlistString> path = PlistString::create(candidate);
  vanto::Ref<Bundle> bundle = create(*path);
  // The executable must lie where bundles of that layout keep theirs.
  if (!bundle || BundlePath::inside(candidate, vanto::placesOf(bundle->layout_).executables) != directory) {
    return nullptr;
  }
  return bundle;
}

Bundle* Bundle::mainBundle() {
  dispatch_once(&mainBundlePredicate, [] {
    const vanto::TemporaryScope scope;
    theMainBundle = createMainBundle().leak();
  });
  return theMainBundle;
}
