// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <array>
#include <string_view>

#include <VantoService/Bundle.h>

namespace vanto {

/// The ways in which a bundle directory is laid out, in the order in which they are tried.
enum class BundleLayout : unsigned char { Contents, Framework, Flat };

/// Where things lie in a bundle directory; each place is empty or starts with a slash.
struct BundlePlaces {
  BundleLayout layout;
  std::string_view info;
  /// The directory of the executable.
  std::string_view executables;
  std::string_view resources;
};

/// Indexed by layout.
inline constexpr std::array<BundlePlaces, 3> bundlePlaces{{
    {BundleLayout::Contents, "/Contents/Info.plist", "/Contents/Linux", "/Contents/Resources"},
    {BundleLayout::Framework, "/Resources/Info.plist", "", "/Resources"},
    {BundleLayout::Flat, "/Info.plist", "", ""},
}};

[[nodiscard]] constexpr const BundlePlaces& placesOf(BundleLayout layout) noexcept {
  return bundlePlaces[static_cast<std::size_t>(layout)];
}

/// The extension of directories that may have the framework layout.
inline constexpr std::string_view frameworkExtension = "framework";

/// True when a directory with that extension may have that layout.
[[nodiscard]] constexpr bool isLayoutFor(BundleLayout layout, std::string_view extension) noexcept {
  return layout != BundleLayout::Framework || extension == frameworkExtension;
}

}  // namespace vanto
