// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <cstddef>
#include <random>
#include <string>
#include <vector>

#include "soak/Load.h"
#include "soak/Site.h"
#include "soak/ToldTimes.h"

namespace vanto::soak {

/// What a disturbance works on.
struct Scene {
  Site& site;
  Load& load;
  const Tally& tally;
  std::mt19937_64& random;
  ToldTimes& told;
};

/// One thing that can happen to a service or its manager while clients call.
struct Disturbance {
  const char* name;
  /// Does it, and takes back what would keep the service from being started. Empty, or what is wrong.
  std::string (*run)(Scene& scene);
  /// How often it comes, beside the others.
  std::size_t weight;
  bool replacesManager = false;
};

[[nodiscard]] const std::vector<Disturbance>& disturbances();

}  // namespace vanto::soak
